// The extractor: plans a package's folders, files and symbolic links (checks, selection), finds
// the names that already exist below the root, then writes the tree.
#include "KZFExtractor.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <PathSafety.hpp>
#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <map>
#include <memory>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace Quorlith::kzfpackage::extraction {

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
             const std::string& root, const KZFExtractionBudget& budget, KZFExistingNames existing)
      : package_(package),
        readerFactory_(readerFactory),
        root_(root),
        budget_(budget),
        existing_(existing),
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
    const std::string& name = planned.place.components.back();
    if (::symlinkat(planned.linkTarget.c_str(), folder.get(), name.c_str()) == 0) return;
    // A name already there (a second extraction, a planted file) is an error, unless asked to
    // replace it: the link is made under a fresh name beside it and renamed over it, so what
    // was there stays whole until then and is never written through.
    if (errno != EEXIST || existing_ != KZFExistingNames::Replace) {
      pathsafety::refuseEntry(planned.shownName,
                              std::string("cannot create the link: ") + std::strerror(errno));
    }
    const std::string temporary = pathsafety::makeUnderFreshName(
        ".kzflnk-", planned.shownName, [&](const std::string& candidate) {
          if (::symlinkat(planned.linkTarget.c_str(), folder.get(), candidate.c_str()) == 0) {
            return true;
          }
          if (errno != EEXIST) {
            pathsafety::refuseEntry(planned.shownName,
                                    std::string("cannot create the link: ") + std::strerror(errno));
          }
          return false;
        });
    if (::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
      const int error = errno;
      ::unlinkat(folder.get(), temporary.c_str(), 0);
      pathsafety::refuseEntry(planned.shownName,
                              std::string("cannot replace what is there: ") + std::strerror(error));
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
  KZFExistingNames existing_;
  std::vector<char> buffer_;
};

std::vector<std::string> splitPath(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t slash; (slash = text.find('/', start)) != std::string::npos; start = slash + 1) {
    parts.push_back(text.substr(start, slash - start));
  }
  parts.push_back(text.substr(start));
  return parts;
}

std::string joinPath(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : "/") + part;
  return text;
}

/// Links followed in a row before a target is given up, as the kernel gives up.
constexpr int kMaxLinksFollowed = 40;

/// The place below the root that `target`, read from the folder of the link at `link`, names:
/// links of the package in its folder components are followed as the kernel would follow them
/// (each one passed through is added to `through`), its last component is not. Empty when the
/// target climbs out of the root or goes round a loop.
std::string resolveTarget(const pathsafety::EntryPath& link, const std::string& target,
                          const std::unordered_map<std::string, const PlannedEntry*>& byPlace,
                          std::vector<const PlannedEntry*>& through) {
  std::vector<std::string> place(link.components.begin(), link.components.end() - 1);
  std::vector<std::string> pending = splitPath(target);
  std::reverse(pending.begin(), pending.end());
  int followed = 0;
  while (!pending.empty()) {
    std::string component = std::move(pending.back());
    pending.pop_back();
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (place.empty()) return {};
      place.pop_back();
      continue;
    }
    place.push_back(std::move(component));
    if (pending.empty()) break;
    const auto found = byPlace.find(joinPath(place));
    if (found == byPlace.end() || found->second->entry->getType() != KZFFileEntryType::SymLink) {
      continue;
    }
    const std::string& next = found->second->linkTarget;
    if (++followed > kMaxLinksFollowed || next.empty() || next.front() == '/') return {};
    through.push_back(found->second);
    place.pop_back();
    std::vector<std::string> more = splitPath(next);
    pending.insert(pending.end(), more.rbegin(), more.rend());
  }
  return joinPath(place);
}

