// The kzf commands: thin calls of the package library with the tool's output forms.
#include "Commands.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <kzfpackage/kzfpackage.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "Interrupt.hpp"
#include "Messages.hpp"
#include "Progress.hpp"
#include "SettingsJson.hpp"
#include "SettingsText.hpp"

namespace kzf::tool {

namespace kzfpkg = Quorlith::kzfpackage;
using fl::i18n::to_string;
using fl::i18n::to_ustring;
using nlohmann::ordered_json;

namespace {

const char* kindWord(kzfpkg::KZFFileEntryType type) {
  switch (type) {
    case kzfpkg::KZFFileEntryType::SymLink:
      return "link";
    case kzfpkg::KZFFileEntryType::Folder:
      return "folder";
    case kzfpkg::KZFFileEntryType::File:
      break;
  }
  return "file";
}

/// The first letter of an "ls -l" line: d, l or -.
char kindLetter(kzfpkg::KZFFileEntryType type) {
  switch (type) {
    case kzfpkg::KZFFileEntryType::SymLink:
      return 'l';
    case kzfpkg::KZFFileEntryType::Folder:
      return 'd';
    case kzfpkg::KZFFileEntryType::File:
      break;
  }
  return '-';
}

/// "rwxr-xr-x"; an entry without recorded bits (a folder) shows dashes.
std::string modeText(unsigned mode) {
  std::string text = "rwxrwxrwx";
  for (std::size_t bit = 0; bit < text.size(); ++bit) {
    if ((mode & (0400u >> bit)) == 0) text[bit] = '-';
  }
  return text;
}

/// "YYYY-MM-DD hh:mm:ss" with `separator` between date and time; empty when undated.
std::string dateText(const kzfpkg::KZFFileEntry& entry, char separator) {
  const auto date = entry.getDate();
  if (!date || date->is_special()) return "";
  std::string text = boost::posix_time::to_iso_extended_string(*date).substr(0, 19);
  text[10] = separator;
  return text;
}

/// Opens the KZF package at `path` for reading; a zip without a file manifest is refused.
std::unique_ptr<kzfpkg::KZFPackage> openForRead(const std::string& path) {
  auto package =
      std::make_unique<kzfpkg::KZFPackage>(to_ustring(path), kzfpkg::KZFFileReaderFactory());
  package->open(kzfpkg::Read);
  if (!package->hasFileManifest()) {
    throw ToolError("KZF_NOT_A_PACKAGE",
                    tr("{0}: not a KZF package (the zip has no file manifest)", {path}));
  }
  return package;
}

/// The bound SOURCE_DATE_EPOCH sets on every date the package records, if set.
std::optional<std::int64_t> sourceDateEpoch() {
  const char* text = std::getenv("SOURCE_DATE_EPOCH");
  if (text == nullptr || *text == '\0') return std::nullopt;
  const std::string value(text);
  if (value.size() > 15 || value.find_first_not_of("0123456789") != std::string::npos) {
    throw ToolError("KZF_SOURCE_DATE_EPOCH_INVALID",
                    tr("SOURCE_DATE_EPOCH={0}: not a number of seconds since 1970-01-01", {value}));
  }
  return std::stoll(value);
}

/// Entries under /.META/ are the package's own manifests, not the application's files.
bool isManifest(const kzfpkg::KZFEntryInfo& info) {
  const std::string name = fl::i18n::ustring_to_utf8(info.entry.getName());
  return name.rfind("/.META/", 0) == 0 || name.rfind(".META/", 0) == 0;
}

/// The share of the size that compression saved, as "54%".
std::string ratioText(const kzfpkg::KZFEntryInfo& info) {
  if (info.size == 0 || info.compressedSize >= info.size) return "0%";
  return std::to_string(100 - (info.compressedSize * 100 + info.size - 1) / info.size) + "%";
}

/// Says on standard error what links brought in from outside the tree: one line per target,
/// or one summary line when there are many.
void reportOutside(const std::vector<kzfpkg::KZFOutsideTarget>& pulled,
                   const std::map<fl::i18n::ustring, std::string>& linkNames) {
  constexpr std::size_t kMostLines = 10;
  if (pulled.size() > kMostLines) {
    std::uint64_t entries = 0, bytes = 0;
    for (const kzfpkg::KZFOutsideTarget& target : pulled) {
      entries += target.entries;
      bytes += target.bytes;
    }
    std::cerr << "kzf: "
              << tr("stored from outside the tree through symbolic links: {0} targets, {1} "
                    "entries, {2} bytes",
                    {std::to_string(pulled.size()), std::to_string(entries), std::to_string(bytes)})
              << '\n';
    return;
  }
  for (const kzfpkg::KZFOutsideTarget& target : pulled) {
    const auto named = linkNames.find(target.link);
    std::cerr << "kzf: "
              << trPlural("stored from outside the tree: {0} -> {1} ({2} entry, {3} bytes)",
                          "stored from outside the tree: {0} -> {1} ({2} entries, {3} bytes)",
                          target.entries,
                          {named != linkNames.end() ? named->second : to_string(target.link),
                           to_string(target.target), std::to_string(target.entries),
                           std::to_string(target.bytes)})
              << '\n';
  }
}

/// Ends a command that has fully succeeded: everything is written, renamed into place and
/// closed, so the process may end without freeing its tables one object at a time. For a
/// package of 50,000 entries that teardown (the maps of names, the entries, the central
/// directory) took 0.5 s of a 2.8 s create and 0.2 s of an extract; the kernel frees the
/// memory at once. Builds with sanitizers or coverage keep the full teardown, so that
/// LeakSanitizer still sees every object and the coverage counters are written.
int succeed() {
#ifdef KZF_FULL_TEARDOWN
  return kSuccess;
#else
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
  std::_Exit(kSuccess);
#endif
}

}  // namespace

int runCreate(const CreateOptions& options) {
  std::error_code ec;
  if (!options.force &&
      std::filesystem::exists(std::filesystem::symlink_status(options.package, ec))) {
    throw ToolError("KZF_PACKAGE_EXISTS",
                    tr("{0} exists already (--force replaces it)", {options.package}));
  }
  // Everything that can be wrong with the sources or the settings is found before the package
  // is opened, so that a mistake costs nothing and touches no existing file.
  const SourceList sources = collectSources(options.sources);
  const kzfpkg::KZFSettings settings =
      options.settingsFile.empty() ? kzfpkg::KZFSettings() : readSettingsFile(options.settingsFile);
  if (sources.files.empty()) {
    throw ToolError(
        "KZF_NOTHING_TO_STORE",
        tr("{0}: nothing to store: the sources hold no file, folder or link", {options.package}));
  }
  const std::optional<std::int64_t> latestDate = sourceDateEpoch();
  for (const std::string& special : sources.skippedSpecial) {
    std::cerr << "kzf: "
              << tr("warning: leaving out {0} (a FIFO, socket or device file)", {special}) << '\n';
  }
  for (const DanglingLink& link : sources.skipped) {
    std::cerr << "kzf: "
              << tr("warning: leaving out the symbolic link {0} (its target {1} does not exist)",
                    {link.source, link.target})
              << '\n';
  }

  ProgressLine progress(stderr);  // declared first: it must outlive the package reporting to it
  kzfpkg::KZFPackage package(to_ustring(options.package), kzfpkg::KZFFileReaderFactory());
  if (ProgressLine::wanted(options.quiet)) package.setProgressObserver(&progress);
  kzfpkg::KZFCreateOptions createOptions;
  createOptions.replaceOnClose = true;
  createOptions.compressionLevel = options.level;
  createOptions.latestDate = latestDate;
  createOptions.refuseOutsideLinks = options.noOutside;
  createOptions.maxOutsideEntries = options.outsideEntries;
  createOptions.maxOutsideBytes = options.outsideBytes;
  std::vector<kzfpkg::KZFOutsideTarget> pulled;
  createOptions.onOutsideTarget = [&pulled](const kzfpkg::KZFOutsideTarget& target) {
    pulled.push_back(target);
  };
  package.setCreateOptions(createOptions);
  // The new package is written to a temporary file beside the old one, which stays whole at
  // its path until close renames the new one over it; an interruption removes the new one.
  InterruptCleanup cleanup;
  cleanup.track([&] { package.open(kzfpkg::Create); }, [&] { return package.temporaryFilePath(); });
  if (!options.settingsFile.empty()) package.setKZFSettings(settings);
  if (!options.title.empty() || !options.creator.empty() || !options.description.empty()) {
    opc::model::CoreProperties properties;
    properties.title = to_ustring(options.title);
    properties.creator = to_ustring(options.creator);
    properties.description = to_ustring(options.description);
    package.setOPCCoreProperties(properties);
  }
  try {
    package.addFileListToKZF(sources.files);
    package.close();
  } catch (const fl::i18n::DeployedException& e) {
    if (options.noOutside || e.identifier() != "KZFPACKAGE_LINK_LEAVES_TREE") throw;
    throw ToolError(e.identifier(), std::string(e.what()) + " " +
                                        tr("(--outside-limit and --outside-size-limit raise the "
                                           "bound, --no-outside-limit lifts it)"));
  }
  cleanup.release();
  progress.finish();
  if (!options.quiet) reportOutside(pulled, sources.linkNames);
  return succeed();
}

int runExtract(const std::string& path, const std::string& directory,
               const ExtractOptions& options) {
  ProgressLine progress(stderr);  // declared first: it must outlive the package reporting to it
  const auto package = openForRead(path);
  if (ProgressLine::wanted(options.quiet)) package->setProgressObserver(&progress);
  kzfpkg::KZFExtractionOptions extraction;
  extraction.existing =
      options.overwrite ? kzfpkg::KZFExistingNames::Replace : kzfpkg::KZFExistingNames::Refuse;
  for (const std::string& name : options.names) extraction.only.push_back(to_ustring(name));
  package->extract(to_ustring(directory), extraction);
  package->close();
  progress.finish();
  return succeed();
}

int runList(const std::string& path, const ListOptions& options, std::ostream& out) {
  const std::vector<kzfpkg::KZFEntryInfo> entries = openForRead(path)->listEntries();
  const auto textOrNull = [](const std::string& text) {
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
  };
  if (options.asJson) {
    ordered_json list = ordered_json::array();
    for (const kzfpkg::KZFEntryInfo& info : entries) {
      const unsigned mode = info.entry.getPermission();
      list.push_back(
          ordered_json{{"name", fl::i18n::ustring_to_utf8(info.entry.getName())},
                       {"kind", kindWord(info.entry.getType())},
                       {"mode", mode == 0 ? ordered_json(nullptr) : ordered_json(modeText(mode))},
                       {"date", textOrNull(dateText(info.entry, 'T'))},
                       {"size", info.size},
                       {"compressedSize", info.compressedSize},
                       {"target", textOrNull(info.linkTarget)}});
    }
    out << list.dump(2) << '\n';
    return kSuccess;
  }
  for (const kzfpkg::KZFEntryInfo& info : entries) {
    if (!options.all && isManifest(info)) continue;
    if (options.details) {
      const std::string date = dateText(info.entry, ' ');
      char sizes[64];
      std::snprintf(sizes, sizeof sizes, "%12llu %12llu %4s",
                    static_cast<unsigned long long>(info.size),
                    static_cast<unsigned long long>(info.compressedSize), ratioText(info).c_str());
      out << kindLetter(info.entry.getType()) << modeText(info.entry.getPermission()) << ' '
          << sizes << ' ' << (date.empty() ? std::string(19, '-') : date) << ' ';
    }
    out << to_string(info.entry.getName());
    if (options.details && !info.linkTarget.empty()) out << " -> " << info.linkTarget;
    out << '\n';
  }
  return kSuccess;
}

int runSettings(const std::string& path, bool asJson, std::ostream& out) {
  std::error_code ec;
  const kzfpkg::KZFSettings settings =
      std::filesystem::is_directory(path, ec)
          ? kzfpkg::KZFPackage::getKZFSettingsFromExtractedKZFLocation(to_ustring(path))
          : openForRead(path)->getKZFSettings();
  if (asJson) {
    out << settingsToJson(settings).dump(2) << '\n';
  } else {
    printSettings(settings, out);
  }
  return kSuccess;
}

int runVerify(const std::string& path, std::ostream& out) {
  const std::vector<std::string> problems = openForRead(path)->verify();
  if (problems.empty()) {
    out << tr("{0}: OK", {path}) << '\n';
    return kSuccess;
  }
  for (const std::string& problem : problems) out << problem << '\n';
  std::cerr << "kzf: "
            << trPlural("{0}: {1} problem found", "{0}: {1} problems found", problems.size(),
                        {path, std::to_string(problems.size())})
            << " [KZF_PACKAGE_DAMAGED]\n";
  return kFailure;
}

}  // namespace kzf::tool
