// Xerces-C helpers: library lifetime, owners, the hardened parsers, and stream adaptors.
#include <exception>
#include <fl/i18n/ustring.hpp>
#include <mutex>
#include <opc/model/Exceptions.hpp>
#include <opc/util/XercesHelper.hpp>
#include <string>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSException.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLSResourceResolver.hpp>
#include <xercesc/dom/DOMLocator.hpp>
#include <xercesc/dom/impl/DOMErrorImpl.hpp>
#include <xercesc/dom/impl/DOMLocatorImpl.hpp>
#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/URLInputSource.hpp>
#include <xercesc/framework/Wrapper4DOMLSInput.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/internal/VecAttributesImpl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/internal/XMLScannerResolver.hpp>
#include <xercesc/parsers/DOMLSParserImpl.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RefVectorOf.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLURL.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DocTypeHandler.hpp>
#include <xercesc/validators/common/GrammarResolver.hpp>

#include "../util/Text.hpp"

namespace opc::util {

namespace x = xercesc;
using model::InvalidXMLDocument;

namespace {

std::mutex& initMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string narrow(const XMLCh* text) {
  return text == nullptr ? std::string() : detail::describe(ustring(text));
}

// "<document>, line L, column C: <message>", the text of every parser error; the position is
// left out when the error has none.
std::string errorText(const XMLCh* document, XMLFileLoc line, XMLFileLoc column,
                      const XMLCh* message) {
  std::string text = narrow(document);
  if (line > 0) {
    text += ", line " + std::to_string(line) + ", column " + std::to_string(column);
  }
  return (text.empty() ? std::string() : text + ": ") + narrow(message);
}

// A refusal of the hardened parsers, naming the document and where the scanner stands in it.
InvalidXMLDocument refusal(const x::Locator& where, const std::string& reason) {
  return InvalidXMLDocument(narrow(where.getSystemId()) + ", line " +
                            std::to_string(where.getLineNumber()) + ", column " +
                            std::to_string(where.getColumnNumber()) + ": " + reason);
}

InvalidXMLDocument refusedResource(const XMLCh* baseUri, const XMLCh* resourceType,
                                   const XMLCh* publicId, const XMLCh* systemId) {
  return InvalidXMLDocument(narrow(baseUri) + ": refused to load the external " +
                            narrow(resourceType) + " resource \"" +
                            narrow(systemId != nullptr ? systemId : publicId) + "\"");
}

InvalidXMLDocument cannotBuild(const XMLCh* document, const x::DOMException& e) {
  return InvalidXMLDocument(narrow(document) +
                            ": the document cannot be built: " + narrow(e.getMessage()));
}

// A document may expand this many entity references at most. Documents of this project never
// declare entities (a DOCTYPE is refused), so this only backs up that refusal.
constexpr XMLSize_t kEntityExpansionLimit = 64;

// Counts the bytes the scanner reads and ends the input past the cap. A failure is never
// thrown through the scanner here: thrown from the first read, inside the scanner's reader
// construction, it would leak that reader. It is kept instead and raised once the parse is
// over.
class CappedBinInputStream : public x::BinInputStream {
 public:
  CappedBinInputStream(x::BinInputStream* inner, std::uint64_t limit, ustring systemId,
                       std::exception_ptr& failure)
      : inner_(inner), limit_(limit), systemId_(std::move(systemId)), failure_(failure) {}

  XMLFilePos curPos() const override { return inner_->curPos(); }

  XMLSize_t readBytes(XMLByte* const buffer, const XMLSize_t maxToRead) override {
    if (failure_) return 0;
    try {
      XMLSize_t count = inner_->readBytes(buffer, maxToRead);
      total_ += count;
      if (total_ > limit_) {
        throw InvalidXMLDocument(detail::describe(systemId_) +
                                 ": the document is larger than the limit of " +
                                 std::to_string(limit_) + " bytes");
      }
      return count;
    } catch (...) {
      failure_ = std::current_exception();
      return 0;
    }
  }

  const XMLCh* getContentType() const override { return inner_->getContentType(); }

 private:
  std::unique_ptr<x::BinInputStream> inner_;  // made by Xerces; its delete is Xerces's
  std::uint64_t limit_;
  ustring systemId_;
  std::exception_ptr& failure_;
  std::uint64_t total_ = 0;
};

class CappedInputSource : public x::InputSource {
 public:
  CappedInputSource(const x::InputSource& inner, std::uint64_t limit)
      : x::InputSource(inner.getMemoryManager()), inner_(inner), limit_(limit) {
    setSystemId(inner.getSystemId());
    setPublicId(inner.getPublicId());
    if (inner.getEncoding() != nullptr) setEncoding(inner.getEncoding());
  }

