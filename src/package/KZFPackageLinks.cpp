// Symbolic links while creating: reading and mapping links, storing them as link parts, the
// queue of link targets added when the package is closed, and what links bring in from outside
// the tree they were packed from.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <LinkTargetMapping.hpp>

#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/Describe.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <boost/filesystem.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using fl::i18n::to_ustring;
using namespace kzf::kzfpackage;

namespace {

/// A link's text is read into one buffer of this size.
constexpr std::size_t kLinkBufferSize = 16384;
/// A queued target that is itself a link is compared through a buffer of this size.
constexpr std::size_t kQueuedLinkBufferSize = 1024;

fs::path pathOf(const ustring& text) { return fs::path(to_string(text)); }
ustring textOf(const fs::path& path) { return to_ustring(path.string()); }

/// An entry below an outside folder that a link brings in.
struct OutsideEntry {
  fs::path source;
  bool isLink;
};

/// Counts into `pulled` what the outside `target` brings in (itself and, for a folder,
/// everything below it, walked without following links; links that lead nowhere and the packed
/// tree `tree` left out) and lists in `below`, parents first, what lies below it. False as soon as more than `entriesLeft` entries or `bytesLeft` content
/// bytes are counted: a link to "/" is refused without walking the disk.
bool walkOutside(const fs::path& target, const fs::path& tree, std::uint64_t entriesLeft,
                 std::uint64_t bytesLeft, KZFOutsideTarget& pulled,
                 std::vector<OutsideEntry>& below) {
  const auto count = [&](const fs::file_status& status, const fs::path& path) {
    ++pulled.entries;
    boost::system::error_code error;
    if (fs::is_regular_file(status)) pulled.bytes += fs::file_size(path, error);
    return pulled.entries <= entriesLeft && pulled.bytes <= bytesLeft;
  };
  boost::system::error_code error;
  const fs::file_status status = fs::symlink_status(target, error);
  if (!count(status, target)) return false;
  if (!fs::is_directory(status)) return true;
  fs::path entered = target;
  boost::system::error_code unreadable;
  fs::recursive_directory_iterator it(target, error);
  for (const fs::recursive_directory_iterator end; !error && it != end; it.increment(error)) {
    const fs::file_status entry = it->symlink_status(error);
    // The packed tree itself, met in a folder above it, is in the package already: it is not
    // stored a second time at its outside place.
    if (fs::is_directory(entry) && fs::equivalent(it->path(), tree, unreadable)) {
      it.disable_recursion_pending();
      continue;
    }
    if (fs::is_directory(entry)) entered = it->path();
    // A link there that leads nowhere (dangling, or round a loop) could only come back as one
    // that leads nowhere, which extraction refuses: it is left out, not the whole package.
    boost::system::error_code unreachable;
    if (fs::is_symlink(entry) && !fs::exists(it->path(), unreachable)) continue;
    below.push_back({it->path(), fs::is_symlink(entry)});
    if (!count(entry, it->path())) return false;
  }
  if (error) {
    throw DeployedException(KZFPACKAGE_ERROR_ADD_NORMAL_FILE(
        entered.string(), "cannot read the folder: " + error.message()));
  }
  std::sort(below.begin(), below.end(),
            [](const OutsideEntry& a, const OutsideEntry& b) { return a.source < b.source; });
  return true;
}

/// What is left of `bound` after `used`; no bound at all for 0.
std::uint64_t left(std::uint64_t bound, std::uint64_t used) {
  return bound == 0 ? UINT64_MAX : bound - std::min(bound, used);
}

}  // namespace

void KZFPackage::computeKZFLinkPaths(kzfdatainterfaces::KZFMetaData& metaData,
                                     const ustring& sourceRoot, const ustring& rootPlace,
                                     const ustring& source, const ustring& destination,
                                     ustring& linkTarget, ustring& mappedTarget,
                                     ustring& linkContent) {
  auto reader = readerFactory.getReader(source);
  // One byte more than the largest text, for the terminator.
  std::string buffer(kLinkBufferSize + 1, '\0');
  long count = reader->readLink(buffer.data(), kLinkBufferSize, metaData);
  if (count == -1) {
    throw DeployedException(KZFPACKAGE_ERROR_READ_SYMLINK_FILE(fl::i18n::describe(source)));
  }
  buffer.resize(static_cast<std::size_t>(count));
  try {
    linkTarget = to_ustring(buffer);
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_VALUE_NOT_STORABLE(
        fl::i18n::describe(source),
        std::string("its target text is not valid in the process encoding: ") + e.what()));
  }

  links::MappedLink mapped = links::mapLink(linkTarget, source, sourceRoot, rootPlace, destination);
  linkTarget = std::move(mapped.target);
  mappedTarget = std::move(mapped.mapped);
  linkContent = std::move(mapped.content);
}

