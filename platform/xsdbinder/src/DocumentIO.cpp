// Parsing bound documents from package streams and writing them to package or standard streams.
#include <fl/i18n/Describe.hpp>
#include <opc/model/Exceptions.hpp>
#include <stdexcept>
#include <string>
#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLocator.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

namespace xsd_binder {

namespace x = xercesc;

namespace {

// A name read by Xerces, as messages show names.
std::string narrow(const XMLCh* text) {
  return text != nullptr ? fl::i18n::describe(std::u16string_view(text)) : std::string();
}

x::DOMImplementationLS& implementation() {
  static const XMLCh kFeatures[] = u"LS";
  x::DOMImplementation* found = x::DOMImplementationRegistry::getDOMImplementation(kFeatures);
  if (found == nullptr) {
    throw std::runtime_error("xsd_binder: Xerces-C offers no DOM implementation with LS");
  }
  return *found;
}

// Switches a parser feature on when the parser reports that it can.
void enableIfSupported(x::DOMConfiguration& config, const XMLCh* feature) {
  if (config.canSetParameter(feature, true)) config.setParameter(feature, true);
}

// Keeps the message of the first error the writer reports, so its failure can say why.
class WriteErrorRecorder : public x::DOMErrorHandler {
 public:
  bool handleError(const x::DOMError& error) override {
    if (error.getSeverity() != x::DOMError::DOM_SEVERITY_WARNING && message.empty()) {
      const x::DOMLocator* location = error.getLocation();
      const x::DOMNode* node = location != nullptr ? location->getRelatedNode() : nullptr;
      message = (node != nullptr ? describeNode(*node) + ": " : std::string()) +
                narrow(error.getMessage());
    }
    return true;
  }
  std::string message;
};

}  // namespace

XMLSize_t OPCStreamInputStream::readBytes(XMLByte* const buffer, const XMLSize_t maxToRead) {
  if (stream_.isEOF()) return 0;
  return stream_.read(reinterpret_cast<char*>(buffer), maxToRead);
}

OPCStreamInputSource::OPCStreamInputSource(opc::InputStream& stream)
    : x::InputSource(u"opcistream", x::XMLPlatformUtils::fgMemoryManager), stream_(stream) {}

x::BinInputStream* OPCStreamInputSource::makeStream() const {
  // The parser frees the stream through the memory manager it was allocated with.
  return new (getMemoryManager()) OPCStreamInputStream(stream_);
}

void OPCOutputStreamFormatTarget::writeChars(const XMLByte* const bytes, const XMLSize_t count,
                                             x::XMLFormatter* const) {
  stream_.write(reinterpret_cast<const char*>(bytes), count);
}

void OPCOutputStreamFormatTarget::flush() { stream_.flush(); }

void OutputStreamFormatTarget::writeChars(const XMLByte* const bytes, const XMLSize_t count,
                                          x::XMLFormatter* const) {
  if (!stream_.good()) return;
  stream_.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
}

void OutputStreamFormatTarget::flush() { stream_.flush(); }

bool ErrorHandler::handleError(const x::DOMError& error) {
  if (error.getSeverity() == x::DOMError::DOM_SEVERITY_WARNING) return true;
  std::string where;
  if (const x::DOMLocator* location = error.getLocation(); location != nullptr) {
    where = narrow(location->getURI());
    if (location->getLineNumber() > 0) {
      where += (where.empty() ? "" : ", ") + std::string("line ") +
               std::to_string(location->getLineNumber()) + ", column " +
               std::to_string(location->getColumnNumber());
    }
  }
  throw MalformedDocumentError((where.empty() ? "" : where + ": ") + narrow(error.getMessage()));
}

namespace detail {

namespace {

// The hardened parser refuses a DOCTYPE, external resources, oversized input and too deep
// nesting with the OPC layer's error, and Xerces-C itself may throw while scanning; to the
// caller of the binding all of them are the same malformed document.
[[noreturn]] void throwRefused(const std::string& reason) { throw MalformedDocumentError(reason); }

}  // namespace

ParsedDocument::ParsedDocument(x::InputSource* source, const ustring& namespaceUri,
                               const ustring& schemaLocation)
    : input_(std::make_unique<x::Wrapper4InputSource>(source, true)),
      parser_(opc::util::XercesHelper::createParser()) {
  x::DOMConfiguration& config = *parser_->getDomConfig();
  // Validation is asked for only where the parser has a grammar: the hardened parser never
  // loads one a document names, and a manifest comes without any, so validating always
  // would report each of its elements as undeclared.
  enableIfSupported(config, x::XMLUni::fgDOMValidateIfSchema);
  enableIfSupported(config, x::XMLUni::fgDOMNamespaces);
  enableIfSupported(config, x::XMLUni::fgDOMDatatypeNormalization);
  config.setParameter(x::XMLUni::fgDOMErrorHandler,
                      static_cast<x::DOMErrorHandler*>(&errorHandler_));
  if (!namespaceUri.empty() && !schemaLocation.empty()) {
    // The parser takes namespace-location pairs only; a namespace alone is checked below.
    ustring location = namespaceUri + u" " + schemaLocation;
    config.setParameter(x::XMLUni::fgXercesSchemaExternalSchemaLocation, location.c_str());
    config.setParameter(x::XMLUni::fgXercesSchema, true);
  }

  const std::string name = narrow(input_->getSystemId());
  x::DOMDocument* document = nullptr;
  try {
    document = parser_->parse(input_.get());
  } catch (const opc::model::InvalidXMLDocument& e) {
    throwRefused(e.what());  // its text names the document already
  } catch (const x::XMLException& e) {
    throwRefused(name + ": " + narrow(e.getMessage()));
  } catch (const x::DOMException& e) {
    throwRefused(name + ": " + narrow(e.getMessage()));
  }
  if (document == nullptr || document->getDocumentElement() == nullptr) {
    throwRefused(name + ": no document element was read");
  }
  root_ = document->getDocumentElement();
  const XMLCh* rootNamespace = root_->getNamespaceURI();
  if (namespaceUri != (rootNamespace != nullptr ? rootNamespace : u"")) {
    throwMalformed(*root_, "the root element is in the namespace \"" + narrow(rootNamespace) +
                               "\", not in \"" + narrow(namespaceUri.c_str()) + "\"");
  }
}

void writeDocument(const x::DOMDocument& document, x::XMLFormatTarget* target, bool prettyPrint) {
  WriteErrorRecorder errors;  // serves the writer, so it is built before and dies after it
  opc::util::DOMLSSerializerPtr writer = opc::util::XercesHelper::createWriter();
  x::DOMConfiguration& config = *writer->getDomConfig();
  if (prettyPrint && config.canSetParameter(x::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
    config.setParameter(x::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  }
  config.setParameter(x::XMLUni::fgDOMErrorHandler, static_cast<x::DOMErrorHandler*>(&errors));

  std::unique_ptr<x::DOMLSOutput, void (*)(x::DOMLSOutput*)> output(
      implementation().createLSOutput(), [](x::DOMLSOutput* o) { o->release(); });
  output->setByteStream(target);
  bool written = false;
  try {
    written = writer->write(&document, output.get());
  } catch (const x::DOMException& e) {
    // A text the encoding cannot hold (a lone surrogate) ends the write with an exception
    // after the error has been reported; the report says more than the exception.
    if (errors.message.empty()) errors.message = narrow(e.getMessage());
  }
  if (!written || !errors.message.empty()) {
    throw std::runtime_error("xsd_binder: the XML document could not be written: " +
                             (errors.message.empty() ? "the writer failed" : errors.message));
  }
}

opc::util::DOMDocumentPtr createDocument() { return opc::util::XercesHelper::createDocument(); }

}  // namespace detail

}  // namespace xsd_binder