  x::BinInputStream* makeStream() const override {
    x::BinInputStream* stream = inner_.makeStream();
    if (stream == nullptr) return nullptr;
    // Xerces owns the returned stream and frees it through its memory manager.
    return new (getMemoryManager())
        CappedBinInputStream(stream, limit_, XercesString(getSystemId()).toString(), failure_);
  }

  /// Raises what went wrong while reading, if anything did.
  void rethrowReadFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  const x::InputSource& inner_;
  std::uint64_t limit_;
  mutable std::exception_ptr failure_;
};

// Reads an opc::InputStream until it reports its end.
class OpcBinInputStream : public x::BinInputStream {
 public:
  explicit OpcBinInputStream(InputStream& in) : in_(in) {}
  XMLFilePos curPos() const override { return position_; }
  XMLSize_t readBytes(XMLByte* const buffer, const XMLSize_t maxToRead) override {
    if (in_.isEOF()) return 0;
    std::size_t count = in_.read(reinterpret_cast<char*>(buffer), maxToRead);
    position_ += count;
    return count;
  }
  const XMLCh* getContentType() const override { return nullptr; }

 private:
  InputStream& in_;
  XMLFilePos position_ = 0;
};

class OpcInputSource : public x::InputSource {
 public:
  OpcInputSource(InputStream& in, const ustring& systemId) : in_(in) {
    setSystemId(systemId.c_str());
  }
  x::BinInputStream* makeStream() const override {
    return new (getMemoryManager()) OpcBinInputStream(in_);
  }

 private:
  InputStream& in_;
};

// Writes the serializer's bytes to an opc::OutputStream.
class OpcFormatTarget : public x::XMLFormatTarget {
 public:
  explicit OpcFormatTarget(OutputStream& out) : out_(out) {}
  void writeChars(const XMLByte* const bytes, const XMLSize_t count,
                  x::XMLFormatter* const) override {
    out_.write(reinterpret_cast<const char*>(bytes), count);
  }
  void flush() override { out_.flush(); }

 private:
  OutputStream& out_;
};

// Refuses every external resource a document or a schema asks for: entities, DTDs, schemas.
class DenyAllResolver : public x::DOMLSResourceResolver {
 public:
  x::DOMLSInput* resolveResource(const XMLCh* const resourceType, const XMLCh* const,
                                 const XMLCh* const publicId, const XMLCh* const systemId,
                                 const XMLCh* const baseURI) override {
    throw refusedResource(baseURI, resourceType, publicId, systemId);
  }
};

x::DOMImplementation& implementation() {
  static const XMLCh kFeatures[] = u"LS";
  auto* impl = x::DOMImplementationRegistry::getDOMImplementation(kFeatures);
  if (impl == nullptr) throw std::runtime_error("Xerces-C has no DOM implementation with LS");
  return *impl;
}

// What a parser relies on but does not own. A base listed before the parser's own base, so it
// is built before the parser and destroyed after it.
struct ParserDefences {
  DenyAllResolver resolver;
  x::SecurityManager securityManager;
  XercesErrorHandler fallbackErrors;  // reports errors while the caller has installed no handler
  std::uint64_t sizeLimit = 0;
  std::size_t depthLimit = 0;
  std::size_t depth = 0;  // elements open in the current parse
};

// The one parser class of the project. Xerces-C 3.2 has no working switch to refuse a
// DOCTYPE, so the parser intercepts the scanner's report of one; that report comes before
// the internal subset is read, so no entity is ever declared or expanded.
class HardenedParser final : private ParserDefences, public x::DOMLSParserImpl {
 public:
  HardenedParser(std::uint64_t maxDocumentSize, std::size_t maxElementDepth)
      : x::DOMLSParserImpl(nullptr, x::XMLPlatformUtils::fgMemoryManager, nullptr) {
    sizeLimit = maxDocumentSize;
    depthLimit = maxElementDepth;
    securityManager.setEntityExpansionLimit(kEntityExpansionLimit);
    x::DOMConfiguration* config = getDomConfig();
    config->setParameter(x::XMLUni::fgDOMNamespaces, true);
    config->setParameter(x::XMLUni::fgDOMValidate, false);
    config->setParameter(x::XMLUni::fgDOMValidateIfSchema, false);
    config->setParameter(x::XMLUni::fgXercesSchema, true);
    config->setParameter(x::XMLUni::fgXercesLoadSchema, false);
    config->setParameter(x::XMLUni::fgXercesLoadExternalDTD, false);
    config->setParameter(x::XMLUni::fgXercesDisableDefaultEntityResolution, true);
    config->setParameter(x::XMLUni::fgXercesCacheGrammarFromParse, false);
    config->setParameter(x::XMLUni::fgXercesUseCachedGrammarInParse, false);
    config->setParameter(x::XMLUni::fgDOMResourceResolver,
                         static_cast<x::DOMLSResourceResolver*>(&resolver));
    config->setParameter(x::XMLUni::fgXercesSecurityManager, &securityManager);
    getScanner()->setErrorReporter(this);
  }

