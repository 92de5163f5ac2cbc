// Parsing bound documents from package streams and writing them to package or standard
// streams: the Xerces-C adapters, the error handler and the entry points.
#pragma once

#include <memory>
#include <opc/Stream.hpp>
#include <opc/util/XercesHelper.hpp>
#include <ostream>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xsd_binder/DOMReadWrite.hpp>
#include <xsd_binder/Element.hpp>
#include <xsd_binder/XercesInitializerGuard.hpp>

namespace xsd_binder {

/// The parser's view of an opc::InputStream (not owned).
class OPCStreamInputStream : public xercesc::BinInputStream {
 public:
  explicit OPCStreamInputStream(opc::InputStream& stream) : stream_(stream) {}

  /// 0 once the stream reports its end; otherwise what one read of up to `maxToRead` gives.
  XMLSize_t readBytes(XMLByte* const buffer, const XMLSize_t maxToRead) override;
  /// Always 0: the position is not tracked, the parser only shows it in diagnostics.
  XMLFilePos curPos() const override { return 0; }
  const XMLCh* getContentType() const override { return nullptr; }

 private:
  opc::InputStream& stream_;
};

/// An input source over an opc::InputStream (not owned), with the system id "opcistream".
class OPCStreamInputSource : public xercesc::InputSource {
 public:
  explicit OPCStreamInputSource(opc::InputStream& stream);

  /// A new OPCStreamInputStream over the stream; the parser owns and frees it.
  xercesc::BinInputStream* makeStream() const override;

 private:
  opc::InputStream& stream_;
};

/// Passes the writer's bytes unchanged to an opc::OutputStream (not owned); the stream's
/// write errors pass through unchanged.
class OPCOutputStreamFormatTarget : public xercesc::XMLFormatTarget {
 public:
  explicit OPCOutputStreamFormatTarget(opc::OutputStream& stream) : stream_(stream) {}

  void writeChars(const XMLByte* const bytes, const XMLSize_t count,
                  xercesc::XMLFormatter* const formatter) override;
  void flush() override;

 private:
  opc::OutputStream& stream_;
};

/// Writes the writer's bytes to a std::ostream (not owned) while the stream is good; a stream
/// with an error flag set silently swallows all further output.
class OutputStreamFormatTarget : public xercesc::XMLFormatTarget {
 public:
  explicit OutputStreamFormatTarget(std::ostream& stream) : stream_(stream) {}

  void writeChars(const XMLByte* const bytes, const XMLSize_t count,
                  xercesc::XMLFormatter* const formatter) override;
  void flush() override;

 private:
  std::ostream& stream_;
};

/// Lets warnings pass (the parse goes on) and ends the parse on an error or fatal error with
/// MalformedDocumentError naming the document, line, column and the parser's message.
class ErrorHandler : public xercesc::DOMErrorHandler {
 public:
  bool handleError(const xercesc::DOMError& error) override;
};

/// The deepest element nesting a parsed document may have; deeper is malformed. The parser
/// factory enforces it.
constexpr int kMaxElementDepth = static_cast<int>(opc::util::XercesHelper::kDefaultMaxElementDepth);

namespace detail {

/// One parsed document and the parser that owns it.
class ParsedDocument {
 public:
  /// Parses `source`, which it adopts (frees), with the project's hardened parser; see
  /// parseInputSource.
  ParsedDocument(xercesc::InputSource* source, const ustring& namespaceUri,
                 const ustring& schemaLocation);
  ParsedDocument(const ParsedDocument&) = delete;
  ParsedDocument& operator=(const ParsedDocument&) = delete;

  const xercesc::DOMElement& root() const { return *root_; }

 private:
  XercesInitializerGuard guard_;
  std::unique_ptr<xercesc::Wrapper4InputSource> input_;  // adopts the caller's source
  // These serve the parser, so they are built before it and die after it.
  ErrorHandler errorHandler_;
  opc::util::DOMLSParserPtr parser_;
  const xercesc::DOMElement* root_ = nullptr;  // owned by the parser's document
};

/// Writes `document` to `target`, indented when `prettyPrint` is set and the writer can.
void writeDocument(const xercesc::DOMDocument& document, xercesc::XMLFormatTarget* target,
                   bool prettyPrint);

/// A new empty document.
opc::util::DOMDocumentPtr createDocument();

}  // namespace detail

/// Parses `source`, which it adopts (frees, also on failure), and reads its root element into
/// an `Element<T>`. The parser is the project's hardened one: a DOCTYPE, an external entity or
/// a schema named by the document are refused or ignored, never loaded. It validates only
/// against a grammar it already holds and otherwise checks well-formedness. The root must be
/// in `namespaceUri` (empty: in no namespace). A `schemaLocation` given with a namespace is
/// handed to the parser as that namespace's external schema, which the parser refuses to
/// fetch: the parse then fails. Every error, fatal error or refusal of the parser, and every
/// element that does not fit the bound tree, throws MalformedDocumentError; a failing
/// stream's own error passes unchanged.
template <typename T>
Element<T> parseInputSource(xercesc::InputSource* source, const ustring& namespaceUri,
                            const ustring& schemaLocation) {
  detail::ParsedDocument document(source, namespaceUri, schemaLocation);
  Element<T> root;
  readFromDOM(document.root(), root);
  return root;
}

/// Parses the whole of `stream` as a document of root type `T`; see parseInputSource.
template <typename T>
Element<T> parseStream(opc::InputStream& stream, const ustring& namespaceUri,
                       const ustring& schemaLocation) {
  XercesInitializerGuard guard;
  // make_unique allocates through the parser library's allocator (the class's own operator
  // new); the parse adopts the source.
  auto source = std::make_unique<OPCStreamInputSource>(stream);
  return parseInputSource<T>(source.release(), namespaceUri, schemaLocation);
}

/// Builds a document from `root` (elements in `namespaceUri`; empty: no namespace) and writes
/// it as UTF-8 with an XML declaration to `target`, indented when `prettyPrint` is set.
template <typename T>
void writeToFormatTarget(const Element<T>& root, xercesc::XMLFormatTarget* target, bool prettyPrint,
                         const ustring& namespaceUri) {
  XercesInitializerGuard guard;
  opc::util::DOMDocumentPtr document = detail::createDocument();
  writeToDOM(root, *document, namespaceUri);
  detail::writeDocument(*document, target, prettyPrint);
}

/// Writes the document of `root` to a package stream; the stream's errors pass unchanged.
template <typename T>
void writeToStream(const Element<T>& root, opc::OutputStream& stream, bool prettyPrint,
                   const ustring& namespaceUri) {
  XercesInitializerGuard guard;
  auto target = std::make_unique<OPCOutputStreamFormatTarget>(stream);
  writeToFormatTarget(root, target.get(), prettyPrint, namespaceUri);
}

/// Writes the document of `root` to a standard stream; nothing is written once the stream
/// has an error flag set, and no error is reported for it.
template <typename T>
void writeToStream(const Element<T>& root, std::ostream& stream, bool prettyPrint,
                   const ustring& namespaceUri) {
  XercesInitializerGuard guard;
  auto target = std::make_unique<OutputStreamFormatTarget>(stream);
  writeToFormatTarget(root, target.get(), prettyPrint, namespaceUri);
}

}  // namespace xsd_binder
