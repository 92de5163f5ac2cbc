// The file manifest serializer: the entries of an extraction manager as a validated XML document.
#include <boost/lexical_cast.hpp>
#include <cstring>
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/printmln.hpp>
#include <fl/i18n/ustring.hpp>
#include <iostream>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <memory>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/util/XercesHelper.hpp>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNodeList.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include "FileManifestWords.hpp"

#ifndef KZF_PLATFORM_TAG
#error "KZF_PLATFORM_TAG must name the build platform (set by the build)"
#endif

namespace Quorlith::kzfpackage {

namespace x = xercesc;
using fl::i18n::DeployedException;
using fl::i18n::ustring;
using opc::model::CoreProperties;
using opc::model::InvalidXMLDocument;
using opc::util::XercesString;

const char* const KZFExtractionSerializer::FILEENTRIES_ELEMENT = "fileEntries";
const char* const KZFExtractionSerializer::FILEENTRY_ELEMENT = "fileEntry";
const char* const KZFExtractionSerializer::NAME_ATTRIBUTE = "name";
const char* const KZFExtractionSerializer::CONTENT_ATTRIBUTE = "content";
const char* const KZFExtractionSerializer::TYPE_ATTRIBUTE = "type";
const char* const KZFExtractionSerializer::DATE_ATTRIBUTE = "date";
const char* const KZFExtractionSerializer::PERMISSIONS_ATTRIBUTE = "permissions";
const char* const KZFExtractionSerializer::PLATFORM_ATTRIBUTE = "platform";
const char* const KZFExtractionSerializer::ENCODING_ATTRIBUTE = "encoding";

namespace {

// The system id the schema text is known by in the parser's grammar cache and its errors.
constexpr XMLCh kSchemaSystemId[] = u"file-manifest.xsd";
// The name loaded manifests are given in parser errors.
constexpr char16_t kManifestDocumentName[] = u"filemanifest.xml";

// The tag of the platform this library was built for, compared with a loaded manifest's.
const ustring& platformTag() {
  static const ustring tag = opc::toStringFromASCIIStringLiteral(KZF_PLATFORM_TAG);
  return tag;
}

// The process locale's encoding name; std::bad_variant_access when it reports none.
ustring localeEncodingName() {
  return opc::toString(std::get<std::string>(fl::i18n::QlLocale::global().get_encoding_name()));
}

XercesString constant(const char* text) {
  return XercesString(opc::toStringFromASCIIStringLiteral(text));
}

// Installs an error handler on the parser for one scope and removes it again, also when the
// guarded call throws, so the parser never keeps a pointer to the dead handler.
class ParserErrorHandlerScope {
 public:
  ParserErrorHandlerScope(x::DOMLSParser& parser, x::DOMErrorHandler& handler) : parser_(parser) {
    parser_.getDomConfig()->setParameter(x::XMLUni::fgDOMErrorHandler, &handler);
  }
  ~ParserErrorHandlerScope() {
    parser_.getDomConfig()->setParameter(x::XMLUni::fgDOMErrorHandler,
                                         static_cast<const void*>(nullptr));
  }
  ParserErrorHandlerScope(const ParserErrorHandlerScope&) = delete;
  ParserErrorHandlerScope& operator=(const ParserErrorHandlerScope&) = delete;

 private:
  x::DOMLSParser& parser_;
};

// Hands the documents the parser still holds back to it when a load ends, however it ends.
class DocumentPoolReset {
 public:
  explicit DocumentPoolReset(x::DOMLSParser& parser) : parser_(parser) {}
  ~DocumentPoolReset() { parser_.resetDocumentPool(); }
  DocumentPoolReset(const DocumentPoolReset&) = delete;
  DocumentPoolReset& operator=(const DocumentPoolReset&) = delete;

 private:
  x::DOMLSParser& parser_;
};

}  // namespace

// Hidden explicitly: a nested class would otherwise take the exported visibility of its
// enclosing class, and the implementation is no part of the library's interface.
struct __attribute__((visibility("hidden"))) KZFExtractionSerializer::Impl {
  Impl();

