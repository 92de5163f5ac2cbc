// The OPC objects a package owns, kept out of the public header.
#pragma once

#include <sys/stat.h>

#include <PathSafety.hpp>

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFRecordData.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <map>
#include <memory>
#include <opc/model/Package.hpp>
#include <opc/util/TempfileGuard.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace Quorlith::kzfpackage {

/// The package file's path, its zip container, the OPC package over it, and the guard of the
/// backup made when creating over an existing file.
struct KZFPackageStorage {
  explicit KZFPackageStorage(const fl::i18n::ustring& packagePath)
      : path(packagePath),
        physicalPackage(packagePath, true, false),
        package(physicalPackage, true) {}

  fl::i18n::ustring path;
  opc::zippackage::ZipPhysicalPackage physicalPackage;
  opc::model::Package package;
  std::unique_ptr<opc::util::TempfileGuard> tempfileGuard;

  /// The entry rules extraction applies, applied to each entry as it is added (links at close).
  pathsafety::EntryRules rules;
  /// The source of every link admitted, by its place, to name it when its target is refused.
  std::map<std::string, fl::i18n::ustring> linkSources;
  /// Where a link target queued for close came from: the packed tree's root on disk and the
  /// root's place in the package, so that a queued link (a chain that left the tree) is mapped
  /// against the tree that was packed, not against a root guessed from its own path.
  struct LinkOrigin {
    fl::i18n::ustring sourceRoot;
    fl::i18n::ustring rootPlace;
    fl::i18n::ustring link;  ///< the link of the tree that led here, named in refusals
  };
  std::map<fl::i18n::ustring, LinkOrigin> queuedOrigins;

  /// Equivalence keys of every part name taken, and of every folder above one. Part names are
  /// compared case-insensitively, and no part name may be a folder of another ("/x" and
  /// "/X/y"), so a name is free only when it clashes with neither.
  std::unordered_set<std::string> partKeys{".meta/manifest.xml", ".meta/filemanifest.xml"};
  std::unordered_set<std::string> partFolderKeys{".meta"};
  /// Forgets the entries, links and part names of an earlier package made by this object.
  void startCreating() {
    rules = pathsafety::EntryRules();
    linkSources.clear();
    queuedOrigins.clear();
    partKeys = {".meta/manifest.xml", ".meta/filemanifest.xml"};
    partFolderKeys = {".meta"};
  }
  /// The first free part name for `base` (an encoded part name); see KZFPackageAdd.cpp.
  fl::i18n::ustring takeFreePartName(const fl::i18n::ustring& base);

  /// The lstat of the source addSingleFile is adding, kept so that completing its entry asks
  /// the file system nothing more: one lstat per source, however many questions. Cleared when
  /// that call ends: a later call for the same source asks again.
  struct SourceStatus {
    std::string path;
    struct stat status {};
  } lastSource;

  /// Hash indexes over the link bookkeeping (the file map given to addFileListToKZF and the
  /// queue of link targets), so that each link asks them in constant time what a walk of the
  /// whole map or queue answers. Each index keeps the walk's answer: the first match in map
  /// order or in queue order. They hold views of the map's and the queue's own strings, which
  /// stay in place as long as the map is not replaced and the queue only grows.
  struct LinkIndexes {
    /// Destination name -> key of the first record in map order with that name.
    std::unordered_map<std::u16string_view, const fl::i18n::ustring*> listedSourceByName;
    /// The queued sources.
    std::unordered_set<std::u16string_view> queuedSources;
    /// Place in the package -> the first queued source that claims it.
    std::unordered_map<std::u16string_view, const fl::i18n::ustring*> queuedSourceByPlace;

    /// Indexes the file map that replaced the previous one.
    void indexList(const std::map<fl::i18n::ustring, kzfdatainterfaces::KZFRecordData>& files) {
      listedSourceByName.clear();
      listedSourceByName.reserve(files.size());
      for (const auto& [source, record] : files)
        listedSourceByName.emplace(record.getName(), &source);
    }
    /// Indexes a pair just appended to the queue.
    void indexQueued(const fl::i18n::ustring& source, const fl::i18n::ustring& place) {
      queuedSources.insert(source);
      queuedSourceByPlace.emplace(place, &source);
    }
  } links;

  /// The remembered lstat of `source`, or null when the last one taken was of another path.
  const struct stat* knownStatus(const std::string& source) const {
    return lastSource.path == source ? &lastSource.status : nullptr;
  }
};

/// A source's path for a message: in the process encoding where it has a form there,
/// otherwise with each character it lacks written as \uXXXX.
std::string describeSource(const fl::i18n::ustring& source);

/// Reports an entry the rules refused while adding `source`, under the identifier of the rule.
[[noreturn]] void refuseSource(const fl::i18n::ustring& source,
                               const pathsafety::EntryRefusal& refusal);

/// Admits an entry of `type` named `name` for `source` under `rules`, or refuses the source.
pathsafety::EntryPath admitOrRefuse(pathsafety::EntryRules& rules, const fl::i18n::ustring& source,
                                    const fl::i18n::ustring& name, KZFFileEntryType type);

}  // namespace Quorlith::kzfpackage