void KZFPackage::addSymbolicLink(const ustring& source, KZFRecordData& record) {
  const ustring& destination = record.getName();
  const pathsafety::EntryPath place =
      admitOrRefuse(storage->rules, source, destination, KZFFileEntryType::SymLink);
  // A link queued at close is mapped against the tree its first link was packed from.
  KZFPackageStorage::LinkOrigin origin;
  if (const auto queued = storage->queuedOrigins.find(source);
      queued != storage->queuedOrigins.end()) {
    origin = queued->second;
  } else {
    const auto [root, rootPlace] = links::treeRootAndPlace(source, destination);
    origin = {root, rootPlace, source};
  }
  ustring linkTarget, mappedTarget, linkContent;
  computeKZFLinkPaths(record.getMetaData(), origin.sourceRoot, origin.rootPlace, source,
                      destination, linkTarget, mappedTarget, linkContent);
  // A link that leads nowhere (the kernel, following it to its end, finds nothing) cannot be
  // re-created as one that leads somewhere: refused now, naming the link of the tree. The
  // kernel decides, not the resolved text: "missing/../x" leads nowhere even where x exists.
  // A link that runs into a loop of links on its way leads nowhere too: the text the mapping
  // resolved would lead somewhere, so it is refused, not rewritten.
  struct stat reached {};
  if (::stat(to_string(source).c_str(), &reached) != 0) {
    const int error = errno;
    throw DeployedException(KZFPACKAGE_LINK_NOT_STORABLE(
        fl::i18n::describe(origin.link),
        error == ELOOP ? "it leads through a loop of links: " + to_string(linkTarget)
                       : "it leads to nothing (a dangling link): " + to_string(linkTarget) + ": " +
                             std::strerror(error)));
  }

  const std::string narrowTarget = to_string(linkTarget), narrowMapped = to_string(mappedTarget),
                    narrowContent = to_string(linkContent);
  const bool outside = !links::liesInsideTree(linkTarget, origin.sourceRoot);
  if (outside && createOptions.refuseOutsideLinks) {
    throw DeployedException(KZFPACKAGE_LINK_LEAVES_TREE(
        fl::i18n::describe(source),
        "it leads to " + narrowTarget + ", and links that leave the tree are refused"));
  }
  verbose << "===Found symbolic link target info====" << std::endl;
  verbose << "addSymbolicLink: source link target=" << narrowTarget << std::endl;
  verbose << "addSymbolicLink: kzf link target =" << narrowMapped << std::endl;
  verbose << "addSymbolicLink: symbolic link content=" << narrowContent << std::endl;
  verbose << "=======================================" << std::endl;

  // A link's part name carries "\" where its destination name has "/" (the reverse of what
  // ordinary files get), so that it never collides with a file or folder of the same name.
  // Where the name is taken all the same (links "README" and "readme" in one folder: part
  // names are equal when they differ only in case), the link part gets the next free
  // numbered name, as a file would: the entry keeps the link's own name, and an error here
  // would leave such a tree impossible to pack.
  ustring linkName = destination;
  std::replace(linkName.begin(), linkName.end(), u'/', u'\\');
  const ustring partName = storage->takeFreePartName(getEncodedURIString(linkName));
  const ustring contentType = mapFilenameToContentTypeString(destination);
  opc::model::Part part = storage->package.createPart(
      opc::model::PartName(partName),
      opc::model::ContentType(std::string(contentType.begin(), contentType.end())),
      opc::model::StandardPartInfo(1, 0));
  const std::string text = fl::i18n::ustring_to_utf8(linkContent);
  part.getOutputStream()->write(text.data(), text.size());

  KZFFileEntry entry(destination, partName, KZFFileEntryType::SymLink);
  addEntryToExtractionManager(source, partName, entry);
  storage->rules.addLink(place, narrowContent);
  storage->linkSources.emplace(place.relative(), source);
  // The tree's root is always there: nothing to queue for a link to it.
  if (mappedTarget.empty()) return;
  storage->queuedOrigins.emplace(linkTarget, origin);
  const std::size_t queued = linkedFileList.size();
  addLinkedFileToList(source, destination, linkTarget, mappedTarget, origin.sourceRoot);
  if (!outside || linkedFileList.size() == queued) return;

  // A target outside the tree is stored at its mirrored place; a folder with everything below
  // it, walked as a source folder is: the link must not come back leading to an empty folder.
  // Links below it are stored as links, not followed; their own targets are queued as any
  // link's are, so what they lead to comes too and the tree round-trips.
  KZFOutsideTarget pulled{source, linkTarget};
  std::vector<OutsideEntry> below;
  const std::uint64_t maxEntries = createOptions.maxOutsideEntries,
                      maxBytes = createOptions.maxOutsideBytes;
  if (!walkOutside(pathOf(linkTarget), pathOf(origin.sourceRoot),
                   left(maxEntries, storage->outsideEntries), left(maxBytes, storage->outsideBytes),
                   pulled, below)) {
    throw DeployedException(KZFPACKAGE_LINK_LEAVES_TREE(
        fl::i18n::describe(source),
        "what it brings in from " + narrowTarget +
            " passes the bound on what links bring in from outside, all together (" +
            (maxEntries == 0 ? std::string() : "entries: " + std::to_string(maxEntries)) +
            (maxEntries == 0 || maxBytes == 0 ? "" : ", ") +
            (maxBytes == 0 ? std::string() : "bytes: " + std::to_string(maxBytes)) + ")"));
  }
  storage->outsideEntries += pulled.entries;
  storage->outsideBytes += pulled.bytes;
  const fs::path top = pathOf(linkTarget), package = pathOf(storage->path),
                 temporary = storage->physicalPackage.temporaryPath();
  for (const OutsideEntry& item : below) {
    // The package being written may lie in the folder brought in: never stored in itself.
    if (item.source == package || item.source == temporary) continue;
    const ustring entrySource = textOf(item.source);
    const ustring entryName = mappedTarget + u"/" + textOf(item.source.lexically_relative(top));
    if (item.isLink) storage->queuedOrigins.emplace(entrySource, origin);
    addLinkedFileToList(entrySource, entryName, entrySource, entryName, origin.sourceRoot);
  }
  if (createOptions.onOutsideTarget) createOptions.onOutsideTarget(pulled);
}