  opc::util::XercesGuard guard;
  opc::util::DOMLSParserPtr parser;
  opc::util::DOMLSSerializerPtr writer;
  const XercesString namespaceUri;
  const XercesString fileEntriesElement;
  const XercesString fileEntryElement;
  const XercesString nameAttribute;
  const XercesString contentAttribute;
  const XercesString typeAttribute;
  const XercesString dateAttribute;
  const XercesString permissionsAttribute;
  const XercesString platformAttribute;
  const XercesString encodingAttribute;

  void loadSchema();
  void writeEntry(x::DOMDocument& document, x::DOMElement& root, const KZFFileEntry& entry) const;
  KZFFileEntry readEntry(const x::DOMElement& element) const;
};

KZFExtractionSerializer::Impl::Impl()
    : namespaceUri(constant(NAMESPACE)),
      fileEntriesElement(constant(FILEENTRIES_ELEMENT)),
      fileEntryElement(constant(FILEENTRY_ELEMENT)),
      nameAttribute(constant(NAME_ATTRIBUTE)),
      contentAttribute(constant(CONTENT_ATTRIBUTE)),
      typeAttribute(constant(TYPE_ATTRIBUTE)),
      dateAttribute(constant(DATE_ATTRIBUTE)),
      permissionsAttribute(constant(PERMISSIONS_ATTRIBUTE)),
      platformAttribute(constant(PLATFORM_ATTRIBUTE)),
      encodingAttribute(constant(ENCODING_ATTRIBUTE)) {
  parser = opc::util::XercesHelper::createParser();
  loadSchema();
  writer = opc::util::XercesHelper::createWriter();
}

void KZFExtractionSerializer::Impl::loadSchema() {
  auto schemaText = std::make_unique<x::MemBufInputSource>(
      reinterpret_cast<const XMLByte*>(SCHEMA), std::strlen(SCHEMA), kSchemaSystemId, false);
  // The DOM input adopts the memory source (the text itself stays ours).
  x::Wrapper4InputSource schemaInput(schemaText.release(), true);

  x::DOMConfiguration* config = parser->getDomConfig();
  config->setParameter(x::XMLUni::fgDOMValidate, true);
  config->setParameter(x::XMLUni::fgXercesUseCachedGrammarInParse, true);
  config->setParameter(x::XMLUni::fgXercesSchema, true);

  opc::util::XercesErrorHandler errors;
  try {
    ParserErrorHandlerScope handlerScope(*parser, errors);
    parser->loadGrammar(&schemaInput, x::Grammar::SchemaGrammarType, true);
  } catch (const InvalidXMLDocument& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_ERROR_LOADING_SCHEMA(e.what()));
  }
}

void KZFExtractionSerializer::Impl::writeEntry(x::DOMDocument& document, x::DOMElement& root,
                                               const KZFFileEntry& entry) const {
  // The schema wants the entries qualified, written unprefixed under the root's default
  // namespace declaration. An element made without a namespace would be written with an
  // undeclaration (xmlns="") by the writer's namespace fixup, which cannot be switched off;
  // made in the root's namespace, it needs no declaration of its own.
  x::DOMElement* element = document.createElementNS(namespaceUri.c_str(), fileEntryElement.c_str());
  const ustring name = entry.getName();
  element->setAttribute(nameAttribute.c_str(), name.c_str());
  element->setAttribute(contentAttribute.c_str(), entry.getContent().c_str());

  const XMLCh* word = filemanifest::entryTypeWord(entry.getType());
  if (word == nullptr) {
    throw DeployedException(
        kzf::kzfpackage::KZFPACKAGE_FILE_TYPE_UNSUPPORTED(fl::i18n::to_string(name)));
  }
  element->setAttribute(typeAttribute.c_str(), word);

  if (const auto date = entry.getDate()) {
    const ustring text = CoreProperties::convertTimeToString(*date);
    if (!text.empty()) element->setAttribute(dateAttribute.c_str(), text.c_str());
  }
  if (const unsigned permission = entry.getPermission(); permission != 0) {
    const std::string digits = std::to_string(permission);
    element->setAttribute(permissionsAttribute.c_str(),
                          ustring(digits.begin(), digits.end()).c_str());
  }
  root.appendChild(element);
}

