// KZFManifestReferenceManager: declares directories and functions once while a manifest is
// built and hands out references to them.
#pragma once

#include <kzfpackage/Export.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/kzf_manifest.hpp>
#include <map>
#include <xsd_binder/Element.hpp>
#include <xsd_binder/IDGenerator.hpp>

namespace Quorlith::kzfpackage {

/// Lives while one manifest is built. The first reference to a directory path or a function
/// location appends a "directory" or "function" declaration with a fresh id to the manifest's
/// top-level children; later references reuse that id. Paths and locations share one key
/// map: a function whose location equals a declared path (or the reverse) gets that id and
/// no declaration of its own.
class KZF_EXPORT KZFManifestReferenceManager {
 public:
  /// Uses `idGenerator` for ids and appends declarations to `tree`; both must outlive the
  /// manager.
  KZFManifestReferenceManager(xsd_binder::IDGenerator& idGenerator,
                              xsd_binder::Element<kzf_manifest::manifest>& tree);
  KZFManifestReferenceManager(const KZFManifestReferenceManager&) = delete;
  KZFManifestReferenceManager& operator=(const KZFManifestReferenceManager&) = delete;
  ~KZFManifestReferenceManager();

  /// A reference whose "ref" is the id of the directory `path`, declared on first use.
  /// Available for R = manifest::configuration::prefdir and path_list::path_item.
  template <typename R>
  xsd_binder::Element<R> make_reference_to_dir(const ustring& path) const;

  /// A reference whose "ref" is the id of `function`, keyed by its location and declared on
  /// first use with its name, inputs and outputs. Available for
  /// R = manifest::configuration::main_function and function_list::function.
  template <typename R>
  xsd_binder::Element<R> make_reference_to_function(const VelmorFunction& function) const;

 private:
  xsd_binder::IDGenerator& generator;
  xsd_binder::Element<kzf_manifest::manifest>& manifest;
  // Declaring is what a reference request does, so the requests are const and the record of
  // declarations is not.
  mutable std::map<ustring, ustring> declaredIds;
};

}  // namespace Quorlith::kzfpackage
