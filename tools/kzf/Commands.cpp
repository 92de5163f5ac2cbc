// The kzf commands: thin calls of the package library with the tool's output forms.
#include "Commands.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <kzfpackage/kzfpackage.hpp>
#include <memory>
#include <nlohmann/json.hpp>

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

/// Opens `path` for reading; the object is bound to the path so it must be made here.
std::unique_ptr<kzfpkg::KZFPackage> openForRead(const std::string& path) {
  auto package =
      std::make_unique<kzfpkg::KZFPackage>(to_ustring(path), kzfpkg::KZFFileReaderFactory());
  package->open(kzfpkg::Read);
  return package;
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
  for (const DanglingLink& link : sources.skipped) {
    std::cerr << "kzf: "
              << tr("warning: leaving out the symbolic link {0} (its target {1} does not exist)",
                    {link.source, link.target})
              << '\n';
  }

  ProgressLine progress(stderr);  // declared first: it must outlive the package reporting to it
  kzfpkg::KZFPackage package(to_ustring(options.package), kzfpkg::KZFFileReaderFactory());
  if (ProgressLine::wanted(options.quiet)) package.setProgressObserver(&progress);
  package.open(kzfpkg::Create);
  if (!options.settingsFile.empty()) package.setKZFSettings(settings);
  if (!options.title.empty() || !options.creator.empty() || !options.description.empty()) {
    opc::model::CoreProperties properties;
    properties.title = to_ustring(options.title);
    properties.creator = to_ustring(options.creator);
    properties.description = to_ustring(options.description);
    package.setOPCCoreProperties(properties);
  }
  package.addFileListToKZF(sources.files);
  package.close();
  progress.finish();
  return kSuccess;
}

int runExtract(const std::string& path, const std::string& directory, bool quiet) {
  ProgressLine progress(stderr);  // declared first: it must outlive the package reporting to it
  const auto package = openForRead(path);
  if (ProgressLine::wanted(quiet)) package->setProgressObserver(&progress);
  package->extract(to_ustring(directory));
  package->close();
  progress.finish();
  return kSuccess;
}

int runList(const std::string& path, bool details, bool asJson, std::ostream& out) {
  const std::vector<kzfpkg::KZFEntryInfo> entries = openForRead(path)->listEntries();
  if (asJson) {
    ordered_json list = ordered_json::array();
    for (const kzfpkg::KZFEntryInfo& info : entries) {
      const unsigned mode = info.entry.getPermission();
      const std::string date = dateText(info.entry, 'T');
      list.push_back(
          ordered_json{{"name", fl::i18n::ustring_to_utf8(info.entry.getName())},
                       {"kind", kindWord(info.entry.getType())},
                       {"mode", mode == 0 ? ordered_json(nullptr) : ordered_json(modeText(mode))},
                       {"date", date.empty() ? ordered_json(nullptr) : ordered_json(date)},
                       {"size", info.size}});
    }
    out << list.dump(2) << '\n';
    return kSuccess;
  }
  for (const kzfpkg::KZFEntryInfo& info : entries) {
    if (details) {
      const std::string date = dateText(info.entry, ' ');
      char size[24];
      std::snprintf(size, sizeof size, "%12llu", static_cast<unsigned long long>(info.size));
      out << kindLetter(info.entry.getType()) << modeText(info.entry.getPermission()) << ' ' << size
          << ' ' << (date.empty() ? std::string(19, '-') : date) << ' ';
    }
    out << to_string(info.entry.getName()) << '\n';
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
