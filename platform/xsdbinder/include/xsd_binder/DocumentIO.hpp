// Parsing bound documents from package streams and writing them to package or standard
// streams, through the OPC layer's hardened parser, serializer and stream adapters.
#pragma once

#include <opc/Stream.hpp>
#include <opc/util/XercesHelper.hpp>
#include <ostream>
#include <sstream>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xsd_binder/DOMReadWrite.hpp>
#include <xsd_binder/Element.hpp>

namespace xsd_binder {

namespace detail {

/// One parsed document, owned.
class ParsedDocument {
 public:
  /// Parses the whole of `stream` (named "opcistream" in errors) with the project's hardened
  /// parser; see parseStream.
  ParsedDocument(opc::InputStream& stream, const ustring& namespaceUri,
                 const ustring& schemaLocation);
  ParsedDocument(const ParsedDocument&) = delete;
  ParsedDocument& operator=(const ParsedDocument&) = delete;

  const xercesc::DOMElement& root() const { return *document_->getDocumentElement(); }

 private:
  opc::util::DOMDocumentPtr document_;
};

/// Writes `document` as UTF-8 with an XML declaration to `stream`, indented when
/// `prettyPrint` is set. A text the writer cannot hold throws opc::model::InvalidXMLDocument;
/// the stream's own errors pass unchanged.
void writeDocument(const xercesc::DOMDocument& document, opc::OutputStream& stream,
                   bool prettyPrint);

/// A new empty document.
opc::util::DOMDocumentPtr createDocument();

}  // namespace detail

/// Parses the whole of `stream` and reads its root element into an `Element<T>`. The parser is
/// the project's hardened one: a DOCTYPE, an external entity or a schema named by the document
/// are refused or ignored, never loaded. It checks well-formedness only (the binding checks
/// the tree). The root must be in `namespaceUri` (empty: in no namespace). A `schemaLocation`
/// given with a namespace is handed to the parser as that namespace's schema, which the parser
/// refuses to fetch: the parse then fails. Every error, fatal error or refusal of the parser,
/// and every element that does not fit the bound tree, throws MalformedDocumentError; a
/// failing stream's own error passes unchanged.
template <typename T>
Element<T> parseStream(opc::InputStream& stream, const ustring& namespaceUri,
                       const ustring& schemaLocation) {
  detail::ParsedDocument document(stream, namespaceUri, schemaLocation);
  Element<T> root;
  readFromDOM(document.root(), root);
  return root;
}

/// Builds a document from `root` (elements in `namespaceUri`; empty: no namespace) and writes
/// it as UTF-8 with an XML declaration to a package stream, indented when `prettyPrint` is
/// set. A text the writer cannot hold throws opc::model::InvalidXMLDocument; the stream's own
/// errors pass unchanged.
template <typename T>
void writeToStream(const Element<T>& root, opc::OutputStream& stream, bool prettyPrint,
                   const ustring& namespaceUri) {
  opc::util::DOMDocumentPtr document = detail::createDocument();
  writeToDOM(root, *document, namespaceUri);
  detail::writeDocument(*document, stream, prettyPrint);
}

/// The same to a standard stream: the document is written whole once it is complete, and
/// not at all to a stream that has an error flag set (no error is reported for it).
template <typename T>
void writeToStream(const Element<T>& root, std::ostream& stream, bool prettyPrint,
                   const ustring& namespaceUri) {
  std::ostringstream text;
  opc::StdOStreamAdaptor adaptor(text);
  writeToStream(root, adaptor, prettyPrint, namespaceUri);
  if (stream.good()) stream << text.str();
}

}  // namespace xsd_binder