/// Marks the planned entries an extraction of `only` writes: each named entry with everything
/// below it, the entries its links (and theirs) lead to, and the folder entries above them.
std::vector<bool> selectEntries(const std::vector<PlannedEntry>& plan,
                                const std::vector<fl::i18n::ustring>& only) {
  std::vector<std::pair<std::string, std::size_t>> sorted;  // place, index in the plan
  std::unordered_map<std::string, const PlannedEntry*> byPlace;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    sorted.emplace_back(plan[i].place.relative(), i);
    byPlace.emplace(sorted.back().first, &plan[i]);
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<bool> chosen(plan.size());
  std::vector<std::size_t> links;
  const auto mark = [&](std::size_t i) {
    if (chosen[i]) return;
    chosen[i] = true;
    if (plan[i].entry->getType() == KZFFileEntryType::SymLink) links.push_back(i);
  };
  // Marks the entries at `place` and below it (those lie together in `sorted`).
  const auto markTree = [&](const std::string& place) {
    bool any = false;
    auto it = std::lower_bound(sorted.begin(), sorted.end(), std::make_pair(place, std::size_t{0}));
    for (; it != sorted.end() && it->first == place; ++it, any = true) mark(it->second);
    // Names such as "place-x" sort between "place" and "place/...": look from "place/" on.
    const std::string below = place + "/";
    it = std::lower_bound(sorted.begin(), sorted.end(), std::make_pair(below, std::size_t{0}));
    for (; it != sorted.end() && it->first.compare(0, below.size(), below) == 0; ++it, any = true) {
      mark(it->second);
    }
    return any;
  };
  for (const fl::i18n::ustring& name : only) {
    std::string place = to_string(name);
    place.erase(0, place.find_first_not_of('/'));
    while (!place.empty() && place.back() == '/') place.pop_back();
    if (place.empty()) return std::vector<bool>(plan.size(), true);
    if (!markTree(place)) throw DeployedException(KZFPACKAGE_NO_SUCH_ENTRY(to_string(name)));
  }
  while (!links.empty()) {
    const PlannedEntry& link = plan[links.back()];
    links.pop_back();
    std::vector<const PlannedEntry*> through;
    const std::string place = resolveTarget(link.place, link.linkTarget, byPlace, through);
    for (const PlannedEntry* passed : through) mark(static_cast<std::size_t>(passed - plan.data()));
    if (!place.empty()) markTree(place);
  }
  // The folder entries above what is chosen, so that their folders get their own dates and modes.
  std::set<std::string> above;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    if (!chosen[i]) continue;
    const auto& components = plan[i].place.components;
    std::string place;
    for (std::size_t k = 0; k + 1 < components.size(); ++k) {
      place += (k == 0 ? "" : "/") + components[k];
      above.insert(place);
    }
  }
  for (const auto& [place, i] : sorted) {
    if (above.count(place) != 0 && plan[i].entry->getType() == KZFFileEntryType::Folder) {
      chosen[i] = true;
    }
  }
  return chosen;
}

/// What a name below the extraction root holds.
enum class OnDisk { Absent, Folder, Other };

OnDisk lookUp(int root, const std::string& relative, const std::string& entry) {
  struct stat status {};
  if (::fstatat(root, relative.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    return S_ISDIR(status.st_mode) ? OnDisk::Folder : OnDisk::Other;
  }
  if (errno == ENOENT) return OnDisk::Absent;
  pathsafety::refuseEntry(entry,
                          std::string("cannot look at what is there: ") + std::strerror(errno));
}

/// True when the folder `root` holds no name at all (or cannot be listed: the writing reports
/// that).
bool holdsNothing(const std::string& root) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(root.c_str()), &::closedir);
  if (!folder) return true;
  while (const dirent* item = ::readdir(folder.get())) {
    if (std::strcmp(item->d_name, ".") != 0 && std::strcmp(item->d_name, "..") != 0) return false;
  }
  return true;
}

/// Names shown in a conflict message; the count says how many there are in all.
constexpr std::size_t kConflictsShown = 5;

