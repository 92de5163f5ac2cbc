// The package's file list: the named sources, the trees below the named folders, the list file.
#include "SourceList.hpp"

#include <fnmatch.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "Messages.hpp"

namespace kzf::tool {

namespace fs = std::filesystem;
using fl::i18n::to_ustring;
using fl::i18n::ustring;
using Quorlith::kzfdatainterfaces::KZFRecordData;

namespace {

/// A destination name inside the package: relative, without "." or ".." steps, not empty.
bool isPackageName(const fs::path& name) {
  if (name.empty() || name.has_root_path()) return false;
  for (const fs::path& step : name) {
    if (step == ".." || step == "." || step.empty()) return false;
  }
  return true;
}

/// True when one of `patterns` excludes the entry at `relative` (below its source folder).
bool excluded(const std::vector<std::string>& patterns, const fs::path& relative) {
  const std::string path = relative.generic_string();
  const std::string name = relative.filename().string();
  for (const std::string& pattern : patterns) {
    const bool byPath = pattern.find('/') != std::string::npos;
    if (::fnmatch(pattern.c_str(), (byPath ? path : name).c_str(), byPath ? FNM_PATHNAME : 0) ==
        0) {
      return true;
    }
  }
  return false;
}

bool isSpecial(fs::file_type type) {
  return type == fs::file_type::fifo || type == fs::file_type::socket ||
         type == fs::file_type::block || type == fs::file_type::character;
}

/// Builds the list, remembering how the user spelled each source and which source claimed each
/// destination, so that every complaint names paths the user recognises.
class Collector {
 public:
  explicit Collector(const SourceOptions& options)
      : options_(options), package_(fs::absolute(options.package).lexically_normal()) {}

  /// Adds one source; `absolute` is its absolute, normal path (the list's key), `isLink` whether
  /// it is a symbolic link (only those can dangle).
  void add(const fs::path& absolute, bool isLink, const std::string& shown,
           const fs::path& destination) {
    const std::string name = destination.generic_string();
    // The library reads a backslash in a destination name as a separator (callers of the API
    // rely on it), so a file named "f\g" would come back as a folder f holding g. Only the
    // tool knows that the backslash is part of a source's own name.
    if (name.find('\\') != std::string::npos) {
      throw ToolError(
          "KZF_BACKSLASH_IN_NAME",
          tr("{0}: a backslash in the name {1} cannot be stored in a package", {shown, name}));
    }
    const auto [claim, fresh] = claimed_.emplace(name, shown);
    if (!fresh) {
      throw ToolError("KZF_DUPLICATE_DESTINATION",
                      tr("{0} and {1} would both be stored as {2}", {claim->second, shown, name}));
    }
    ustring key, packageName;
    try {
      key = to_ustring(absolute.string());
      packageName = to_ustring(name);
    } catch (const std::runtime_error&) {
      throw ToolError(
          "KZF_NAME_NOT_TEXT",
          tr("{0}: the name is not valid text in the character encoding of the locale", {shown}));
    }
    if (!list_.files.emplace(key, KZFRecordData(packageName, false, "")).second) {
      throw ToolError("KZF_DUPLICATE_SOURCE", tr("{0} is named twice as a source", {shown}));
    }
    if (isLink) links_.emplace(key, shown);
  }

  /// Adds a source named by the user (on the command line or in the list file).
  void addNamed(const fs::path& source, const fs::file_status& status,
                const fs::path& destination) {
    if (isSpecial(status.type())) {
      special_.push_back(source.string());
      return;
    }
    add(fs::absolute(source).lexically_normal(), fs::is_symlink(status), source.string(),
        destination);
  }

  /// Adds everything below `folder`. The folder is made absolute once: the walk's paths below it
  /// need no normalising, and the file types come from the folder listing, so the walk costs no
  /// call per entry beyond reading the folders.
  void addTree(const fs::path& folder, const fs::path& prefix) {
    const fs::path shown = folder.lexically_normal() == "." ? fs::path() : folder;
    const fs::path base = fs::absolute(folder).lexically_normal();
    std::error_code ec;
    // The iterator's default options neither follow links to folders nor skip anything.
    fs::recursive_directory_iterator it(folder, ec);
    // The walk fails where it enters a folder: the last folder it yielded is the one to name.
    std::string entered = folder.string();
    for (const fs::recursive_directory_iterator end; !ec && it != end; it.increment(ec)) {
      const fs::path relative = it->path().lexically_relative(folder);
      const fs::path absolute = base / relative;
      // A package replaced with --force may lie in the folder it is made from.
      if (absolute == package_) continue;
      // A source that vanished during the walk is the library's to report, when it is added.
      std::error_code typeUnknown;
      const fs::file_type type = it->symlink_status(typeUnknown).type();
      if (excluded(options_.excludes, relative)) {
        if (type == fs::file_type::directory) it.disable_recursion_pending();
        continue;
      }
      if (isSpecial(type)) {
        special_.push_back((shown / relative).generic_string());
        continue;
      }
      const bool isLink = type == fs::file_type::symlink;
      if (type == fs::file_type::directory) entered = (shown / relative).generic_string();
      add(absolute, isLink, (shown / relative).generic_string(), prefix / relative);
    }
    if (ec) {
      throw ToolError("KZF_FOLDER_UNREADABLE",
                      tr("{0}: cannot read the folder: {1}", {entered, ec.message()}));
    }
  }

