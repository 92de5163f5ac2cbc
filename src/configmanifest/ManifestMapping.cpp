// The mapping between settings and the configuration manifest's element tree.
#include "ManifestMapping.hpp"

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/lexical_cast.hpp>
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/Describe.hpp>
#include <kzfpackage/KZFManifestReferenceManager.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <xsd_binder/FindElement.hpp>
#include <xsd_binder/IDGenerator.hpp>

namespace Quorlith::kzfpackage {

namespace {

using kzf_manifest::function_list;
using kzf_manifest::manifest;
using kzf_manifest::option_list;
using kzf_manifest::path_list;
using xsd_binder::Element;
using configuration = manifest::configuration;
using fl::i18n::describe;

[[noreturn]] void throwInconsistent(const std::string& reason) {
  throw fl::i18n::DeployedException(
      kzf::kzfpackage::KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES(reason));
}

// The manifest's top-level declarations by kind and id, indexed once per document.
struct Declarations {
  explicit Declarations(const Element<manifest>& tree)
      : configurations(tree), directories(tree), functions(tree) {}

  xsd_binder::ElementIndex<configuration> configurations;
  xsd_binder::ElementIndex<manifest::directory> directories;
  xsd_binder::ElementIndex<manifest::function> functions;
};

// The declaration that `id` names in `index`.
template <typename K>
const Element<K>& resolve(const xsd_binder::ElementIndex<K>& index, const ustring& id) {
  const Element<K>* found = index.find(id);
  if (found == nullptr) {
    throwInconsistent("the manifest declares no \"" + describe(K::tag) + "\" with the id \"" +
                      describe(id) + "\"");
  }
  return *found;
}

// Key material travels as text: the bytes are read as UTF-8 on the way out and the text is
// encoded as UTF-8 on the way back.
ustring keyText(const KZFByteArray& key, const char* which) {
  try {
    return fl::i18n::Converter("UTF-8").to_ustring(std::string_view(key.begin(), key.size()));
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(std::string("the ") + which +
                             " of the settings cannot be written: its bytes are not UTF-8 text (" +
                             e.what() + ")");
  }
}

KZFByteArray keyBytes(const ustring& text) {
  return KZFByteArray(fl::i18n::Converter("UTF-8").from_ustring(text));
}

// Flags are written as "1" or "0" and read back only from those two texts.
ustring flagText(bool flag) { return fl::i18n::to_ustring(boost::lexical_cast<std::string>(flag)); }

bool flagValue(const ustring& text) {
  // lexical_cast alone would also take "01", "+1" or "-0"; the manifest knows two texts only,
  // and anything else fails with the conversion's own error.
  if (text != u"0" && text != u"1") {
    boost::throw_exception(boost::bad_lexical_cast(typeid(std::string), typeid(bool)));
  }
  return text == u"1";
}

template <typename List>
void addPathReferences(const KZFManifestReferenceManager& references,
                       const std::vector<ustring>& paths, Element<List>& list) {
  for (const ustring& path : paths) {
    list.children.push_back(references.make_reference_to_dir<path_list::path_item>(path));
  }
}

template <typename List>
void addOptions(const std::vector<ustring>& options, Element<List>& list) {
  for (const ustring& option : options) {
    Element<option_list::option> item;
    item.children = option;
    list.children.push_back(std::move(item));
  }
}

template <typename List>
void readPaths(const Declarations& declared, const Element<List>& list,
               std::vector<ustring>& paths) {
  for (const auto& item : list.children) {
    paths.push_back(resolve(declared.directories, item.attributes.ref).attributes.path);
  }
}

template <typename List>
void readOptions(const Element<List>& list, std::vector<ustring>& options) {
  for (const auto& item : list.children) options.push_back(item.children);
}

// Name, inputs and outputs of the declared function `id`; the location stays as it is.
void readFunction(const Declarations& declarations, const ustring& id, VelmorFunction& function) {
  const auto& declared = resolve(declarations.functions, id).children;
  function.name = declared.name.children;
  for (const auto& param : declared.inputs.children) {
    function.inputs.push_back(param.attributes.name);
  }
  for (const auto& param : declared.outputs.children) {
    function.outputs.push_back(param.attributes.name);
  }
}

}  // namespace

Element<manifest> buildManifestTree(const KZFSettings& settings) {
  xsd_binder::IDGenerator generator;
  Element<manifest> tree;
  Element<configuration> config;
  KZFManifestReferenceManager references(generator, tree);

  auto& root = tree.attributes;
  root.uuid = settings.uuid;
  root.component_name = settings.componentName;
  root.vrt_major_version = settings.vrtMajorVersion;
  root.vrt_minor_version = settings.vrtMinorVersion;
  root.vrt_release_version = settings.vrtReleaseVersion;
  root.need_java = flagText(settings.needJava);
  root.need_exclusive_vrt_process = flagText(settings.needExclusiveVrtProcess);

  auto& first = config.children;
  first.session_key.children = keyText(settings.sessionKey, "session key");
  first.public_key.children = keyText(settings.publicKey, "public key");
  addPathReferences(references, settings.velmorPath, first.velmor_path);
  addPathReferences(references, settings.javaClassPath, first.java_class_path);
  addPathReferences(references, settings.libraryPath, first.library_path);
  // The application options are read from a manifest but never written to one: the list
  // stays empty on purpose.
  addOptions(settings.runtimeOptions, first.runtime_options);

  auto& rest = first.continuation;
  addOptions(settings.warningState, rest.warning_state);
  // Every package names the same preferences directory; the settings' own prefdir only
  // reports what a loaded manifest said.
  rest.prefdir = references.make_reference_to_dir<configuration::prefdir>(u".velmor");
  if (!settings.publicFunctions.empty()) {
    rest.main_function.push_back(
        references.make_reference_to_function<configuration::main_function>(
            settings.publicFunctions.front()));
  }
  for (const VelmorFunction& function : settings.publicFunctions) {
    rest.public_functions.children.push_back(
        references.make_reference_to_function<function_list::function>(function));
  }
  if (!settings.initStartMessage.empty()) {
    rest.init_start_msg.emplace_back();
    rest.init_start_msg.back().children = settings.initStartMessage;
  }
  if (!settings.initCompleteMessage.empty()) {
    rest.init_complete_msg.emplace_back();
    rest.init_complete_msg.back().children = settings.initCompleteMessage;
  }

  if (settings.expires) {
    config.attributes.expires =
        fl::i18n::to_ustring(boost::lexical_cast<std::string>(*settings.expires));
  }
  config.attributes.id = fl::i18n::to_ustring(generator.generate());
  root.default_config = config.attributes.id;
  tree.children.emplace_back(std::move(config));
  return tree;
}

void fillSettingsFromTree(const Element<manifest>& tree, KZFSettings& settings) {
  const auto& root = tree.attributes;
  const Declarations declared(tree);
  const Element<configuration>& config = resolve(declared.configurations, root.default_config);

  settings.uuid = root.uuid;
  settings.componentName = root.component_name;
  settings.vrtMajorVersion = root.vrt_major_version;
  settings.vrtMinorVersion = root.vrt_minor_version;
  settings.vrtReleaseVersion = root.vrt_release_version;
  settings.needJava = flagValue(root.need_java);
  settings.needExclusiveVrtProcess = flagValue(root.need_exclusive_vrt_process);

  const auto& first = config.children;
  const auto& rest = first.continuation;
  settings.publicKey = keyBytes(first.public_key.children);
  settings.sessionKey = keyBytes(first.session_key.children);

  if (!rest.main_function.empty()) {
    readFunction(declared, rest.main_function.front().attributes.ref, settings.mainFunction);
  }
  for (const auto& reference : rest.public_functions.children) {
    VelmorFunction function;
    readFunction(declared, reference.attributes.ref, function);
    settings.publicFunctions.push_back(std::move(function));
  }

  readPaths(declared, first.velmor_path, settings.velmorPath);
  readPaths(declared, first.java_class_path, settings.javaClassPath);
  readPaths(declared, first.library_path, settings.libraryPath);

  readOptions(first.application_options, settings.applicationOptions);
  readOptions(first.runtime_options, settings.runtimeOptions);
  readOptions(rest.warning_state, settings.warningState);

  settings.prefdir = resolve(declared.directories, rest.prefdir.attributes.ref).attributes.path;

  if (!rest.init_start_msg.empty()) {
    // Deliberately for the start message only: one that is present but empty reads as a
    // single blank, which keeps it apart from a manifest without any.
    const ustring& text = rest.init_start_msg.front().children;
    settings.initStartMessage = text.empty() ? u" " : text;
  }
  if (!rest.init_complete_msg.empty()) {
    settings.initCompleteMessage = rest.init_complete_msg.front().children;
  }

  if (config.attributes.expires.empty()) {
    settings.expires.reset();
  } else {
    settings.expires = boost::lexical_cast<boost::gregorian::date>(
        fl::i18n::ustring_to_utf8(config.attributes.expires));
  }
}

}  // namespace Quorlith::kzfpackage
