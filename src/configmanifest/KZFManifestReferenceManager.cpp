// KZFManifestReferenceManager: declares directories and functions once while a manifest is
// built and hands out references to them.
#include <fl/i18n/ustring.hpp>
#include <kzfpackage/KZFManifestReferenceManager.hpp>
#include <utility>

namespace Quorlith::kzfpackage {

// Inside the manager's members "manifest" names the tree being built, so the root type is
// always spelt kzf_manifest::manifest here.
using kzf_manifest::function_list;
using kzf_manifest::path_list;
using xsd_binder::Element;

namespace {

// The id prefix is only there to make ids readable: the generator keeps ASCII name
// characters and nothing else, so UTF-8 serves whatever the process encoding is and, unlike
// a conversion to that encoding, cannot fail on a path the encoding lacks characters for.
ustring newId(xsd_binder::IDGenerator& generator, const std::string& kind, const ustring& text) {
  return fl::i18n::utf8_to_ustring(generator.generate(kind + fl::i18n::ustring_to_utf8(text)));
}

template <typename R>
Element<R> referenceTo(const ustring& id) {
  Element<R> reference;
  reference.attributes.ref = id;
  return reference;
}

}  // namespace

KZFManifestReferenceManager::KZFManifestReferenceManager(xsd_binder::IDGenerator& idGenerator,
                                                         Element<kzf_manifest::manifest>& tree)
    : generator(idGenerator), manifest(tree) {}

KZFManifestReferenceManager::~KZFManifestReferenceManager() = default;

template <typename R>
Element<R> KZFManifestReferenceManager::make_reference_to_dir(const ustring& path) const {
  if (auto known = declaredIds.find(path); known != declaredIds.end()) {
    return referenceTo<R>(known->second);
  }
  Element<kzf_manifest::manifest::directory> directory;
  directory.attributes.id = newId(generator, "DIR_", path);
  directory.attributes.path = path;
  ustring id = directory.attributes.id;
  manifest.children.emplace_back(std::move(directory));
  declaredIds.emplace(path, id);
  return referenceTo<R>(id);
}

template <typename R>
Element<R> KZFManifestReferenceManager::make_reference_to_function(
    const VelmorFunction& function) const {
  if (auto known = declaredIds.find(function.location); known != declaredIds.end()) {
    return referenceTo<R>(known->second);
  }
  Element<kzf_manifest::manifest::function> declared;
  declared.attributes.id = newId(generator, "FUNCTION_", function.name);
  declared.children.name.children = function.name;
  for (const ustring& input : function.inputs) {
    declared.children.inputs.children.emplace_back();
    declared.children.inputs.children.back().attributes.name = input;
  }
  for (const ustring& output : function.outputs) {
    declared.children.outputs.children.emplace_back();
    declared.children.outputs.children.back().attributes.name = output;
  }
  ustring id = declared.attributes.id;
  manifest.children.emplace_back(std::move(declared));
  declaredIds.emplace(function.location, id);
  return referenceTo<R>(id);
}

template Element<kzf_manifest::manifest::configuration::prefdir>
KZFManifestReferenceManager::make_reference_to_dir(const ustring&) const;
template Element<path_list::path_item> KZFManifestReferenceManager::make_reference_to_dir(
    const ustring&) const;
template Element<kzf_manifest::manifest::configuration::main_function>
KZFManifestReferenceManager::make_reference_to_function(const VelmorFunction&) const;
template Element<function_list::function> KZFManifestReferenceManager::make_reference_to_function(
    const VelmorFunction&) const;

}  // namespace Quorlith::kzfpackage