  x::DOMDocument* parse(const x::DOMLSInput* source) override {
    // The caller's input is read through a counting stream, whatever kind of input it is.
    x::Wrapper4DOMLSInput original(const_cast<x::DOMLSInput*>(source), nullptr, false,
                                   getMemoryManager());
    CappedInputSource capped(original, sizeLimit);
    x::Wrapper4InputSource wrapped(&capped, false, getMemoryManager());
    x::DOMDocument* document = nullptr;
    try {
      document = x::DOMLSParserImpl::parse(&wrapped);
    } catch (const x::DOMException& e) {
      // Building the tree can fail on text the scanner accepted (an XML declaration with a
      // version the document object refuses); a Xerces exception is no std::exception, and
      // the scanner does not report it as an error, so it becomes this layer's error here.
      capped.rethrowReadFailure();
      throw cannotBuild(capped.getSystemId(), e);
    } catch (...) {
      // The read failure is the cause; the parser's complaint about the cut input is not.
      capped.rethrowReadFailure();
      throw;
    }
    capped.rethrowReadFailure();
    return document;
  }

  // A document named by its URI is opened as the scanner would open it (a URL, else a local
  // file), then read through parse(), so the cap applies to it too.
  x::DOMDocument* parseURI(const XMLCh* const uri) override {
    x::XMLURL url(getMemoryManager());
    std::unique_ptr<x::InputSource> source;
    if (x::XMLURL::parse(uri, url) && !url.isRelative()) {
      source.reset(new (getMemoryManager()) x::URLInputSource(url, getMemoryManager()));
    } else {
      source.reset(new (getMemoryManager()) x::LocalFileInputSource(uri, getMemoryManager()));
    }
    x::Wrapper4InputSource input(source.get(), false, getMemoryManager());
    return parse(&input);
  }

  x::DOMDocument* parseURI(const char* const uri) override {
    return parseURI(fl::i18n::to_ustring(uri).c_str());
  }

  void doctypeDecl(const x::DTDElementDecl&, const XMLCh* const, const XMLCh* const, const bool,
                   const bool) override {
    refuse("a DOCTYPE declaration is not allowed");
  }

  void startDocument() override {
    depth = 0;
    x::DOMLSParserImpl::startDocument();
  }

  // The scanner has resolved this start tag's namespace by then, at a cost that grows with the
  // depth, so the parse ends at the first element past the limit, before any deeper one.
  void startElement(const x::XMLElementDecl& elemDecl, const unsigned int urlId,
                    const XMLCh* const elemPrefix, const x::RefVectorOf<x::XMLAttr>& attrList,
                    const XMLSize_t attrCount, const bool isEmpty, const bool isRoot) override {
    if (depth >= depthLimit) {
      refuse("elements nested deeper than " + std::to_string(depthLimit) + " levels");
    }
    if (attrCount > XercesHelper::kMaxAttributesPerElement) {
      refuse("an element with more than " + std::to_string(XercesHelper::kMaxAttributesPerElement) +
             " attributes");
    }
    ++depth;
    // An empty element is closed through endElement from inside this call.
    x::DOMLSParserImpl::startElement(elemDecl, urlId, elemPrefix, attrList, attrCount, isEmpty,
                                     isRoot);
  }

  void endElement(const x::XMLElementDecl& elemDecl, const unsigned int urlId, const bool isRoot,
                  const XMLCh* const elemPrefix) override {
    --depth;
    x::DOMLSParserImpl::endElement(elemDecl, urlId, isRoot, elemPrefix);
  }

