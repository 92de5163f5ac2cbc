// Symbolic links while creating: mapping link targets into the package, storing links as
// link parts, and the queue of link targets added when the package is closed.
#include <kzfpackage/KZFPackage.hpp>

#include "../package/KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <boost/filesystem.hpp>
#include <algorithm>
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

/// The link target `target` (absolute) with its folder part resolved on disk, expressed below
/// `sourceRoot` when it lies inside the packed tree. Normalised, so that a relative target that
/// climbs out of the tree ("../../x") is seen as outside it and mirrored below the package root
/// rather than keeping ".." in its place; and resolved, so that a target reached through a link
/// to a folder ("examples/data/f" where examples/data -> ../data/samples) is the file already
/// packed at its real place, not a second copy under the folder link's name, which would make
/// a file below a link. The last component stays as it is: a link to a link is a link.
fs::path throughRealFolders(const fs::path& target, const fs::path& sourceRoot) {
  const fs::path lexical = target.lexically_normal();
  boost::system::error_code error;
  const fs::path realFolder = fs::canonical(lexical.parent_path(), error);
  if (error) return lexical;
  const fs::path real = realFolder / lexical.filename();
  // The source root may itself be reached through links: keep the root's own spelling.
  const fs::path realRoot = fs::canonical(sourceRoot, error);
  if (error) return real;
  const fs::path below = real.lexically_relative(realRoot);
  if (below.empty() || *below.begin() == "..") return real;
  return below == "." ? sourceRoot : sourceRoot / below;
}

}  // namespace

ustring KZFPackage::naive_uncomplete(const ustring& p, const ustring& base) {
  if (p == base) return u"./";
  const fs::path path = pathOf(p), basePath = pathOf(base);
  if (path.empty() || basePath.empty()) {
    throw DeployedException(KZFPACKAGE_ERROR_PATH_EMPTY(to_string(p), to_string(base)));
  }
  auto pathIt = path.begin(), baseIt = basePath.begin();
  skipCommon(pathIt, path.end(), baseIt, basePath.end());
  // No special handling of differing roots: "/" and "." elements are simply passed over.
  std::string out;
  for (; baseIt != basePath.end(); ++baseIt) {
    if (baseIt->string() != "." && baseIt->string() != "/") out += "../";
  }
  for (auto first = pathIt; pathIt != path.end(); ++pathIt) {
    if (pathIt != first) out += "/";
    if (pathIt->string() != "." && pathIt->string() != "/") out += pathIt->string();
  }
  return to_ustring(out);
}

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

ustring KZFPackage::mapLinkTargetIntoArchive(const ustring& source, const ustring& destination,
                                             ustring target, const ustring& sourceRoot) {
  const fs::path targetPath = pathOf(target);
  if (!targetPath.has_root_directory()) return target;
  // The containment tests are substring searches, not prefix tests: a target under
  // /home/u/app2 counts as inside the root /home/u/app. Packages have always been made so.
  if (target.find(sourceRoot) == ustring::npos) return textOf(targetPath.relative_path());

  const ustring src =
      source.find(sourceRoot) != ustring::npos ? naive_uncomplete(source, sourceRoot) : source;
  const fs::path tgtPath = pathOf(naive_uncomplete(target, sourceRoot)), srcPath = pathOf(src);
  auto tgtIt = tgtPath.begin(), srcIt = srcPath.begin();
  skipCommon(tgtIt, tgtPath.end(), srcIt, srcPath.end());
  const fs::path tgtRest = joinRest(tgtIt, tgtPath.end());
  const fs::path srcRest = joinRest(srcIt, srcPath.end());

  std::string result;
  const fs::path destinationParent = pathOf(destination).parent_path();
  if (!destinationParent.empty()) {
    result = destinationParent.string();
    const fs::path srcParent = srcRest.parent_path();
    if (!srcParent.empty()) {
      std::size_t at = result.rfind(srcParent.string());
      if (at != std::string::npos) result.resize(at);
    }
  }
  return textOf(fs::path(result) / tgtRest);
}

