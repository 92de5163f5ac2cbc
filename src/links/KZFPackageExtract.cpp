// Extraction: re-creating a package's folders, files and symbolic links below a root folder.
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <map>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "../package/KZFPackageStorage.hpp"
#include "PathSafety.hpp"

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
namespace pt = boost::posix_time;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using namespace kzf::kzfpackage;

namespace {

/// A link's stored target is read with one buffer of this size; longer targets are cut.
constexpr std::size_t kLinkTargetBufferSize = 16384;
/// File content is copied in pieces of this size: large enough that a big file costs few
/// inflate calls and writes, one buffer for the whole extraction.
constexpr std::size_t kCopyBufferSize = 256 * 1024;

opc::model::PartName partNameOf(const KZFFileEntry& entry) {
  return opc::model::PartName(opc::model::URI(entry.getContent()));
}

/// The stored UTC date as the calendar time to give the file. The seconds since the epoch are
/// kept as a signed 32-bit number, so dates after 2038-01-19 03:14:07 UTC wrap exactly as
/// packages have always been extracted.
std::time_t modificationTimeOf(const pt::ptime& date) {
  if (verbose.enabled) {
    verbose << "ExtractWithExtractionManager: "
            << " set file last modified date @"
            << to_string(opc::model::CoreProperties::convertTimeToString(date)) << std::endl;
  }
  const pt::ptime epoch(boost::gregorian::date(1970, 1, 1));
  const std::int64_t seconds = (date - epoch).total_microseconds() / 1000000;
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds));
}

/// One entry after the checks that run before anything touches the disk.
struct PlannedEntry {
  const KZFFileEntry* entry;  ///< in the manager's list, which outlives the plan
  fl::i18n::ustring name;
  pathsafety::EntryPath place;
  std::string shownName;                     ///< the entry's name for messages
  std::optional<opc::model::PartName> part;  ///< the part holding the content (files, links)
  std::optional<opc::model::Part> content;   ///< that part, found when planning a file
  std::string linkTarget;                    ///< a link's target text (links only)
};

/// The stored target text of a link entry, as read from its part.
std::string readLinkTarget(const opc::model::Package& package, const KZFFileEntry& entry,
                           const opc::model::PartName& name) {
  opc::model::Part part = package.getPart(name);
  auto in = part.getInputStream();
  // One buffer's worth of target text, gathered over as many stream reads as it takes.
  char buffer[kLinkTargetBufferSize + 1];
  std::size_t length = 0;
  while (length < kLinkTargetBufferSize) {
    std::size_t got = in->read(buffer + length, kLinkTargetBufferSize - length);
    if (got == 0) break;
    length += got;
  }
  if (length == 0) {
    throw DeployedException(KZFPACKAGE_ERROR_READ_FILE(to_string(entry.getContent())));
  }
  buffer[length] = '\0';
  return to_string(fl::i18n::utf8_to_ustring(std::string(buffer, std::strlen(buffer))));
}

/// Checks every entry's name, kind, part and link target. A package that fails is refused
/// before a single folder, file or link is made.
std::vector<PlannedEntry> planExtraction(const opc::model::Package& package,
                                         const std::vector<KZFFileEntry>& entries,
                                         const opc::model::PartName& manifest) {
  std::vector<PlannedEntry> plan;
  pathsafety::EntryRules rules;
  std::set<std::string> fileParts;
  for (const KZFFileEntry& entry : entries) {
    const KZFFileEntryType type = entry.getType();
    if (type != KZFFileEntryType::File && type != KZFFileEntryType::Folder &&
        type != KZFFileEntryType::SymLink) {
      continue;
    }
    PlannedEntry planned{&entry, entry.getName(), {}, {}, {}, {}, {}};
    planned.place = rules.admit(planned.name, type);
    planned.shownName = to_string(planned.name);
    if (type == KZFFileEntryType::File) {
      const opc::model::PartName& part = planned.part.emplace(partNameOf(entry));
      const auto shownPart = [&entry] { return to_string(entry.getContent()); };
      if (part == manifest) {
        pathsafety::refuseEntry(planned.shownName, "its content is the file manifest itself");
      }
      planned.content = package.findPart(part);
      if (!planned.content) {
        pathsafety::refuseEntry(planned.shownName, "its part " + shownPart() + " is missing");
      }
      // Many entries over one part would let a small package write without bound.
      if (!fileParts.insert(part.getEquivalenceKey()).second) {
        pathsafety::refuseEntry(planned.shownName,
                                "its part " + shownPart() + " is the content of another entry too");
      }
    } else if (type == KZFFileEntryType::SymLink) {
      planned.linkTarget = readLinkTarget(package, entry, planned.part.emplace(partNameOf(entry)));
      rules.addLink(planned.place, planned.linkTarget);
    }
    plan.push_back(std::move(planned));
  }
  rules.checkLinks();
  return plan;
}

