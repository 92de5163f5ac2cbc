// Symbolic links while creating: mapping link targets into the package, storing links as
// link parts, and the queue of link targets added when the package is closed.
#include <kzfpackage/KZFPackage.hpp>

#include "../package/KZFPackageStorage.hpp"

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
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

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

/// The elements of `path` from `from` to its end, joined again.
fs::path joinRest(fs::path::iterator from, fs::path::iterator end) {
  fs::path rest;
  for (; from != end; ++from) rest /= *from;
  return rest;
}

/// Advances both iterators past their common leading elements (exact comparison).
void skipCommon(fs::path::iterator& a, fs::path::iterator aEnd, fs::path::iterator& b,
                fs::path::iterator bEnd) {
  while (a != aEnd && b != bEnd && a->string() == b->string()) {
    ++a;
    ++b;
  }
}

/// The path without trailing "." elements (a trailing "/" iterates as one).
fs::path withoutTrailingDots(fs::path path) {
  while (path.filename() == ".") path = path.parent_path();
  return path;
}

/// The absolute link target `target` resolved on disk the way the kernel resolves it: one
/// element at a time, each folder link followed before a ".." after it is applied, so that
/// "d/../x" with d a link to a folder names the x beside d's target, not the x beside d. Text
/// normalisation would take the other x, a different file of the same name. The last element
/// stays as it is (a link to a link is a link) unless it is "." or ".." or the target ends in
/// "/", which name a folder. What does not exist is normalised as text.
fs::path resolveLikeTheKernel(const fs::path& target) {
  boost::system::error_code error;
  const fs::path last = target.filename();
  if (last == "." || last == ".." || last.empty()) {
    const fs::path folder = fs::weakly_canonical(target, error);
    return withoutTrailingDots(error ? target.lexically_normal() : folder);
  }
  const fs::path folder = fs::weakly_canonical(target.parent_path(), error);
  return withoutTrailingDots(error ? target.parent_path().lexically_normal() : folder) / last;
}

/// `path` below `root` when it lies inside it, decided element by element: a sibling whose
/// name merely starts with the root's name ("/opt/app-data" beside "/opt/app") is outside,
/// though a text search would find the root in it. "." for the root itself; empty outside.
fs::path below(const fs::path& path, const fs::path& root) {
  const fs::path relative = path.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") return fs::path();
  return relative;
}

/// `target` below the tree's `root`, as given or as the file system resolves it (the root may
/// be reached through a link); empty when the target lies outside the tree.
fs::path insideTree(const fs::path& target, const fs::path& root) {
  fs::path inside = below(target, root.lexically_normal());
  if (!inside.empty()) return inside;
  boost::system::error_code error;
  const fs::path real = fs::canonical(root, error);
  return error ? fs::path() : below(target, real);
}

/// The packed tree's root on disk and its place in the package, for a source packed under
/// `destination`: the trailing elements the two paths share are dropped from both.
std::pair<fs::path, fs::path> treeRoots(const fs::path& source, const fs::path& destination) {
  fs::path root = source, place = destination;
  while (!root.empty() && !place.empty() && root.filename() == place.filename()) {
    root = root.parent_path();
    place = place.parent_path();
  }
  return {root, place};
}

}  // namespace

ustring KZFPackage::computePathToMappedLinkTarget(const ustring& target, const ustring& link) {
  const fs::path targetPath = pathOf(target), linkPath = pathOf(link);
  if (targetPath.has_root_directory() || linkPath.has_root_directory()) {
    throw DeployedException(KZFPACKAGE_ERROR_PATH_ABSOLUTE(to_string(target), to_string(link)));
  }
  auto targetIt = targetPath.begin(), linkIt = linkPath.begin();
  skipCommon(targetIt, targetPath.end(), linkIt, linkPath.end());
  fs::path rest = joinRest(targetIt, targetPath.end());
  fs::path linkRest = joinRest(linkIt, linkPath.end());
  // One "../" for every folder level of the link below the common part.
  while (!linkRest.parent_path().empty()) {
    rest = fs::path("..") / rest;
    linkRest = linkRest.parent_path();
  }
  return textOf(rest);
}

ustring KZFPackage::mapLinkTargetIntoArchive(const ustring& target, const ustring& sourceRoot,
                                             const ustring& rootPlace) {
  const fs::path targetPath = pathOf(target);
  if (!targetPath.has_root_directory()) return target;
  const fs::path inside = insideTree(targetPath, pathOf(sourceRoot));
  // Outside the packed tree the target is stored at its mirrored place below the package
  // root (/usr/lib/libc.so at usr/lib/libc.so); inside, at its place below the tree's root.
  const fs::path mapped = inside.empty()           ? targetPath.relative_path()
                          : inside == fs::path(".") ? pathOf(rootPlace)
                                                    : pathOf(rootPlace) / inside;
  return textOf(withoutTrailingDots(mapped.lexically_normal()));
}

ustring KZFPackage::computerSrcRoot(const ustring& source, const ustring& destination) {
  const fs::path absolute = fs::absolute(pathOf(source), fs::current_path());
  return textOf(treeRoots(absolute, pathOf(destination)).first);
}

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

  const fs::path linkFolder = fs::absolute(pathOf(source), fs::current_path()).parent_path();
  // A dangling link is mapped like any other: its missing target is queued, and adding that
  // at close fails as for any missing source.
  fs::path resolved = resolveLikeTheKernel(fs::absolute(pathOf(linkTarget), linkFolder));
  // Inside the tree the target keeps the root's own spelling, so that it matches the sources
  // listed under that spelling when the root is reached through a link.
  const fs::path root = pathOf(sourceRoot);
  if (const fs::path inside = insideTree(resolved, root); !inside.empty()) {
    resolved = inside == fs::path(".") ? root : root / inside;
  }
  if (!resolved.has_root_directory()) {
    throw DeployedException(KZFPACKAGE_ERROR_PATH_RELATIVE(resolved.string()));
  }
  linkTarget = textOf(resolved);
  mappedTarget = mapLinkTargetIntoArchive(linkTarget, sourceRoot, rootPlace);
  // The link's own place, without the one leading "/" a name may have.
  ustring place = destination;
  if (!place.empty() && place.front() == u'/') place.erase(0, 1);
  if (pathOf(mappedTarget) == pathOf(place)) {
    // A link to itself stays one: its own name, not the empty text of no elements left.
    linkContent = textOf(pathOf(place).filename());
  } else {
    linkContent = computePathToMappedLinkTarget(mappedTarget, place);
    // The package root seen from a link in it.
    if (linkContent.empty()) linkContent = u".";
  }
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
    const auto [root, rootPlace] =
        treeRoots(fs::absolute(pathOf(source), fs::current_path()), pathOf(destination));
    origin = {textOf(root), textOf(rootPlace.relative_path()), source};
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
                       : "it leads to nothing (a dangling link): " + to_string(linkTarget) +
                             ": " + std::strerror(error)));
  }

  const std::string narrowTarget = to_string(linkTarget), narrowMapped = to_string(mappedTarget),
                    narrowContent = to_string(linkContent);
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
  addLinkedFileToList(source, destination, linkTarget, mappedTarget, origin.sourceRoot);
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