/// Refuses the extraction, before anything is written, when a chosen entry meets a name below
/// `root` that `existing` does not let it replace. A new or empty root costs one listing.
void refuseConflicts(const std::string& root, const std::vector<PlannedEntry>& plan,
                     const std::vector<bool>& chosen, KZFExistingNames existing) {
  if (holdsNothing(root)) return;
  const opc::core::FileHandle folder(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0) return;
  std::unordered_map<std::string, OnDisk> seen;  // every level looked at, once
  std::vector<std::string> conflicts;
  std::set<std::string> named;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    if (!chosen.empty() && !chosen[i]) continue;
    const auto& components = plan[i].place.components;
    std::string place;
    for (std::size_t k = 0; k < components.size(); ++k) {
      place += (k == 0 ? "" : "/") + components[k];
      auto [it, fresh] = seen.try_emplace(place, OnDisk::Absent);
      if (fresh) it->second = lookUp(folder.get(), place, plan[i].shownName);
      const OnDisk there = it->second;
      if (there == OnDisk::Absent) break;
      const bool wantsFolder =
          k + 1 < components.size() || plan[i].entry->getType() == KZFFileEntryType::Folder;
      if (wantsFolder && there == OnDisk::Folder) continue;
      std::string shown = place;
      if (wantsFolder) {
        shown += " (not a folder there)";
      } else if (there == OnDisk::Folder) {
        shown += " (a folder there)";
      } else if (existing == KZFExistingNames::Replace) {
        break;
      }
      if (named.insert(place).second) conflicts.push_back(std::move(shown));
      break;
    }
  }
  if (conflicts.empty()) return;
  std::string shown;
  for (std::size_t i = 0; i < conflicts.size() && i < kConflictsShown; ++i) {
    shown += (i == 0 ? "" : ", ") + conflicts[i];
  }
  if (conflicts.size() > kConflictsShown) shown += ", ...";
  throw DeployedException(
      KZFPACKAGE_EXTRACTION_CONFLICT(root, std::to_string(conflicts.size()), shown));
}

}  // namespace

struct Extractor::Plan {
  std::vector<PlannedEntry> entries;
  std::vector<bool> chosen;  ///< by index in `entries`; empty when every entry is extracted
};

void checkExtractable(const opc::model::Package& package, const std::vector<KZFFileEntry>& entries,
                      const opc::model::PartName& manifest) {
  planExtraction(package, entries, manifest);
}

Extractor::Extractor(const opc::model::Package& package, const std::vector<KZFFileEntry>& entries,
                     const opc::model::PartName& manifest, const KZFExtractionOptions& options)
    : package_(package), entries_(entries), options_(options), plan_(std::make_unique<Plan>()) {
  plan_->entries = planExtraction(package, entries, manifest);
  if (!options.only.empty()) plan_->chosen = selectEntries(plan_->entries, options.only);
}

Extractor::~Extractor() = default;

std::size_t Extractor::size() const {
  if (plan_->chosen.empty()) return entries_.size();
  return static_cast<std::size_t>(std::count(plan_->chosen.begin(), plan_->chosen.end(), true));
}

void Extractor::write(const std::string& root, const KZFFileReaderFactory& readers,
                      const KZFExtractionBudget& budget, const ProgressReport& report) {
  if (options_.existing != KZFExistingNames::Unchecked) {
    refuseConflicts(root, plan_->entries, plan_->chosen, options_.existing);
  }
  // Entries come in ascending name order; a file whose folder has no entry of its own yet gets
  // its parents created on the spot.
  TreeWriter writer(package_, readers, root, budget, options_.existing);
  const bool everything = plan_->chosen.empty();
  auto next = plan_->entries.begin();
  for (const KZFFileEntry& entry : entries_) {
    // Entries of an unknown kind are not planned, and are skipped without a word.
    if (next == plan_->entries.end() || next->entry != &entry) {
      if (everything) report(entry.getName(), 0);
      continue;
    }
    const PlannedEntry& planned = *next++;
    if (!everything && !plan_->chosen[static_cast<std::size_t>(&planned - plan_->entries.data())]) {
      continue;
    }
    std::uint64_t written = 0;
    switch (entry.getType()) {
      case KZFFileEntryType::Folder:
        writer.folder(planned);
        break;
      case KZFFileEntryType::File:
        written = writer.file(planned);
        break;
      default:
        writer.link(planned);
        break;
    }
    report(planned.name, written);
  }
}

}  // namespace Quorlith::kzfpackage::extraction