/// Counts the bytes files are given against the package's extraction budget.
class OutputBudget {
 public:
  explicit OutputBudget(const KZFExtractionBudget& limits) : limits_(limits) {}

  /// Counts `count` more bytes for the file of `entry`, which holds `fileBytes` so far (never
  /// more than the per-file limit: this refuses before a limit is passed, and the differences
  /// below cannot wrap).
  void charge(const std::string& entry, std::uint64_t fileBytes, std::uint64_t count) {
    if (limits_.maxFileBytes != 0 && count > limits_.maxFileBytes - fileBytes) {
      pathsafety::refuseEntry(entry, "its content exceeds the per-file budget of " +
                                         std::to_string(limits_.maxFileBytes) + " bytes");
    }
    if (limits_.maxTotalBytes != 0 && count > limits_.maxTotalBytes - total_) {
      pathsafety::refuseEntry(entry, "it exceeds the extraction's total budget of " +
                                         std::to_string(limits_.maxTotalBytes) + " bytes");
    }
    total_ += count;
  }

 private:
  const KZFExtractionBudget& limits_;
  std::uint64_t total_ = 0;
};

/// Writes planned entries below the root, keeping what consecutive entries share: the folder
/// they go into and the buffer file content is copied through.
class TreeWriter {
 public:
  TreeWriter(const opc::model::Package& package, const KZFFileReaderFactory& readerFactory,
             const std::string& root, const KZFExtractionBudget& budget)
      : package_(package),
        readerFactory_(readerFactory),
        root_(root),
        budget_(budget),
        buffer_(kCopyBufferSize) {}

  void folder(const PlannedEntry& planned) {
    if (verbose.enabled) {
      verbose << "ExtractWithExtractionManager: create a directory:" << root_.path() << '/'
              << planned.place.relative() << std::endl;
    }
    held_.reach(root_, planned.place, planned.place.components.size(), planned.shownName);
  }

  /// Writes one file entry; returns the number of content bytes written.
  std::uint64_t file(const PlannedEntry& planned) {
    const KZFFileEntry& entry = *planned.entry;
    const std::string& name = planned.shownName;
    const opc::model::Part& part = *planned.content;
    pathsafety::StagedFile file(folderOf(planned), planned.place.components.back(), name);
    std::uint64_t written = 0;
    auto in = part.getInputStream();
    if (readerFactory_.willBeTransformed(planned.name)) {
      auto reader = readerFactory_.getReader(planned.name, *in);
      kzfdatainterfaces::KZFByteArray content = reader->readAll();
      budget_.charge(name, 0, content.size());
      file.write(reinterpret_cast<const char*>(content.begin()), content.size());
      written = content.size();
    } else {
      for (std::size_t got; (got = in->read(buffer_.data(), buffer_.size())) != 0; written += got) {
        budget_.charge(name, written, got);
        file.write(buffer_.data(), got);
      }
    }
    if (verbose.enabled) {
      verbose << "ExtractWithExtractionManager: create a file: " << root_.path() << '/'
              << planned.place.relative() << std::endl;
    }

    // Entries read from a manifest always carry a date; one without a "date" attribute holds
    // not-a-date-time, and such a file keeps the time it was written.
    const boost::optional<pt::ptime> date = entry.getDate();
    if (date && !date->is_special()) file.setModificationTime(modificationTimeOf(*date));

    const unsigned short permission = entry.getPermission();
    if (permission != 0) {
      verbose << "ExtractWithExtractionManager: "
              << " set permission to " << permission << std::endl;
      if (!file.setPermission(permission)) verbose << "change permission failed" << std::endl;
    }
    file.commit();
    return written;
  }

