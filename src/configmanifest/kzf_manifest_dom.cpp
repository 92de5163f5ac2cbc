// Reading and writing the configuration manifest's bound types on Xerces-C DOM nodes.
#include "kzf_manifest_dom.hpp"

#include <utility>

namespace kzf_manifest {

namespace x = xercesc;
using xsd_binder::ChildCursor;
using xsd_binder::readAttribute;
using xsd_binder::writeAttribute;

namespace {

using configuration = manifest::configuration;

template <typename T>
void readChild(ChildCursor& cursor, manifest::children_type& out) {
  Element<T> child;
  readOne(cursor, child);
  out.emplace_back(std::move(child));
}

// The configuration's children 8 to 14, read on from where the first seven ended.
void readContinuation(ChildCursor& cursor, configuration::continuation_sequence& out) {
  readOne(cursor, out.warning_state);
  readOne(cursor, out.prefdir);
  readMany(cursor, out.main_function);
  readOne(cursor, out.public_functions);
  readMany(cursor, out.lm_feature_list);
  readMany(cursor, out.init_start_msg);
  readMany(cursor, out.init_complete_msg);
}

void writeContinuation(const configuration::continuation_sequence& in, x::DOMElement& node,
                       const ustring& namespaceUri) {
  writeToDOM(in.warning_state, node, namespaceUri);
  writeToDOM(in.prefdir, node, namespaceUri);
  writeChildrenToDOM(in.main_function, node, namespaceUri);
  writeToDOM(in.public_functions, node, namespaceUri);
  writeChildrenToDOM(in.lm_feature_list, node, namespaceUri);
  writeChildrenToDOM(in.init_start_msg, node, namespaceUri);
  writeChildrenToDOM(in.init_complete_msg, node, namespaceUri);
}

}  // namespace

void readAttributesFromDOM(const x::DOMElement& node, Attributes<manifest>& out) {
  out.default_config = readAttribute(node, u"default-config");
  out.signature = readAttribute(node, u"signature");
  out.uuid = readAttribute(node, u"uuid");
  out.component_name = readAttribute(node, u"component-name");
  out.vrt_major_version = readAttribute(node, u"vrt-major-version");
  out.vrt_minor_version = readAttribute(node, u"vrt-minor-version");
  out.vrt_release_version = readAttribute(node, u"vrt-release-version");
  out.need_java = readAttribute(node, u"need_java");
  out.need_exclusive_vrt_process = readAttribute(node, u"need_exclusive_vrt_process");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<configuration>& out) {
  out.id = readAttribute(node, u"id");
  out.name = readAttribute(node, u"name");
  out.require = readAttribute(node, u"require");
  out.expires = readAttribute(node, u"expires");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<dir_type>& out) {
  out.id = readAttribute(node, u"id");
  out.path = readAttribute(node, u"path");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<file_type>& out) {
  out.id = readAttribute(node, u"id");
  out.path = readAttribute(node, u"path");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<function_type>& out) {
  out.id = readAttribute(node, u"id");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<path_reference>& out) {
  out.ref = readAttribute(node, u"ref");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<function_ref>& out) {
  out.ref = readAttribute(node, u"ref");
}

void readAttributesFromDOM(const x::DOMElement& node, Attributes<param_type>& out) {
  out.name = readAttribute(node, u"name");
}

void writeAttributesToDOM(const Attributes<manifest>& in, x::DOMElement& node) {
  writeAttribute(node, u"default-config", in.default_config);
  writeAttribute(node, u"signature", in.signature);
  writeAttribute(node, u"uuid", in.uuid);
  writeAttribute(node, u"component-name", in.component_name);
  writeAttribute(node, u"vrt-major-version", in.vrt_major_version);
  writeAttribute(node, u"vrt-minor-version", in.vrt_minor_version);
  writeAttribute(node, u"vrt-release-version", in.vrt_release_version);
  writeAttribute(node, u"need_java", in.need_java);
  writeAttribute(node, u"need_exclusive_vrt_process", in.need_exclusive_vrt_process);
}

void writeAttributesToDOM(const Attributes<configuration>& in, x::DOMElement& node) {
  writeAttribute(node, u"id", in.id);
  writeAttribute(node, u"name", in.name);
  writeAttribute(node, u"require", in.require);
  writeAttribute(node, u"expires", in.expires);
}

void writeAttributesToDOM(const Attributes<dir_type>& in, x::DOMElement& node) {
  writeAttribute(node, u"id", in.id);
  writeAttribute(node, u"path", in.path);
}

void writeAttributesToDOM(const Attributes<file_type>& in, x::DOMElement& node) {
  writeAttribute(node, u"id", in.id);
  writeAttribute(node, u"path", in.path);
}

void writeAttributesToDOM(const Attributes<function_type>& in, x::DOMElement& node) {
  writeAttribute(node, u"id", in.id);
}

void writeAttributesToDOM(const Attributes<path_reference>& in, x::DOMElement& node) {
  writeAttribute(node, u"ref", in.ref);
}

void writeAttributesToDOM(const Attributes<function_ref>& in, x::DOMElement& node) {
  writeAttribute(node, u"ref", in.ref);
}

void writeAttributesToDOM(const Attributes<param_type>& in, x::DOMElement& node) {
  writeAttribute(node, u"name", in.name);
}

void readChildrenFromDOM(const x::DOMElement& node, manifest::children_type& out) {
  ChildCursor cursor(node);
  while (!cursor.atEnd()) {
    if (cursor.nextIs(configuration::tag)) {
      readChild<configuration>(cursor, out);
    } else if (cursor.nextIs(manifest::file::tag)) {
      readChild<manifest::file>(cursor, out);
    } else if (cursor.nextIs(manifest::directory::tag)) {
      readChild<manifest::directory>(cursor, out);
    } else if (cursor.nextIs(manifest::function::tag)) {
      readChild<manifest::function>(cursor, out);
    } else {
      cursor.finish();
    }
  }
}

void readChildrenFromDOM(const x::DOMElement& node, configuration::sequence& out) {
  ChildCursor cursor(node);
  readOne(cursor, out.session_key);
  readOne(cursor, out.public_key);
  readOne(cursor, out.velmor_path);
  readOne(cursor, out.java_class_path);
  readOne(cursor, out.library_path);
  readOne(cursor, out.application_options);
  readOne(cursor, out.runtime_options);
  readContinuation(cursor, out.continuation);
  cursor.finish();
}

void readChildrenFromDOM(const x::DOMElement& node, function_type::sequence& out) {
  ChildCursor cursor(node);
  readOne(cursor, out.name);
  readOne(cursor, out.inputs);
  readOne(cursor, out.outputs);
  cursor.finish();
}

void writeChildrenToDOM(const manifest::children_type& in, x::DOMElement& node,
                        const ustring& namespaceUri) {
  for (const manifest::child& child : in) {
    std::visit([&](const auto& element) { writeToDOM(element, node, namespaceUri); }, child);
  }
}

void writeChildrenToDOM(const configuration::sequence& in, x::DOMElement& node,
                        const ustring& namespaceUri) {
  writeToDOM(in.session_key, node, namespaceUri);
  writeToDOM(in.public_key, node, namespaceUri);
  writeToDOM(in.velmor_path, node, namespaceUri);
  writeToDOM(in.java_class_path, node, namespaceUri);
  writeToDOM(in.library_path, node, namespaceUri);
  writeToDOM(in.application_options, node, namespaceUri);
  writeToDOM(in.runtime_options, node, namespaceUri);
  writeContinuation(in.continuation, node, namespaceUri);
}

void writeChildrenToDOM(const function_type::sequence& in, x::DOMElement& node,
                        const ustring& namespaceUri) {
  writeToDOM(in.name, node, namespaceUri);
  writeToDOM(in.inputs, node, namespaceUri);
  writeToDOM(in.outputs, node, namespaceUri);
}

}  // namespace kzf_manifest
