// Link-target mapping: where a symbolic link's target lives inside the package and the link
// text that reaches it from the link's own place. Pure functions of their arguments and of
// what the file system says about the paths they are given.
#pragma once

#include <fl/i18n/ustring.hpp>

#include <utility>

namespace Quorlith::kzfpackage::links {

using fl::i18n::ustring;

/// The relative path from the folder of `link` to `target`, both relative to one package
/// root. Either argument absolute: KZFPACKAGE_ERROR_PATH_ABSOLUTE naming target, then link.
ustring computePathToMappedLinkTarget(const ustring& target, const ustring& link);

/// The place in the package of the absolute target `target`: below `rootPlace` when it lies
/// inside the tree packed from `sourceRoot`, at its mirrored place below the package root
/// otherwise. A relative target is returned as it is.
ustring mapLinkTargetIntoArchive(const ustring& target, const ustring& sourceRoot,
                                 const ustring& rootPlace);

/// True when the absolute `target` lies inside the tree packed from `sourceRoot` (the root
/// itself included), as spelled or as the file system resolves the root.
bool liesInsideTree(const ustring& target, const ustring& sourceRoot);

/// The source folder that corresponds to the package root for `source` packed as
/// `destination`: the trailing elements the two share are dropped.
ustring computerSrcRoot(const ustring& source, const ustring& destination);

/// The packed tree's root on disk and its place in the package (relative) for `source`
/// packed as `destination`.
std::pair<ustring, ustring> treeRootAndPlace(const ustring& source, const ustring& destination);

/// What a link becomes in the package.
struct MappedLink {
  ustring target;   ///< the absolute target on disk, resolved as the kernel resolves it
  ustring mapped;   ///< the target's place in the package
  ustring content;  ///< the link text stored: from the link's place to `mapped`
};

/// Maps the link `source` (packed as `destination`, its text `linkText`) for the tree packed
/// from `sourceRoot` at `rootPlace`.
MappedLink mapLink(const ustring& linkText, const ustring& source, const ustring& sourceRoot,
                   const ustring& rootPlace, const ustring& destination);

}  // namespace Quorlith::kzfpackage::links