  // Stock Xerces-C calls the DOMErrorHandler inside a catch-all and parses on, so a handler
  // could never stop a parse by throwing. Errors are handed over here instead, and whatever
  // the handler throws reaches the caller.
  void error(const unsigned int code, const XMLCh* const, const x::XMLErrorReporter::ErrTypes type,
             const XMLCh* const text, const XMLCh* const systemId, const XMLCh* const,
             const XMLFileLoc line, const XMLFileLoc column) override {
    auto* handler = static_cast<x::DOMErrorHandler*>(
        const_cast<void*>(getParameter(x::XMLUni::fgDOMErrorHandler)));
    if (handler == nullptr) handler = &fallbackErrors;
    x::DOMError::ErrorSeverity severity =
        type == x::XMLErrorReporter::ErrType_Warning ? x::DOMError::DOM_SEVERITY_WARNING
        : type == x::XMLErrorReporter::ErrType_Fatal ? x::DOMError::DOM_SEVERITY_FATAL_ERROR
                                                     : x::DOMError::DOM_SEVERITY_ERROR;
    x::DOMLocatorImpl where(line, column, getCurrentNode(), systemId);
    x::DOMErrorImpl domError(severity, text, &where);
    if (!handler->handleError(domError) && !getScanner()->getInException()) {
      throw static_cast<x::XMLErrs::Codes>(code);
    }
  }

  using x::DOMLSParserImpl::setParameter;
  void setParameter(const XMLCh* name, const void* value) override {
    x::DOMLSParserImpl::setParameter(name, value);
    // Removing the handler also unhooks the parser from the scanner's errors; hook it again so
    // that errors still reach the fallback handler.
    if (value == nullptr &&
        x::XMLString::compareIStringASCII(name, x::XMLUni::fgDOMErrorHandler) == 0) {
      getScanner()->setErrorReporter(this);
    }
  }

  // Hands the last document to the caller, so the parser's pool does not keep it.
  x::DOMDocument* takeDocument() { return adoptDocument(); }

 private:
  // Ends the parse with `reason`, naming the document and where the scanner stands in it.
  [[noreturn]] void refuse(const std::string& reason) {
    throw refusal(*getScanner()->getLocator(), reason);
  }
};

// The stream reader: the scanner of a hardened parser, driven directly, with the caller's SAX2
// ContentHandler in place of the tree builder. It is set up as HardenedParser is, including the
// parse settings a DOM parser differs in from the scanner's defaults, so that both refuse the
// same documents with the same texts and hand over the same values.
class HardenedStreamReader final : public XmlStreamReader,
                                   private x::XMLDocumentHandler,
                                   private x::DocTypeHandler,
                                   private x::XMLEntityHandler,
                                   private x::XMLErrorReporter {
 public:
  HardenedStreamReader(std::uint64_t maxDocumentSize, std::size_t maxElementDepth)
      : sizeLimit_(maxDocumentSize), depthLimit_(maxElementDepth) {
    securityManager_.setEntityExpansionLimit(kEntityExpansionLimit);
    x::MemoryManager* memory = x::XMLPlatformUtils::fgMemoryManager;
    grammars_.reset(new (memory) x::GrammarResolver(nullptr, memory));
    scanner_.reset(x::XMLScannerResolver::getDefaultScanner(nullptr, grammars_.get(), memory));
    scanner_->setURIStringPool(grammars_->getStringPool());
    scanner_->setDocHandler(this);
    scanner_->setDocTypeHandler(this);
    scanner_->setEntityHandler(this);
    scanner_->setErrorReporter(this);
    scanner_->setDoNamespaces(true);
    scanner_->setDoSchema(true);
    scanner_->setLoadSchema(false);
    scanner_->setLoadExternalDTD(false);
    scanner_->setDisableDefaultEntityResolution(true);
    scanner_->cacheGrammarFromParse(false);
    scanner_->useCachedGrammarInParse(false);
    scanner_->setSecurityManager(&securityManager_);
    // A DOM parser hands attribute values over as written; the scanner's own default would
    // normalise them by their schema type.
    scanner_->setNormalizeData(false);
  }

  void loadSchema(std::string_view text, const ustring& systemId) override {
    x::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                systemId.c_str(), false);
    scanner_->loadGrammar(source, x::Grammar::SchemaGrammarType, true);
    scanner_->useCachedGrammarInParse(true);
  }

