// The configuration manifest's element tree bound to C++ types (namespace kzf_manifest): one
// type per element, an attributes record per attribute-bearing type, Element<T> for elements.
#pragma once

#include <tuple>
#include <variant>
#include <vector>
#include <xsd_binder/Element.hpp>

// Elements carry no namespace. Every attribute is a string; an absent one reads as empty and
// every one is written, empty or not. Element types derive from their content type, which
// names the attributes record (attributes_key) and the children (children_type).
namespace kzf_manifest {

using xsd_binder::Attributes;
using xsd_binder::Element;
using xsd_binder::nil;
using xsd_binder::ustring;

/// A declared directory: attributes "id" and "path", no children.
struct dir_type {
  using attributes_key = dir_type;
  using children_type = nil;
};

/// A declared file: attributes "id" and "path", no children. Accepted, never written or read.
struct file_type {
  using attributes_key = file_type;
  using children_type = nil;
};

/// A reference to a declared directory: attribute "ref" (a directory id), no children.
struct path_reference {
  using attributes_key = path_reference;
  using children_type = nil;
};

/// A reference to a declared function: attribute "ref" (a function id), no children.
struct function_ref {
  using attributes_key = function_ref;
  using children_type = nil;
};

/// A parameter of a function: attribute "name", no children.
struct param_type {
  using attributes_key = param_type;
  using children_type = nil;
};

}  // namespace kzf_manifest

namespace xsd_binder {

template <>
struct Attributes<kzf_manifest::dir_type> {
  ustring id;
  ustring path;
  auto tie() const { return std::tie(id, path); }
};

template <>
struct Attributes<kzf_manifest::file_type> {
  ustring id;
  ustring path;
  auto tie() const { return std::tie(id, path); }
};

template <>
struct Attributes<kzf_manifest::path_reference> {
  ustring ref;
  auto tie() const { return std::tie(ref); }
};

template <>
struct Attributes<kzf_manifest::function_ref> {
  ustring ref;
  auto tie() const { return std::tie(ref); }
};

template <>
struct Attributes<kzf_manifest::param_type> {
  ustring name;
  auto tie() const { return std::tie(name); }
};

}  // namespace xsd_binder

namespace kzf_manifest {

/// "path-item" references to directories.
struct path_list {
  struct path_item : path_reference {
    static constexpr const char16_t* tag = u"path-item";
  };
  using attributes_key = nil;
  using children_type = std::vector<Element<path_item>>;
};

/// "option" texts, one option each.
struct option_list {
  struct option : xsd_binder::text_content {
    static constexpr const char16_t* tag = u"option";
  };
  using attributes_key = nil;
  using children_type = std::vector<Element<option>>;
};

/// "function" references to declared functions.
struct function_list {
  struct function : function_ref {
    static constexpr const char16_t* tag = u"function";
  };
  using attributes_key = nil;
  using children_type = std::vector<Element<function>>;
};

/// "param" elements, one per parameter name.
struct param_list {
  struct param : param_type {
    static constexpr const char16_t* tag = u"param";
  };
  using attributes_key = nil;
  using children_type = std::vector<Element<param>>;
};

/// "feature" items of licensing data, each kept as read.
struct feature_list {
  struct feature : xsd_binder::opaque_content {
    static constexpr const char16_t* tag = u"feature";
  };
  using attributes_key = nil;
  using children_type = std::vector<Element<feature>>;
};

/// A declared function: attribute "id"; children "name", "inputs", "outputs".
struct function_type {
  struct name : xsd_binder::text_content {
    static constexpr const char16_t* tag = u"name";
  };
  struct inputs : param_list {
    static constexpr const char16_t* tag = u"inputs";
  };
  struct outputs : param_list {
    static constexpr const char16_t* tag = u"outputs";
  };
  struct sequence {
    Element<function_type::name> name;
    Element<function_type::inputs> inputs;
    Element<function_type::outputs> outputs;

    friend bool operator==(const sequence& a, const sequence& b) {
      return a.name == b.name && a.inputs == b.inputs && a.outputs == b.outputs;
    }
  };
  using attributes_key = function_type;
  using children_type = sequence;
};

}  // namespace kzf_manifest

namespace xsd_binder {

template <>
struct Attributes<kzf_manifest::function_type> {
  ustring id;
  auto tie() const { return std::tie(id); }
};

}  // namespace xsd_binder

namespace kzf_manifest {

/// The root "manifest": nine attributes, then configurations, files, directories and
/// functions in any order.
struct manifest {
  static constexpr const char16_t* tag = u"manifest";

  /// A configuration: attributes "id", "name", "require", "expires"; fourteen kinds of
  /// children in a fixed order.
  struct configuration {
    static constexpr const char16_t* tag = u"configuration";

