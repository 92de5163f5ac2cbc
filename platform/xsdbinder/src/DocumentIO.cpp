// Parsing bound documents from package streams and writing them, over the OPC layer's helpers.
#include <fl/i18n/Describe.hpp>
#include <opc/model/Exceptions.hpp>
#include <string>
#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

namespace xsd_binder {

namespace x = xercesc;

namespace detail {

ParsedDocument::ParsedDocument(opc::InputStream& stream, const ustring& namespaceUri,
                               const ustring& schemaLocation) {
  opc::util::DOMLSParserPtr parser = opc::util::XercesHelper::createParser();
  // A manifest comes without a grammar and the parser never loads one a document names, so
  // only well-formedness is checked; a schema location is passed on (with validation, which
  // has the parser look for it) only to be refused.
  const bool named = !namespaceUri.empty() && !schemaLocation.empty();
  try {
    document_ = opc::util::XercesHelper::readDocumentFromStream(
        *parser, stream, named, namespaceUri, schemaLocation, u"opcistream");
  } catch (const opc::model::InvalidXMLDocument& e) {
    // To the caller of the binding, every refusal of the parser is a malformed document; its
    // text names the document already.
    throw MalformedDocumentError(e.what());
  }
  // The parser checks a namespace it is given; a root in no namespace is checked here.
  const XMLCh* rootNamespace = root().getNamespaceURI();
  if (namespaceUri.empty() && rootNamespace != nullptr && *rootNamespace != 0) {
    throwMalformed(root(), "the root element is in the namespace \"" +
                               fl::i18n::describe(std::u16string_view(rootNamespace)) + "\", not in none");
  }
}

void writeDocument(const x::DOMDocument& document, opc::OutputStream& stream, bool prettyPrint) {
  opc::util::DOMLSSerializerPtr writer = opc::util::XercesHelper::createWriter();
  x::DOMConfiguration& config = *writer->getDomConfig();
  if (prettyPrint && config.canSetParameter(x::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
    config.setParameter(x::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  }
  opc::util::XercesHelper::writeDocumentToStream(*writer, document, stream);
}

opc::util::DOMDocumentPtr createDocument() { return opc::util::XercesHelper::createDocument(); }

}  // namespace detail

}  // namespace xsd_binder