  void parse(InputStream& in, x::ContentHandler& handler, bool validate,
             const ustring& documentName) override {
    scanner_->setValidationScheme(validate ? x::XMLScanner::Val_Always : x::XMLScanner::Val_Never);
    OpcInputSource source(in, documentName);
    CappedInputSource capped(source, sizeLimit_);
    HandlerScope scope(*this, handler);
    try {
      scanner_->scanDocument(capped);
    } catch (...) {
      // The read failure is the cause; the scanner's complaint about the cut input is not.
      capped.rethrowReadFailure();
      throw;
    }
    capped.rethrowReadFailure();
    if (!rootSeen_) {
      throw InvalidXMLDocument(detail::describe(documentName) + ": no document element was read");
    }
  }

 private:
  // Points the reader at the caller's handler for one parse only.
  class HandlerScope {
   public:
    HandlerScope(HardenedStreamReader& reader, x::ContentHandler& handler) : reader_(reader) {
      reader_.handler_ = &handler;
    }
    ~HandlerScope() { reader_.handler_ = nullptr; }
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;

   private:
    HardenedStreamReader& reader_;
  };

  [[noreturn]] void refuse(const std::string& reason) {
    throw refusal(*scanner_->getLocator(), reason);
  }

  // The name as written: the prefix the tag used, then the local name.
  const XMLCh* qualifiedName(const XMLCh* prefix, const x::QName& name) {
    if (prefix == nullptr || *prefix == 0) return name.getLocalPart();
    if (x::XMLString::equals(prefix, name.getPrefix())) return name.getRawName();
    qualifiedName_.assign(prefix).append(u":").append(name.getLocalPart());
    return qualifiedName_.c_str();
  }

  // XMLDocumentHandler
  void startDocument() override {
    depth_ = 0;
    rootSeen_ = false;
    handler_->startDocument();
  }

  void endDocument() override { handler_->endDocument(); }

  void resetDocument() override {
    depth_ = 0;
    rootSeen_ = false;
  }

  // The scanner has resolved this start tag's namespace by then, at a cost that grows with the
  // depth, so the parse ends at the first element past the limit, before any deeper one.
  void startElement(const x::XMLElementDecl& decl, const unsigned int uriId,
                    const XMLCh* const prefix, const x::RefVectorOf<x::XMLAttr>& attributes,
                    const XMLSize_t count, const bool isEmpty, const bool) override {
    if (depth_ >= depthLimit_) {
      refuse("elements nested deeper than " + std::to_string(depthLimit_) + " levels");
    }
    rootSeen_ = true;
    ++depth_;
    plainAttributes_.removeAllElements();
    for (XMLSize_t i = 0; i < count; ++i) {
      const x::XMLAttr* attribute = attributes.elementAt(i);
      if (!x::XMLString::equals(attribute->getQName(), x::XMLUni::fgXMLNSString) &&
          !x::XMLString::equals(attribute->getPrefix(), x::XMLUni::fgXMLNSString)) {
        // The vector only lends the attributes to the read-only list handed to the handler.
        plainAttributes_.addElement(const_cast<x::XMLAttr*>(attribute));
      }
    }
    attributeList_.setVector(&plainAttributes_, plainAttributes_.size(), scanner_.get());
    const XMLCh* uri = scanner_->getURIText(uriId);
    const x::QName& name = *decl.getElementName();
    const XMLCh* qname = qualifiedName(prefix, name);
    handler_->startElement(uri, name.getLocalPart(), qname, attributeList_);
    // The scanner reports no end of an empty element.
    if (isEmpty) {
      --depth_;
      handler_->endElement(uri, name.getLocalPart(), qname);
    }
  }

  void endElement(const x::XMLElementDecl& decl, const unsigned int uriId, const bool,
                  const XMLCh* const prefix) override {
    --depth_;
    const x::QName& name = *decl.getElementName();
    handler_->endElement(scanner_->getURIText(uriId), name.getLocalPart(),
                         qualifiedName(prefix, name));
  }

  void docCharacters(const XMLCh* const chars, const XMLSize_t length, const bool) override {
    if (depth_ > 0) handler_->characters(chars, length);
  }

  void ignorableWhitespace(const XMLCh* const chars, const XMLSize_t length, const bool) override {
    if (depth_ > 0) handler_->ignorableWhitespace(chars, length);
  }

  void docPI(const XMLCh* const target, const XMLCh* const data) override {
    handler_->processingInstruction(target, data);
  }

