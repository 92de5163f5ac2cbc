// Link-target mapping: resolving a link's target on disk, placing it in the package, and the
// relative link text that reaches it.
#include "LinkTargetMapping.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/MessageIds.hpp>

#include <boost/filesystem.hpp>

namespace Quorlith::kzfpackage::links {

namespace fs = boost::filesystem;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using fl::i18n::to_ustring;
using namespace kzf::kzfpackage;

namespace {

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

ustring computePathToMappedLinkTarget(const ustring& target, const ustring& link) {
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

ustring mapLinkTargetIntoArchive(const ustring& target, const ustring& sourceRoot,
                                 const ustring& rootPlace) {
  const fs::path targetPath = pathOf(target);
  if (!targetPath.has_root_directory()) return target;
  const fs::path inside = insideTree(targetPath, pathOf(sourceRoot));
  // Outside the packed tree the target is stored at its mirrored place below the package
  // root (/usr/lib/libc.so at usr/lib/libc.so); inside, at its place below the tree's root.
  const fs::path mapped = inside.empty()            ? targetPath.relative_path()
                          : inside == fs::path(".") ? pathOf(rootPlace)
                                                    : pathOf(rootPlace) / inside;
  return textOf(withoutTrailingDots(mapped.lexically_normal()));
}

bool liesInsideTree(const ustring& target, const ustring& sourceRoot) {
  return !insideTree(pathOf(target), pathOf(sourceRoot)).empty();
}

ustring computerSrcRoot(const ustring& source, const ustring& destination) {
  return treeRootAndPlace(source, destination).first;
}

std::pair<ustring, ustring> treeRootAndPlace(const ustring& source, const ustring& destination) {
  const fs::path absolute = fs::absolute(pathOf(source), fs::current_path());
  const auto [root, place] = treeRoots(absolute, pathOf(destination));
  return {textOf(root), textOf(place.relative_path())};
}

MappedLink mapLink(const ustring& linkText, const ustring& source, const ustring& sourceRoot,
                   const ustring& rootPlace, const ustring& destination) {
  MappedLink link;
  const fs::path linkFolder = fs::absolute(pathOf(source), fs::current_path()).parent_path();
  // A dangling link is mapped like any other: its missing target is queued, and adding that
  // at close fails as for any missing source.
  fs::path resolved = resolveLikeTheKernel(fs::absolute(pathOf(linkText), linkFolder));
  // Inside the tree the target keeps the root's own spelling, so that it matches the sources
  // listed under that spelling when the root is reached through a link.
  const fs::path root = pathOf(sourceRoot);
  if (const fs::path inside = insideTree(resolved, root); !inside.empty()) {
    resolved = inside == fs::path(".") ? root : root / inside;
  }
  if (!resolved.has_root_directory()) {
    throw DeployedException(KZFPACKAGE_ERROR_PATH_RELATIVE(resolved.string()));
  }
  link.target = textOf(resolved);
  link.mapped = mapLinkTargetIntoArchive(link.target, sourceRoot, rootPlace);
  // The link's own place, without the one leading "/" a name may have.
  ustring place = destination;
  if (!place.empty() && place.front() == u'/') place.erase(0, 1);
  if (pathOf(link.mapped) == pathOf(place)) {
    // A link to itself stays one: its own name, not the empty text of no elements left.
    link.content = textOf(pathOf(place).filename());
  } else {
    link.content = computePathToMappedLinkTarget(link.mapped, place);
    // The package root seen from a link in it.
    if (link.content.empty()) link.content = u".";
  }
  return link;
}

}  // namespace Quorlith::kzfpackage::links
