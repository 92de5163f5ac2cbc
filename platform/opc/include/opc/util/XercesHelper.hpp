// Xerces-C helpers: library lifetime, strings, owners, the hardened parser factories, and
// reading and writing DOM documents over package streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opc/Export.hpp>
#include <opc/Stream.hpp>
#include <opc/String.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/dom/DOMLSParser.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>
#include <xercesc/sax2/ContentHandler.hpp>

namespace opc::util {

// ustring and Xerces strings share their code unit, so texts pass between them unconverted.
static_assert(std::is_same_v<XMLCh, char16_t>, "this Xerces-C build must use char16_t for XMLCh");

/// Keeps Xerces-C initialised while any guard exists: the first guard initialises the library,
/// the last one terminates it. Copies count as guards. Thread-safe.
class OPC_API XercesGuard {
 public:
  XercesGuard();
  XercesGuard(const XercesGuard&);
  XercesGuard& operator=(const XercesGuard&) = default;
  ~XercesGuard();
};

/// A Xerces string owned as a ustring.
class OPC_API XercesString {
 public:
  explicit XercesString(const ustring& text) : text_(text) {}
  /// A null pointer gives the empty string.
  explicit XercesString(const XMLCh* text) : text_(text != nullptr ? text : u"") {}

  const ustring& toString() const { return text_; }
  const XMLCh* c_str() const { return text_.c_str(); }

 private:
  ustring text_;
};

/// Releases a parser; keeps Xerces-C initialised until then.
class OPC_API DOMLSParserReleaser {
 public:
  DOMLSParserReleaser() = default;
  explicit DOMLSParserReleaser(std::shared_ptr<const XercesGuard> guard);
  void operator()(xercesc::DOMLSParser* parser) const;

 private:
  std::shared_ptr<const XercesGuard> guard_;
};

/// Releases a serializer; keeps Xerces-C initialised until then.
class OPC_API DOMLSSerializerReleaser {
 public:
  DOMLSSerializerReleaser() = default;
  explicit DOMLSSerializerReleaser(std::shared_ptr<const XercesGuard> guard);
  void operator()(xercesc::DOMLSSerializer* serializer) const;

 private:
  std::shared_ptr<const XercesGuard> guard_;
};

/// Releases a document; keeps Xerces-C initialised until then.
class OPC_API DOMDocumentReleaser {
 public:
  DOMDocumentReleaser() = default;
  explicit DOMDocumentReleaser(std::shared_ptr<const XercesGuard> guard);
  void operator()(xercesc::DOMDocument* document) const;

 private:
  std::shared_ptr<const XercesGuard> guard_;
};

using DOMLSParserPtr = std::unique_ptr<xercesc::DOMLSParser, DOMLSParserReleaser>;
using DOMLSSerializerPtr = std::unique_ptr<xercesc::DOMLSSerializer, DOMLSSerializerReleaser>;
using DOMDocumentPtr = std::unique_ptr<xercesc::DOMDocument, DOMDocumentReleaser>;

/// Turns errors and fatal errors into opc::model::InvalidXMLDocument whose text names the
/// document (its system id), the line, the column and the message, or for a serializer's
/// error the node it could not write (see XercesHelper::describeNode); warnings are ignored.
/// The first error is also kept, because a serializer swallows what its handler throws:
/// after a failed write, getMessage() still tells why.
class OPC_API XercesErrorHandler : public xercesc::DOMErrorHandler {
 public:
  bool handleError(const xercesc::DOMError& error) override;
  /// True once an error or fatal error was reported (until reset()).
  bool hasError() const { return !message_.empty(); }
  /// The text of the first error reported.
  const std::string& getMessage() const { return message_; }
  void reset() { message_.clear(); }

 private:
  std::string message_;
};

/// A validating parser that hands a document to a SAX2 ContentHandler as it reads it, without
/// building a tree: for documents whose whole tree would cost more than the reader needs.
/// Made by XercesHelper::createStreamReader; one document at a time.
class OPC_API XmlStreamReader {
 public:
  virtual ~XmlStreamReader();

  /// Loads the XML Schema `text` (named `systemId` in errors) and caches its grammar, against
  /// which every validating parse() checks its document. A broken schema, or one that asks for
  /// any other resource, throws opc::model::InvalidXMLDocument.
  virtual void loadSchema(std::string_view text, const ustring& systemId) = 0;