  // A DOM document takes only these versions and refuses the parse with any other.
  void XMLDecl(const XMLCh* const version, const XMLCh* const, const XMLCh* const,
               const XMLCh* const) override {
    if (version != nullptr && *version != 0 &&
        !x::XMLString::equals(version, x::XMLUni::fgVersion1_0) &&
        !x::XMLString::equals(version, x::XMLUni::fgVersion1_1)) {
      throw cannotBuild(scanner_->getLocator()->getSystemId(),
                        x::DOMException(x::DOMException::NOT_SUPPORTED_ERR, 0,
                                        x::XMLPlatformUtils::fgMemoryManager));
    }
  }

  void docComment(const XMLCh* const) override {}
  void startEntityReference(const x::XMLEntityDecl&) override {}
  void endEntityReference(const x::XMLEntityDecl&) override {}

  // DocTypeHandler: the scanner reports a DOCTYPE before reading its internal subset, so no
  // entity is ever declared or expanded.
  void doctypeDecl(const x::DTDElementDecl&, const XMLCh* const, const XMLCh* const, const bool,
                   const bool) override {
    refuse("a DOCTYPE declaration is not allowed");
  }
  void attDef(const x::DTDElementDecl&, const x::DTDAttDef&, const bool) override {}
  void doctypeComment(const XMLCh* const) override {}
  void doctypePI(const XMLCh* const, const XMLCh* const) override {}
  void doctypeWhitespace(const XMLCh* const, const XMLSize_t) override {}
  void elementDecl(const x::DTDElementDecl&, const bool) override {}
  void endAttList(const x::DTDElementDecl&) override {}
  void endIntSubset() override {}
  void endExtSubset() override {}
  void entityDecl(const x::DTDEntityDecl&, const bool, const bool) override {}
  void resetDocType() override {}
  void notationDecl(const x::XMLNotationDecl&, const bool) override {}
  void startAttList(const x::DTDElementDecl&) override {}
  void startIntSubset() override {}
  void startExtSubset() override {}
  void TextDecl(const XMLCh* const, const XMLCh* const) override {}

  // XMLEntityHandler: every external resource is refused, named as a DOM parser names it.
  x::InputSource* resolveEntity(x::XMLResourceIdentifier* const resource) override {
    const bool entity =
        resource->getResourceIdentifierType() == x::XMLResourceIdentifier::ExternalEntity;
    throw refusedResource(resource->getBaseURI(),
                          entity ? x::XMLUni::fgDOMDTDType : x::XMLUni::fgDOMXMLSchemaType,
                          resource->getPublicId(), resource->getSystemId());
  }
  bool expandSystemId(const XMLCh* const, x::XMLBuffer&) override { return false; }
  void resetEntities() override {}
  void startInputSource(const x::InputSource&) override {}
  void endInputSource(const x::InputSource&) override {}

  // XMLErrorReporter: errors and fatal errors end the parse; warnings are ignored.
  void error(const unsigned int, const XMLCh* const, const x::XMLErrorReporter::ErrTypes type,
             const XMLCh* const text, const XMLCh* const systemId, const XMLCh* const,
             const XMLFileLoc line, const XMLFileLoc column) override {
    if (type == x::XMLErrorReporter::ErrType_Warning) return;
    throw InvalidXMLDocument(errorText(systemId, line, column, text));
  }
  void resetErrors() override {}

  XercesGuard guard_;
  x::SecurityManager securityManager_;
  std::uint64_t sizeLimit_;
  std::size_t depthLimit_;
  // Owned; Xerces objects free themselves through the memory manager they were made with.
  std::unique_ptr<x::GrammarResolver> grammars_;
  std::unique_ptr<x::XMLScanner> scanner_;
  x::RefVectorOf<x::XMLAttr> plainAttributes_{8, false};
  x::VecAttributesImpl attributeList_;
  ustring qualifiedName_;
  x::ContentHandler* handler_ = nullptr;
  std::size_t depth_ = 0;
  bool rootSeen_ = false;
};

HardenedParser& hardened(x::DOMLSParser& parser) {
  auto* mine = dynamic_cast<HardenedParser*>(&parser);
  if (mine == nullptr) {
    throw std::runtime_error("an XML parser not made by XercesHelper::createParser was given");
  }
  return *mine;
}

// Installs an error handler on a configuration for one scope, then restores the previous one.
class ScopedErrorHandler {
 public:
  explicit ScopedErrorHandler(x::DOMConfiguration& config) : config_(config) {
    previous_ = config_.getParameter(x::XMLUni::fgDOMErrorHandler);
    config_.setParameter(x::XMLUni::fgDOMErrorHandler, static_cast<x::DOMErrorHandler*>(&handler_));
  }
  ~ScopedErrorHandler() { config_.setParameter(x::XMLUni::fgDOMErrorHandler, previous_); }
  ScopedErrorHandler(const ScopedErrorHandler&) = delete;
  ScopedErrorHandler& operator=(const ScopedErrorHandler&) = delete;
  const XercesErrorHandler& handler() const { return handler_; }