    struct session_key : xsd_binder::text_content {
      static constexpr const char16_t* tag = u"session-key";
    };
    struct public_key : xsd_binder::text_content {
      static constexpr const char16_t* tag = u"public-key";
    };
    struct velmor_path : path_list {
      static constexpr const char16_t* tag = u"velmor-path";
    };
    struct java_class_path : path_list {
      static constexpr const char16_t* tag = u"java-class-path";
    };
    struct library_path : path_list {
      static constexpr const char16_t* tag = u"library-path";
    };
    struct application_options : option_list {
      static constexpr const char16_t* tag = u"application-options";
    };
    struct runtime_options : option_list {
      static constexpr const char16_t* tag = u"runtime-options";
    };
    struct warning_state : option_list {
      static constexpr const char16_t* tag = u"warning-state";
    };
    struct prefdir : path_reference {
      static constexpr const char16_t* tag = u"prefdir";
    };
    struct main_function : function_ref {
      static constexpr const char16_t* tag = u"main-function";
    };
    struct public_functions : function_list {
      static constexpr const char16_t* tag = u"public-functions";
    };
    struct lm_feature_list : feature_list {
      static constexpr const char16_t* tag = u"lm-feature-list";
    };
    struct init_start_msg : xsd_binder::text_content {
      static constexpr const char16_t* tag = u"init-start-msg";
    };
    struct init_complete_msg : xsd_binder::text_content {
      static constexpr const char16_t* tag = u"init-complete-msg";
    };

    /// Children 8 to 14. The document shows one flat sequence; the binding continues it here
    /// after the seventh child.
    struct continuation_sequence {
      Element<configuration::warning_state> warning_state;
      Element<configuration::prefdir> prefdir;
      std::vector<Element<configuration::main_function>> main_function;
      Element<configuration::public_functions> public_functions;
      std::vector<Element<configuration::lm_feature_list>> lm_feature_list;
      std::vector<Element<configuration::init_start_msg>> init_start_msg;
      std::vector<Element<configuration::init_complete_msg>> init_complete_msg;

      friend bool operator==(const continuation_sequence& a, const continuation_sequence& b) {
        return a.warning_state == b.warning_state && a.prefdir == b.prefdir &&
               a.main_function == b.main_function && a.public_functions == b.public_functions &&
               a.lm_feature_list == b.lm_feature_list && a.init_start_msg == b.init_start_msg &&
               a.init_complete_msg == b.init_complete_msg;
      }
    };

    /// Children 1 to 7, then the continuation.
    struct sequence {
      Element<configuration::session_key> session_key;
      Element<configuration::public_key> public_key;
      Element<configuration::velmor_path> velmor_path;
      Element<configuration::java_class_path> java_class_path;
      Element<configuration::library_path> library_path;
      Element<configuration::application_options> application_options;
      Element<configuration::runtime_options> runtime_options;
      continuation_sequence continuation;

      friend bool operator==(const sequence& a, const sequence& b) {
        return a.session_key == b.session_key && a.public_key == b.public_key &&
               a.velmor_path == b.velmor_path && a.java_class_path == b.java_class_path &&
               a.library_path == b.library_path && a.application_options == b.application_options &&
               a.runtime_options == b.runtime_options && a.continuation == b.continuation;
      }
    };

    using attributes_key = configuration;
    using children_type = sequence;
  };

  struct file : file_type {
    static constexpr const char16_t* tag = u"file";
  };
  struct directory : dir_type {
    static constexpr const char16_t* tag = u"directory";
  };
  struct function : function_type {
    static constexpr const char16_t* tag = u"function";
  };

  /// One top-level child: the four kinds, in this order.
  using child =
      std::variant<Element<configuration>, Element<file>, Element<directory>, Element<function>>;

  using attributes_key = manifest;
  using children_type = std::vector<child>;
};

}  // namespace kzf_manifest

namespace xsd_binder {

template <>
struct Attributes<kzf_manifest::manifest> {
  ustring default_config;
  ustring signature;
  ustring uuid;
  ustring component_name;
  ustring vrt_major_version;
  ustring vrt_minor_version;
  ustring vrt_release_version;
  ustring need_java;
  ustring need_exclusive_vrt_process;
  auto tie() const {
    return std::tie(default_config, signature, uuid, component_name, vrt_major_version,
                    vrt_minor_version, vrt_release_version, need_java, need_exclusive_vrt_process);
  }
};

template <>
struct Attributes<kzf_manifest::manifest::configuration> {
  ustring id;
  ustring name;
  ustring require;
  ustring expires;
  auto tie() const { return std::tie(id, name, require, expires); }
};

}  // namespace xsd_binder

namespace kzf_manifest {

/// The element's "id" (the four id-bearing kinds).
inline const ustring& id_of(const Element<manifest::configuration>& e) { return e.attributes.id; }
inline const ustring& id_of(const Element<manifest::file>& e) { return e.attributes.id; }
inline const ustring& id_of(const Element<manifest::directory>& e) { return e.attributes.id; }
inline const ustring& id_of(const Element<manifest::function>& e) { return e.attributes.id; }

/// True when the element's "id" is `id` (the four id-bearing kinds).
inline bool id_matches(const Element<manifest::configuration>& e, const ustring& id) {
  return id_of(e) == id;
}
inline bool id_matches(const Element<manifest::file>& e, const ustring& id) {
  return id_of(e) == id;
}
inline bool id_matches(const Element<manifest::directory>& e, const ustring& id) {
  return id_of(e) == id;
}
inline bool id_matches(const Element<manifest::function>& e, const ustring& id) {
  return id_of(e) == id;
}

/// Calls `visit` on each top-level child of `root`, in document order, with the child's own
/// element type.
template <typename Visitor>
void visitElements(const Element<manifest>& root, Visitor&& visit) {
  for (const manifest::child& child : root.children) std::visit(visit, child);
}

}  // namespace kzf_manifest