  /// Finds the links whose target (followed through further links) does not exist; the
  /// library would only notice them when the package is closed, after all the work.
  void handleDanglingLinks(bool skip) {
    std::vector<DanglingLink> dangling;
    for (const auto& [key, shown] : links_) {
      const fs::path source = fl::i18n::to_string(key);
      std::error_code ec;
      if (!fs::exists(source, ec)) {
        dangling.push_back({shown, fs::read_symlink(source, ec).string()});
        if (skip) list_.files.erase(key);
      }
    }
    if (skip) {
      list_.skipped = std::move(dangling);
      return;
    }
    if (dangling.empty()) return;
    std::string names;
    for (const DanglingLink& link : dangling) {
      names += (names.empty() ? "" : ", ") + link.source + " -> " + link.target;
    }
    throw ToolError(
        "KZF_DANGLING_LINKS",
        trPlural("symbolic link without a target (--skip-dangling-links leaves it out): {0}",
                 "symbolic links without a target (--skip-dangling-links leaves them out): {0}",
                 dangling.size(), {names}));
  }

  /// Refuses the FIFOs, sockets and devices found, or lists them as left out.
  void handleSpecialFiles() {
    if (options_.skipSpecial) {
      list_.skippedSpecial = std::move(special_);
      return;
    }
    if (special_.empty()) return;
    std::string names;
    for (const std::string& name : special_) names += (names.empty() ? "" : ", ") + name;
    throw ToolError("KZF_SPECIAL_FILES",
                    trPlural("FIFO, socket or device file (--skip-special leaves it out): {0}",
                             "FIFOs, sockets or device files (--skip-special leaves them out): {0}",
                             special_.size(), {names}));
  }

  SourceList take() {
    list_.linkNames = std::move(links_);
    return std::move(list_);
  }

 private:
  const SourceOptions& options_;
  fs::path package_;
  SourceList list_;
  std::vector<std::string> special_;
  std::map<std::string, std::string> claimed_;
  /// The symbolic links among the sources, with the names they were given by.
  std::map<ustring, std::string> links_;
};

void addListFile(Collector& collector, const std::string& listFile) {
  std::ifstream in(listFile, std::ios::binary);
  if (!in) {
    throw ToolError("KZF_LIST_UNREADABLE", tr("{0}: cannot open the list file", {listFile}));
  }
  std::string line;
  for (unsigned number = 1; std::getline(in, line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    const std::size_t tab = line.find('\t');
    const std::string where = listFile + ":" + std::to_string(number);
    if (tab == std::string::npos || tab == 0 || line.find('\t', tab + 1) != std::string::npos) {
      throw ToolError("KZF_LIST_INVALID", tr("{0}: expected \"source<TAB>destination\"", {where}));
    }
    const std::string source = line.substr(0, tab);
    const fs::path destination = fs::path(line.substr(tab + 1));
    if (!isPackageName(destination)) {
      throw ToolError("KZF_LIST_INVALID",
                      tr("{0}: the destination {1} is not a relative path inside the package",
                         {where, destination.string()}));
    }
    std::error_code ec;
    const fs::file_status status = fs::symlink_status(source, ec);
    if (!fs::exists(status)) {
      throw ToolError("KZF_SOURCE_NOT_FOUND", tr("{0}: no such file or folder", {source}));
    }
    collector.addNamed(source, status, destination);
  }
}

}  // namespace

SourceList collectSources(const SourceOptions& options) {
  fs::path prefix = fs::path(options.prefix).lexically_normal();
  if (!prefix.has_filename()) prefix = prefix.parent_path();  // "dest/" names the folder dest
  if (!options.prefix.empty() && !isPackageName(prefix)) {
    throw UsageError(tr("--prefix {0}: not a relative path inside the package", {options.prefix}));
  }

  Collector collector(options);
  for (const std::string& source : options.sources) {
    std::error_code ec;
    const fs::file_status status = fs::symlink_status(source, ec);
    if (!fs::exists(status)) {
      throw ToolError("KZF_SOURCE_NOT_FOUND", tr("{0}: no such file or folder", {source}));
    }
    if (excluded(options.excludes, fs::path(source).filename())) continue;
    if (fs::is_directory(status)) {
      collector.addTree(source, prefix);
    } else {
      collector.addNamed(source, status, prefix / fs::path(source).filename());
    }
  }
  if (!options.listFile.empty()) addListFile(collector, options.listFile);
  collector.handleSpecialFiles();
  collector.handleDanglingLinks(options.skipDanglingLinks);
  return collector.take();
}

}  // namespace kzf::tool