  /// Parses the whole of `in`, reporting to `handler`: startDocument, each element's start
  /// (with its attributes, namespace declarations left out) and end, the characters, ignorable
  /// whitespace and processing instructions inside the root, and endDocument. Prefix mappings
  /// and the document locator are not reported. `validate` true validates against the cached
  /// grammars, false checks only that the document is well-formed; attribute values are
  /// passed as written, not normalised by their schema type. `documentName` names the
  /// document in error texts. The refusals and their texts are those of a parser from
  /// createParser read through readDocumentFromStream; what the handler throws ends the parse
  /// and reaches the caller unchanged, as does a failing stream's own error.
  virtual void parse(InputStream& in, xercesc::ContentHandler& handler, bool validate,
                     const ustring& documentName) = 0;
};

using XmlStreamReaderPtr = std::unique_ptr<XmlStreamReader>;

/// Creating parsers, serializers and documents, and moving documents through package streams.
class OPC_API XercesHelper {
 public:
  /// Default cap on the bytes one parse may read.
  static constexpr std::uint64_t kDefaultMaxDocumentSize = 32u * 1024u * 1024u;
  /// Default cap on how deeply elements may nest; the root element is level 1.
  static constexpr std::size_t kDefaultMaxElementDepth = 256;
  /// Cap on the attributes (namespace declarations included) of one element in a document
  /// parser's tree. The tree adds each attribute after searching the element's others, so an
  /// element of n attributes costs n squared; at this cap an attribute costs about what its
  /// bytes cost to scan. No document the project reads comes near it.
  static constexpr std::size_t kMaxAttributesPerElement = 128;

  /// The factory of every XML parser of the project. Documents come from outside, so the
  /// parser refuses a DOCTYPE outright (hence every entity declaration and external DTD),
  /// never resolves an external resource (default entity resolution off and a resolver that
  /// refuses every request), never loads a schema or DTD a document names (only grammars
  /// loaded from memory with loadGrammar and cached are used, once the caller switches on
  /// the cached-grammar feature), runs under a security manager with a small entity-expansion
  /// limit, stops reading any input after `maxDocumentSize` bytes and stops at the first
  /// element nested deeper than `maxElementDepth` levels (the parser resolves each start tag's
  /// namespace by walking every open element, so unbounded nesting costs time quadratic in the
  /// depth, and a tree walk over the document costs stack) and at the first element of more
  /// than kMaxAttributesPerElement attributes. Namespaces are on;
  /// validation is off until the caller or readDocumentFromStream switches it on. Each
  /// refusal is an opc::model::InvalidXMLDocument naming the document and the reason.
  ///
  /// Unlike a stock Xerces-C parser, an exception thrown by the installed DOMErrorHandler
  /// leaves parse() and loadGrammar() (stock Xerces-C swallows it and parses on), and with no
  /// handler installed errors are reported by a XercesErrorHandler, never ignored.
  static DOMLSParserPtr createParser(std::uint64_t maxDocumentSize = kDefaultMaxDocumentSize,
                                     std::size_t maxElementDepth = kDefaultMaxElementDepth);

  /// A stream reader with the defences of createParser's parsers: no DOCTYPE, no external
  /// resource, no schema named by the document, the entity-expansion limit, and the caps on
  /// the bytes read and on the nesting depth.
  static XmlStreamReaderPtr createStreamReader(
      std::uint64_t maxDocumentSize = kDefaultMaxDocumentSize,
      std::size_t maxElementDepth = kDefaultMaxElementDepth);

  /// A serializer writing compact UTF-8 with an XML declaration.
  static DOMLSSerializerPtr createWriter();

  /// An empty document.
  static DOMDocumentPtr createDocument();
  /// A document whose root element is `qualifiedName` in `namespaceUri` (empty: none).
  static DOMDocumentPtr createDocument(const ustring& namespaceUri, const ustring& qualifiedName);

  /// Parses the whole of `in` with `parser` (made by createParser) and returns the document,
  /// owned by the caller. `validate` true validates against the grammars the parser has
  /// cached (a document no cached grammar covers is then invalid); false checks only that it
  /// is well-formed. A non-empty `namespaceUri` requires the root element in that namespace;
  /// a non-empty `schemaLocation` names the cached grammar of that namespace (it is never
  /// fetched). `documentName` names the document in error texts. Malformed, invalid or
  /// refused input throws opc::model::InvalidXMLDocument; a failing stream's own error
  /// passes unchanged.
  static DOMDocumentPtr readDocumentFromStream(xercesc::DOMLSParser& parser, InputStream& in,
                                               bool validate, const ustring& namespaceUri,
                                               const ustring& schemaLocation,
                                               const ustring& documentName = u"opcistream");

  /// Where `node` sits, for error texts: the document's URI when it has one, then the path of
  /// element names from the root, e.g. "opcistream: /manifest/configuration/prefdir".
  static std::string describeNode(const xercesc::DOMNode& node);

  /// Serializes `document` as UTF-8 to `out`. A serializer error throws
  /// opc::model::InvalidXMLDocument; a failing stream's own error passes unchanged.
  static void writeDocumentToStream(xercesc::DOMLSSerializer& writer,
                                    const xercesc::DOMDocument& document, OutputStream& out);
};

}  // namespace opc::util