 private:
  x::DOMConfiguration& config_;
  XercesErrorHandler handler_;
  const void* previous_;
};

std::shared_ptr<const XercesGuard> newGuard() { return std::make_shared<const XercesGuard>(); }

}  // namespace

XercesGuard::XercesGuard() {
  std::lock_guard<std::mutex> lock(initMutex());
  try {
    // Xerces-C counts nested initialisations itself; a guard only pairs the calls.
    x::XMLPlatformUtils::Initialize();
  } catch (const x::XMLException& e) {
    throw std::runtime_error("cannot initialise Xerces-C: " + narrow(e.getMessage()));
  }
}

XercesGuard::XercesGuard(const XercesGuard&) : XercesGuard() {}

XercesGuard::~XercesGuard() {
  std::lock_guard<std::mutex> lock(initMutex());
  x::XMLPlatformUtils::Terminate();
}

DOMLSParserReleaser::DOMLSParserReleaser(std::shared_ptr<const XercesGuard> guard)
    : guard_(std::move(guard)) {}
void DOMLSParserReleaser::operator()(x::DOMLSParser* parser) const { parser->release(); }

DOMLSSerializerReleaser::DOMLSSerializerReleaser(std::shared_ptr<const XercesGuard> guard)
    : guard_(std::move(guard)) {}
void DOMLSSerializerReleaser::operator()(x::DOMLSSerializer* serializer) const {
  serializer->release();
}

DOMDocumentReleaser::DOMDocumentReleaser(std::shared_ptr<const XercesGuard> guard)
    : guard_(std::move(guard)) {}
void DOMDocumentReleaser::operator()(x::DOMDocument* document) const { document->release(); }

bool XercesErrorHandler::handleError(const x::DOMError& error) {
  if (error.getSeverity() == x::DOMError::DOM_SEVERITY_WARNING) return true;
  const x::DOMLocator* where = error.getLocation();
  const x::DOMNode* node = where != nullptr ? where->getRelatedNode() : nullptr;
  // A parser's error has a place in the input; a serializer's, the node it could not write.
  const std::string text =
      node != nullptr && where->getLineNumber() <= 0
          ? XercesHelper::describeNode(*node) + ": " + narrow(error.getMessage())
      : where != nullptr ? errorText(where->getURI(), where->getLineNumber(),
                                     where->getColumnNumber(), error.getMessage())
                         : errorText(nullptr, 0, 0, error.getMessage());
  if (message_.empty()) message_ = text;
  throw InvalidXMLDocument(text);
}

std::string XercesHelper::describeNode(const x::DOMNode& node) {
  std::string path;
  // Character data is described by the element that holds it.
  const bool characters = node.getNodeType() == x::DOMNode::TEXT_NODE ||
                          node.getNodeType() == x::DOMNode::CDATA_SECTION_NODE;
  for (const x::DOMNode* n = characters ? node.getParentNode() : &node;
       n != nullptr && n->getNodeType() == x::DOMNode::ELEMENT_NODE; n = n->getParentNode()) {
    path = "/" + narrow(n->getLocalName() != nullptr ? n->getLocalName() : n->getNodeName()) + path;
  }
  const x::DOMDocument* document = node.getOwnerDocument();
  const std::string uri = document != nullptr ? narrow(document->getDocumentURI()) : std::string();
  return uri.empty() ? path : uri + ": " + path;
}

DOMLSParserPtr XercesHelper::createParser(std::uint64_t maxDocumentSize,
                                          std::size_t maxElementDepth) {
  auto guard = newGuard();
  // Xerces-C frees parsers through release(), with the memory manager they were made with.
  auto* parser =
      new (x::XMLPlatformUtils::fgMemoryManager) HardenedParser(maxDocumentSize, maxElementDepth);
  return DOMLSParserPtr(parser, DOMLSParserReleaser(std::move(guard)));
}

XmlStreamReader::~XmlStreamReader() = default;