void KZFPackage::addLinkedFileToList(const ustring& source, const ustring& destination,
                                     const ustring& target, const ustring& mappedTarget,
                                     const ustring& sourceRoot) {
  if (source.empty() || destination.empty()) return;
  if (linkedFileMap.count(target) != 0 || inLinkedFileList(target)) {
    verbose << "addLinkedFileToList: Symbolic link target already in source list." << std::endl;
    return;
  }
  // The index answers what onList(linkedFileMap, ...) would, without walking the map.
  ustring other;
  const auto& listed = storage->links.listedSourceByName;
  const auto claimed = listed.find(mappedTarget);
  if (claimed != listed.end()) other = *claimed->second;
  if (claimed == listed.end() && !inLinkedFileListAsTarget(mappedTarget, other)) {
    const auto& queued =
        linkedFileList.emplace_back(target, KZFRecordData(mappedTarget, false, ""));
    storage->links.indexQueued(queued.first, queued.second.getName());
    ++progress.entriesTotal;
    verbose << "addLinkedFileToList: Added this linked target into linked file list. size="
            << linkedFileList.size() << std::endl;
    return;
  }

  const std::string narrowOther = to_string(other);
  verbose << "addLinkedFileToList: Symbolic link target already in target list, source file="
          << narrowOther << std::endl;
  // Another source claims the place: fine when both are the same file.
  const fs::path root = pathOf(sourceRoot);
  fs::path targetPath = pathOf(target), otherPath = pathOf(other);
  if (!targetPath.has_root_directory()) targetPath = root / targetPath;
  if (!otherPath.has_root_directory()) otherPath = root / otherPath;
  if (targetPath.lexically_normal().string() == otherPath.lexically_normal().string()) return;

  const std::string narrowTarget = to_string(target);
  if (!fs::is_symlink(fs::symlink_status(fs::path(narrowTarget)))) {
    if (fs::exists(fs::path(narrowTarget))) {
      throw DeployedException(KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE(narrowTarget));
    }
    return;
  }
  char buffer[kQueuedLinkBufferSize + 1];
  ssize_t count = ::readlink(narrowTarget.c_str(), buffer, kQueuedLinkBufferSize);
  if (count < 0) throw DeployedException(KZFPACKAGE_ERROR_READ_SYMLINK_FILE(narrowTarget));
  const std::string content(buffer, static_cast<std::size_t>(count));
  if (content == narrowOther) return;
  throw DeployedException(KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE(narrowOther, content));
}

bool KZFPackage::inLinkedFileList(const ustring& path) {
  return storage->links.queuedSources.count(path) != 0;
}

bool KZFPackage::inLinkedFileListAsTarget(const ustring& place, ustring& sourceOut) {
  const auto& byPlace = storage->links.queuedSourceByPlace;
  const auto found = byPlace.find(place);
  if (found == byPlace.end()) return false;
  sourceOut = *found->second;
  return true;
}

}  // namespace Quorlith::kzfpackage
