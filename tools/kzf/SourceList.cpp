// The package's file list: the named sources, the trees below the named folders, the list file.
#include "SourceList.hpp"

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

/// Builds the list, remembering how the user spelled each source and which source claimed each
/// destination, so that every complaint names paths the user recognises.
class Collector {
 public:
  explicit Collector(const fs::path& package)
      : package_(fs::absolute(package).lexically_normal()) {}

  void add(const fs::path& source, const std::string& shown, const fs::path& destination) {
    const std::string name = destination.generic_string();
    const auto [claim, fresh] = claimed_.emplace(name, shown);
    if (!fresh) {
      throw ToolError("KZF_DUPLICATE_DESTINATION",
                      tr("{0} and {1} would both be stored as {2}", {claim->second, shown, name}));
    }
    const ustring key = to_ustring(fs::absolute(source).lexically_normal().string());
    if (!list_.files.emplace(key, KZFRecordData(to_ustring(name), false, "")).second) {
      throw ToolError("KZF_DUPLICATE_SOURCE", tr("{0} is named twice as a source", {shown}));
    }
    shown_.emplace(key, shown);
  }

  void addTree(const fs::path& folder, const fs::path& prefix) {
    const fs::path shown = folder.lexically_normal() == "." ? fs::path() : folder;
    std::error_code ec;
    // The iterator's default options neither follow links to folders nor skip anything.
    fs::recursive_directory_iterator it(folder, ec);
    for (const fs::recursive_directory_iterator end; !ec && it != end; it.increment(ec)) {
      // A package replaced with --force may lie in the folder it is made from.
      if (fs::absolute(it->path()).lexically_normal() == package_) continue;
      const fs::path relative = it->path().lexically_relative(folder);
      add(it->path(), (shown / relative).generic_string(), prefix / relative);
    }
    if (ec) {
      throw ToolError("KZF_FOLDER_UNREADABLE",
                      tr("{0}: cannot read the folder: {1}", {folder.string(), ec.message()}));
    }
  }

  /// Finds the links whose target (followed through further links) does not exist; the
  /// library would only notice them when the package is closed, after all the work.
  void handleDanglingLinks(bool skip) {
    std::vector<DanglingLink> dangling;
    for (auto it = list_.files.begin(); it != list_.files.end();) {
      const fs::path source = fl::i18n::to_string(it->first);
      std::error_code ec;
      if (fs::is_symlink(fs::symlink_status(source, ec)) && !fs::exists(source, ec)) {
        dangling.push_back({shown_.at(it->first), fs::read_symlink(source, ec).string()});
        if (skip) {
          it = list_.files.erase(it);
          continue;
        }
      }
      ++it;
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

  SourceList take() { return std::move(list_); }

 private:
  fs::path package_;
  SourceList list_;
  std::map<std::string, std::string> claimed_;
  std::map<ustring, std::string> shown_;
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
    if (!fs::exists(fs::symlink_status(source, ec))) {
      throw ToolError("KZF_SOURCE_NOT_FOUND", tr("{0}: no such file or folder", {source}));
    }
    collector.add(source, source, destination);
  }
}

}  // namespace

SourceList collectSources(const SourceOptions& options) {
  fs::path prefix = fs::path(options.prefix).lexically_normal();
  if (!prefix.has_filename()) prefix = prefix.parent_path();  // "dest/" names the folder dest
  if (!options.prefix.empty() && !isPackageName(prefix)) {
    throw UsageError(tr("--prefix {0}: not a relative path inside the package", {options.prefix}));
  }

  Collector collector(options.package);
  for (const std::string& source : options.sources) {
    std::error_code ec;
    const fs::file_status status = fs::symlink_status(source, ec);
    if (!fs::exists(status)) {
      throw ToolError("KZF_SOURCE_NOT_FOUND", tr("{0}: no such file or folder", {source}));
    }
    if (fs::is_directory(status)) {
      collector.addTree(source, prefix);
    } else {
      collector.add(source, source, prefix / fs::path(source).filename());
    }
  }
  if (!options.listFile.empty()) addListFile(collector, options.listFile);
  collector.handleDanglingLinks(options.skipDanglingLinks);
  return collector.take();
}

}  // namespace kzf::tool
