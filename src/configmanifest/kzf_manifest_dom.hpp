// Reading and writing the configuration manifest's bound types on Xerces-C DOM nodes.
#pragma once

#include <kzfpackage/kzf_manifest.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xsd_binder/DOMReadWrite.hpp>

// The generic parts (elements, lists, text) are xsd_binder's; these overloads, found by
// argument-dependent lookup, add the manifest's attribute records and sequences. Reading
// rejects, as MalformedDocumentError, any element out of place: unknown, out of order, or a
// required one missing.
namespace kzf_manifest {

void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<manifest>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node,
                           Attributes<manifest::configuration>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<dir_type>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<file_type>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<function_type>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<path_reference>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<function_ref>& out);
void readAttributesFromDOM(const xercesc::DOMElement& node, Attributes<param_type>& out);

void writeAttributesToDOM(const Attributes<manifest>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<manifest::configuration>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<dir_type>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<file_type>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<function_type>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<path_reference>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<function_ref>& in, xercesc::DOMElement& node);
void writeAttributesToDOM(const Attributes<param_type>& in, xercesc::DOMElement& node);

/// The root's children: configurations, files, directories and functions in any order.
void readChildrenFromDOM(const xercesc::DOMElement& node, manifest::children_type& out);
void readChildrenFromDOM(const xercesc::DOMElement& node, manifest::configuration::sequence& out);
void readChildrenFromDOM(const xercesc::DOMElement& node, function_type::sequence& out);

void writeChildrenToDOM(const manifest::children_type& in, xercesc::DOMElement& node,
                        const ustring& namespaceUri);
void writeChildrenToDOM(const manifest::configuration::sequence& in, xercesc::DOMElement& node,
                        const ustring& namespaceUri);
void writeChildrenToDOM(const function_type::sequence& in, xercesc::DOMElement& node,
                        const ustring& namespaceUri);

}  // namespace kzf_manifest