KZFFileEntry KZFExtractionSerializer::Impl::readEntry(const x::DOMElement& element) const {
  KZFFileEntry entry(XercesString(element.getAttribute(nameAttribute.c_str())).toString(),
                     XercesString(element.getAttribute(contentAttribute.c_str())).toString(),
                     KZFFileEntryType::File);
  // The schema's enumeration already refuses other words while the document is parsed.
  entry.setType(filemanifest::entryTypeFromWord(
      XercesString(element.getAttribute(typeAttribute.c_str())).toString()));

  // An absent date reads as the empty text, which converts to not_a_date_time: every loaded
  // entry has a date set, not_a_date_time where none was written. The schema lets through
  // dates the time library cannot hold (years before 1400, say): those make the document
  // invalid like any other bad value.
  try {
    entry.setDate(CoreProperties::convertStringToTime(
        XercesString(element.getAttribute(dateAttribute.c_str())).toString()));
  } catch (const std::runtime_error& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
  }

  const ustring permissions =
      XercesString(element.getAttribute(permissionsAttribute.c_str())).toString();
  if (!permissions.empty()) {
    long long value = 0;
    try {
      value = boost::lexical_cast<long long>(fl::i18n::to_string(permissions));
    } catch (const boost::bad_lexical_cast& e) {
      throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
    }
    // Mode bits fit in 16 bits; whatever a writer put above them is dropped.
    entry.setPermission(static_cast<unsigned short>(value & 0xFFFF));
  }
  return entry;
}

KZFExtractionSerializer::KZFExtractionSerializer() : impl_(std::make_unique<Impl>()) {}

KZFExtractionSerializer::~KZFExtractionSerializer() = default;

void KZFExtractionSerializer::save(opc::OutputStream& out,
                                   const KZFExtractionManager& manager) const {
  opc::util::DOMDocumentPtr document = opc::util::XercesHelper::createDocument();
  document->setXmlStandalone(true);
  x::DOMElement* root =
      document->createElementNS(impl_->namespaceUri.c_str(), impl_->fileEntriesElement.c_str());
  root->setAttribute(impl_->platformAttribute.c_str(), platformTag().c_str());
  root->setAttribute(impl_->encodingAttribute.c_str(), localeEncodingName().c_str());
  document->appendChild(root);

  for (const KZFFileEntry& entry : manager.getEntries()) {
    impl_->writeEntry(*document, *root, entry);
  }

  try {
    opc::util::XercesHelper::writeDocumentToStream(*impl_->writer, *document, out);
  } catch (const InvalidXMLDocument& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_ERROR_WRITE_XML(e.what()));
  }
}

void KZFExtractionSerializer::load(opc::InputStream& in, KZFExtractionManager& manager) const {
  DocumentPoolReset poolReset(*impl_->parser);
  opc::util::DOMDocumentPtr document;
  try {
    document = opc::util::XercesHelper::readDocumentFromStream(*impl_->parser, in, true, ustring(),
                                                               ustring(), kManifestDocumentName);
  } catch (const InvalidXMLDocument& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
  }

  const x::DOMElement* root = document->getDocumentElement();
  const ustring encoding =
      XercesString(root->getAttribute(impl_->encodingAttribute.c_str())).toString();
  const ustring platform =
      XercesString(root->getAttribute(impl_->platformAttribute.c_str())).toString();
  if (encoding != localeEncodingName()) {
    fl::i18n::printmln(std::cout, kzf::kzfpackage::KZFPACKAGE_WARNING_LOCALE_DIFFERENT());
  }
  if (platform != platformTag()) {
    fl::i18n::printmln(std::cout, kzf::kzfpackage::KZFPACKAGE_WARNING_PLATFORM_DIFFERENT());
  }

  // Matched by namespace and local name rather than by tag name, so that a valid manifest
  // written with a prefix ("k:fileEntry") is read as well. The node list is live: each
  // getLength() walks the whole tree again, while items asked for in ascending order continue
  // from the last one. One sequential pass keeps it linear.
  const x::DOMNodeList* found =
      root->getElementsByTagNameNS(impl_->namespaceUri.c_str(), impl_->fileEntryElement.c_str());
  std::vector<const x::DOMElement*> elements;
  for (XMLSize_t i = 0; const x::DOMNode* node = found->item(i); ++i) {
    elements.push_back(static_cast<const x::DOMElement*>(node));
  }
  for (const x::DOMElement* element : elements) {
    KZFFileEntry entry = impl_->readEntry(*element);
    manager.addEntry(entry.getName(), entry);
  }
}

}  // namespace Quorlith::kzfpackage