  void link(const PlannedEntry& planned) {
    const opc::core::FileHandle& folder = folderOf(planned);
    if (verbose.enabled) {
      verbose << "ExtractWithExtractionManager: create a symbolic name:" << root_.path() << '/'
              << planned.place.relative() << ",target=" << planned.linkTarget << std::endl;
    }
    // Never replaced: a name already there (a second extraction, a planted file) is an error.
    if (::symlinkat(planned.linkTarget.c_str(), folder.get(),
                    planned.place.components.back().c_str()) != 0) {
      pathsafety::refuseEntry(planned.shownName,
                              std::string("cannot create the link: ") + std::strerror(errno));
    }
  }

 private:
  /// The folder the entry goes into.
  const opc::core::FileHandle& folderOf(const PlannedEntry& planned) {
    return held_.reach(root_, planned.place, planned.place.components.size() - 1,
                       planned.shownName);
  }

  const opc::model::Package& package_;
  const KZFFileReaderFactory& readerFactory_;
  const pathsafety::BeneathRoot root_;
  pathsafety::HeldFolder held_;
  OutputBudget budget_;
  std::vector<char> buffer_;
};

}  // namespace

void KZFPackage::extract(const ustring& root) {
  throwIfNotOpenForRead();
  const std::string narrowRoot = to_string(root);
  verbose << "Extract KZF package to:" << narrowRoot << std::endl;
  const fs::path rootPath(narrowRoot);
  if (!fs::exists(rootPath)) {
    verbose << "Create extract root:" << narrowRoot << std::endl;
    try {
      fs::create_directories(rootPath);
    } catch (const std::exception&) {
      throw DeployedException(KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR());
    }
  }

  try {
    auto relationships = storage->package.getRelationshipsByType(
        opc::toStringFromASCIIStringLiteral(KZF_EXTRACTION_RELATIONSHIP));
    if (relationships.empty()) {
      verbose << "Extract KZF package, missing kzf file manifest file, extract using parts."
              << std::endl;
      throw std::runtime_error("missing kzf file manifest file.");
    }
    verbose << "Extract KZF package, found kzf file manifest file, loading it into exraction "
               "manager."
            << std::endl;
    const opc::model::PartName manifestName(relationships.front().getTargetURI(true));
    opc::model::Part manifest = storage->package.getPart(manifestName);
    KZFExtractionSerializer serializer;
    extractionManager = std::make_unique<KZFExtractionManager>();
    auto in = manifest.getInputStream();
    extractionManager->load(*in, serializer);
    extractWithExtractionManager(root, manifestName);
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_EXTRACT_FAILED(narrowRoot, e.what()));
  }
}

void KZFPackage::checkExtractable(const std::vector<KZFFileEntry>& entries,
                                  const opc::model::PartName& manifest) const {
  planExtraction(storage->package, entries, manifest);
}

void KZFPackage::setExtractionBudget(const KZFExtractionBudget& budget) {
  extractionBudget = budget;
}

void KZFPackage::extractWithExtractionManager(const ustring& root,
                                              const opc::model::PartName& manifest) {
  // Entries come in ascending name order; a file whose folder has no entry of its own yet gets
  // its parents created on the spot.
  const std::vector<KZFFileEntry> entries = extractionManager->getEntries();
  const std::vector<PlannedEntry> plan = planExtraction(storage->package, entries, manifest);
  TreeWriter writer(storage->package, readerFactory, to_string(root), extractionBudget);
  progress = KZFProgress();
  progress.phase = KZFProgress::Phase::Extracting;
  progress.entriesTotal = entries.size();
  auto next = plan.begin();
  for (const KZFFileEntry& entry : entries) {
    // Entries of an unknown kind are not planned, and are skipped without a word.
    if (next == plan.end() || next->entry != &entry) {
      reportProgress(entry.getName());
      continue;
    }
    const PlannedEntry& planned = *next++;
    switch (entry.getType()) {
      case KZFFileEntryType::Folder:
        writer.folder(planned);
        break;
      case KZFFileEntryType::File:
        progress.bytesDone += writer.file(planned);
        break;
      default:
        writer.link(planned);
        break;
    }
    reportProgress(planned.name);
  }
}

}  // namespace Quorlith::kzfpackage