ustring KZFPackage::computerSrcRoot(const ustring& source, const ustring& destination) {
  fs::path sourcePath = pathOf(source), destinationPath = pathOf(destination);
  if (!sourcePath.has_root_directory()) return to_ustring(fs::current_path().string());
  while (!sourcePath.empty() && !destinationPath.empty() &&
         sourcePath.filename().string() == destinationPath.filename().string()) {
    sourcePath = sourcePath.parent_path();
    destinationPath = destinationPath.parent_path();
  }
  return textOf(sourcePath);
}

void KZFPackage::computeKZFLinkPaths(kzfdatainterfaces::KZFMetaData& metaData,
                                     const ustring& sourceRoot, const ustring& source,
                                     const ustring& destination, ustring& linkTarget,
                                     ustring& mappedTarget, ustring& linkContent) {
  auto reader = readerFactory.getReader(source);
  // One byte more than the largest text, for the terminator.
  std::string buffer(kLinkBufferSize + 1, '\0');
  long count = reader->readLink(buffer.data(), kLinkBufferSize, metaData);
  if (count == -1) throw DeployedException(KZFPACKAGE_ERROR_READ_SYMLINK_FILE(to_string(source)));
  buffer.resize(static_cast<std::size_t>(count));
  linkTarget = to_ustring(buffer);

  const fs::path linkFolder = fs::absolute(pathOf(source), fs::current_path()).parent_path();
  // A dangling link is mapped like any other: its missing target is queued, and adding that
  // at close fails as for any missing source.
  const fs::path resolved =
      throughRealFolders(fs::absolute(pathOf(linkTarget), linkFolder), pathOf(sourceRoot));
  if (!resolved.has_root_directory()) {
    throw DeployedException(KZFPACKAGE_ERROR_PATH_RELATIVE(resolved.string()));
  }
  linkTarget = textOf(resolved);
  mappedTarget = mapLinkTargetIntoArchive(source, destination, linkTarget, sourceRoot);
  linkContent = computePathToMappedLinkTarget(mappedTarget, destination);
}

void KZFPackage::addSymbolicLink(const ustring& source, KZFRecordData& record) {
  const ustring& destination = record.getName();
  const ustring sourceRoot = computerSrcRoot(source, destination);
  ustring linkTarget, mappedTarget, linkContent;
  computeKZFLinkPaths(record.getMetaData(), sourceRoot, source, destination, linkTarget,
                      mappedTarget, linkContent);
  mappedTarget = textOf(pathOf(mappedTarget).lexically_normal());

  const std::string narrowTarget = to_string(linkTarget), narrowMapped = to_string(mappedTarget),
                    narrowContent = to_string(linkContent);
  verbose << "===Found symbolic link target info====" << std::endl;
  verbose << "addSymbolicLink: source link target=" << narrowTarget << std::endl;
  verbose << "addSymbolicLink: kzf link target =" << narrowMapped << std::endl;
  verbose << "addSymbolicLink: symbolic link content=" << narrowContent << std::endl;
  verbose << "=======================================" << std::endl;

  // A link's part name carries "\" where its destination name has "/" (the reverse of what
  // ordinary files get), so that it never collides with a file or folder of the same name.
  ustring linkName = destination;
  std::replace(linkName.begin(), linkName.end(), u'/', u'\\');
  const ustring partName = getEncodedURIString(linkName);
  const ustring contentType = mapFilenameToContentTypeString(destination);
  opc::model::Part part = storage->package.createPart(
      opc::model::PartName(partName),
      opc::model::ContentType(std::string(contentType.begin(), contentType.end())),
      opc::model::StandardPartInfo(1, 0));
  const std::string text = fl::i18n::ustring_to_utf8(linkContent);
  part.getOutputStream()->write(text.data(), text.size());

  KZFFileEntry entry(destination, partName, KZFFileEntryType::SymLink);
  addEntryToExtractionManager(source, partName, entry);
  addLinkedFileToList(source, destination, linkTarget, mappedTarget, sourceRoot);
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