XmlStreamReaderPtr XercesHelper::createStreamReader(std::uint64_t maxDocumentSize,
                                                    std::size_t maxElementDepth) {
  return std::make_unique<HardenedStreamReader>(maxDocumentSize, maxElementDepth);
}

DOMLSSerializerPtr XercesHelper::createWriter() {
  auto guard = newGuard();
  DOMLSSerializerPtr writer(implementation().createLSSerializer(),
                            DOMLSSerializerReleaser(std::move(guard)));
  writer->getDomConfig()->setParameter(x::XMLUni::fgDOMXMLDeclaration, true);
  return writer;
}

DOMDocumentPtr XercesHelper::createDocument() {
  auto guard = newGuard();
  return DOMDocumentPtr(implementation().createDocument(), DOMDocumentReleaser(std::move(guard)));
}

DOMDocumentPtr XercesHelper::createDocument(const ustring& namespaceUri,
                                            const ustring& qualifiedName) {
  auto guard = newGuard();
  return DOMDocumentPtr(
      implementation().createDocument(namespaceUri.empty() ? nullptr : namespaceUri.c_str(),
                                      qualifiedName.c_str(), nullptr),
      DOMDocumentReleaser(std::move(guard)));
}

DOMDocumentPtr XercesHelper::readDocumentFromStream(x::DOMLSParser& parser, InputStream& in,
                                                    bool validate, const ustring& namespaceUri,
                                                    const ustring& schemaLocation,
                                                    const ustring& documentName) {
  HardenedParser& mine = hardened(parser);
  auto guard = newGuard();
  x::DOMConfiguration* config = mine.getDomConfig();
  config->setParameter(x::XMLUni::fgDOMValidate, validate);
  if (validate && !namespaceUri.empty() && !schemaLocation.empty()) {
    // Loading schemas is switched off, so this only ties the namespace to its cached grammar.
    ustring pair = namespaceUri + u" " + schemaLocation;
    config->setParameter(x::XMLUni::fgXercesSchemaExternalSchemaLocation, pair.c_str());
  }

  OpcInputSource source(in, documentName);
  x::Wrapper4InputSource input(&source, false);
  ScopedErrorHandler errors(*config);
  x::DOMDocument* parsed = mine.parse(&input);
  DOMDocumentPtr document(parsed != nullptr ? mine.takeDocument() : nullptr,
                          DOMDocumentReleaser(std::move(guard)));
  if (!document || document->getDocumentElement() == nullptr) {
    throw InvalidXMLDocument(detail::describe(documentName) + ": no document element was read");
  }
  if (!namespaceUri.empty()) {
    const XMLCh* actual = document->getDocumentElement()->getNamespaceURI();
    if (actual == nullptr || namespaceUri != actual) {
      throw InvalidXMLDocument(detail::describe(documentName) + ": the root element \"" +
                               narrow(document->getDocumentElement()->getNodeName()) +
                               "\" is in namespace \"" + narrow(actual) + "\", not \"" +
                               detail::describe(namespaceUri) + "\"");
    }
  }
  return document;
}

void XercesHelper::writeDocumentToStream(x::DOMLSSerializer& writer, const x::DOMDocument& document,
                                         OutputStream& out) {
  XercesGuard guard;
  OpcFormatTarget target(out);
  std::unique_ptr<x::DOMLSOutput, void (*)(x::DOMLSOutput*)> output(
      implementation().createLSOutput(), [](x::DOMLSOutput* o) { o->release(); });
  output->setByteStream(&target);
  output->setEncoding(u"UTF-8");
  ScopedErrorHandler errors(*writer.getDomConfig());
  bool written = false;
  std::string reason;
  try {
    written = writer.write(&document, output.get());
  } catch (const x::DOMException& e) {
    // Text the serializer cannot write (a lone surrogate, a control character) is thrown as
    // a Xerces exception, which is not a std::exception, after the error was reported to the
    // handler: report it as this layer's error, with the handler's text, which says more.
    reason = narrow(e.getMessage());
  } catch (const x::XMLException& e) {
    reason = narrow(e.getMessage());
  }
  // The serializer swallows what its handler throws; the handler kept the reason.
  if (errors.handler().hasError()) reason = errors.handler().getMessage();
  if (!written || !reason.empty()) {
    throw InvalidXMLDocument("cannot serialize the XML document: " +
                             (reason.empty() ? std::string("unknown error") : reason));
  }
}

}  // namespace opc::util
