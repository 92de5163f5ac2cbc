// The stream reader against the tree parser: the same refusals with the same texts, and the
// elements, attributes and text of a document reported as the tree parser reads them.
#include <gtest/gtest.h>

#include <opc/model/Exceptions.hpp>
#include <opc/util/XercesHelper.hpp>
#include <sstream>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include "OpcTestSupport.hpp"

namespace {

using opc::model::InvalidXMLDocument;
using opc::util::XercesErrorHandler;
using opc::util::XercesHelper;

const char kSchema[] =
    "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='urn:t' "
    "xmlns='urn:t' elementFormDefault='qualified'><xs:element name='r'><xs:complexType>"
    "<xs:sequence><xs:element name='c' type='xs:int' minOccurs='0' maxOccurs='2'/>"
    "</xs:sequence><xs:attribute name='u' type='xs:anyURI'/></xs:complexType></xs:element>"
    "</xs:schema>";

// Writes what the reader reports as one line of text per event.
class EventLog : public xercesc::DefaultHandler {
 public:
  void startElement(const XMLCh* const uri, const XMLCh* const localName, const XMLCh* const qName,
                    const xercesc::Attributes& attributes) override {
    text +=
        "<{" + opctest::ascii(uri) + "}" + opctest::ascii(localName) + " " + opctest::ascii(qName);
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
      text += " " + opctest::ascii(attributes.getQName(i)) + "=[" +
              opctest::ascii(attributes.getValue(i)) + "]";
    }
    text += ">";
  }
  void endElement(const XMLCh* const, const XMLCh* const, const XMLCh* const qName) override {
    text += "</" + opctest::ascii(qName) + ">";
  }
  void characters(const XMLCh* const chars, const XMLSize_t length) override {
    text += opctest::ascii(std::u16string(chars, length).c_str());
  }
  std::string text;
};

// The text of the refusal `parse` throws; "" when it throws none.
template <typename Parse>
std::string refusalOf(Parse parse) {
  try {
    parse();
  } catch (const InvalidXMLDocument& e) {
    return e.what();
  }
  return "";
}

std::string domRefusal(const std::string& xml, bool validate) {
  auto parser = XercesHelper::createParser(1024, 8);
  if (validate) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(kSchema), sizeof kSchema - 1,
                                      "test.xsd");
    xercesc::Wrapper4InputSource input(&source, false);
    XercesErrorHandler errors;
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMErrorHandler,
                                         static_cast<xercesc::DOMErrorHandler*>(&errors));
    parser->loadGrammar(&input, xercesc::Grammar::SchemaGrammarType, true);
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMErrorHandler,
                                         static_cast<const void*>(nullptr));
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
  }
  std::istringstream text(xml);
  opc::StdIStreamAdaptor in(text);
  return refusalOf(
      [&] { XercesHelper::readDocumentFromStream(*parser, in, validate, u"", u"", u"doc.xml"); });
}

std::string streamRefusal(const std::string& xml, bool validate, EventLog* log = nullptr) {
  auto reader = XercesHelper::createStreamReader(1024, 8);
  if (validate) reader->loadSchema(kSchema, u"test.xsd");
  std::istringstream text(xml);
  opc::StdIStreamAdaptor in(text);
  EventLog ignored;
  return refusalOf(
      [&] { reader->parse(in, log != nullptr ? *log : ignored, validate, u"doc.xml"); });
}

struct DocumentRow {
  const char* label;
  std::string document;
  bool validate;
  friend void PrintTo(const DocumentRow& row, std::ostream* os) { *os << row.label; }
};

class SameRefusalTest : public ::testing::TestWithParam<DocumentRow> {};

TEST_P(SameRefusalTest, AsTheTreeParser) {
  const std::string expected = domRefusal(GetParam().document, GetParam().validate);
  EXPECT_NE(expected, "");
  EXPECT_EQ(streamRefusal(GetParam().document, GetParam().validate), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, SameRefusalTest,
    ::testing::Values(
        DocumentRow{"Doctype", "<!DOCTYPE r><r xmlns='urn:t'/>", false},
        DocumentRow{"InternalEntity", "<!DOCTYPE r [<!ENTITY e 'x'>]><r xmlns='urn:t'>&e;</r>",
                    false},
        DocumentRow{"ExternalDtd", "<!DOCTYPE r SYSTEM 'http://127.0.0.1:9/x.dtd'><r/>", false},
        DocumentRow{"UndeclaredEntity", "<r xmlns='urn:t'>&e;</r>", false},
        DocumentRow{"Malformed", "<r xmlns='urn:t'>", false}, DocumentRow{"Empty", "", false},
        DocumentRow{"OnlyADeclaration", "<?xml version='1.0'?>", false},
        DocumentRow{"UnsupportedXmlVersion", "<?xml version=\"1.\"?><r xmlns='urn:t'/>", false},
        DocumentRow{"Oversized", "<r xmlns='urn:t'>" + std::string(4096, 'x') + "</r>", false},
        DocumentRow{"TooDeep", "<r><a><a><a><a><a><a><a><a/></a></a></a></a></a></a></a></r>",
                    false},
        DocumentRow{"NotValid", "<r xmlns='urn:t'><c>five</c></r>", true},
        DocumentRow{"UnknownElement", "<r xmlns='urn:t'><d/></r>", true},
        DocumentRow{"TooMany", "<r xmlns='urn:t'><c>1</c><c>2</c><c>3</c></r>", true},
        DocumentRow{"NoGrammarForTheRoot", "<r xmlns='urn:other'/>", true},
        DocumentRow{"SchemaLocationHint",
                    "<r xmlns='urn:t' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
                    " xsi:schemaLocation='urn:t file:///nonexistent.xsd'><c>x</c></r>",
                    true}),
    opctest::RowLabel());

TEST(StreamReader, ReportsElementsAttributesAndTextAsWritten) {
  EventLog log;
  EXPECT_EQ(streamRefusal("<?xml version='1.0'?><k:r xmlns:k='urn:t' u=' /a b '>"
                          "<k:c>1</k:c><k:c>&#x32;</k:c></k:r>",
                          true, &log),
            "");
  EXPECT_EQ(log.text, "<{urn:t}r k:r u=[ /a b ]><{urn:t}c k:c>1</k:c><{urn:t}c k:c>2</k:c></k:r>");
}

TEST(StreamReader, AfterARefusalTheNextDocumentIsReadAfresh) {
  auto reader = XercesHelper::createStreamReader(XercesHelper::kDefaultMaxDocumentSize, 3);
  reader->loadSchema(kSchema, u"test.xsd");
  for (int round = 0; round < 3; ++round) {
    std::istringstream bad("<r xmlns='urn:t'><c>x</c></r>");
    opc::StdIStreamAdaptor badIn(bad);
    EventLog ignored;
    EXPECT_OPC_ERROR(reader->parse(badIn, ignored, true, u"bad.xml"), InvalidXMLDocument,
                     "bad.xml, line 1");
    std::istringstream good("<r xmlns='urn:t'><c>1</c></r>");
    opc::StdIStreamAdaptor goodIn(good);
    EventLog log;
    reader->parse(goodIn, log, true, u"good.xml");
    EXPECT_EQ(log.text, "<{urn:t}r r><{urn:t}c c>1</c></r>");
  }
}

TEST(StreamReader, WhatTheHandlerThrowsReachesTheCaller) {
  struct Refusing : xercesc::DefaultHandler {
    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const,
                      const xercesc::Attributes&) override {
      throw std::runtime_error("the handler refused");
    }
  } handler;
  auto reader = XercesHelper::createStreamReader();
  std::istringstream text("<r/>");
  opc::StdIStreamAdaptor in(text);
  EXPECT_OPC_ERROR(reader->parse(in, handler, false, u"doc.xml"), std::runtime_error,
                   "the handler refused");
}

TEST(StreamReader, ASchemaCannotPullInExternalFiles) {
  auto reader = XercesHelper::createStreamReader();
  std::string including =
      std::string(kSchema).insert(std::string(kSchema).find("<xs:element"),
                                  "<xs:include schemaLocation='file:///etc/passwd'/>");
  EXPECT_OPC_ERROR(reader->loadSchema(including, u"test.xsd"), InvalidXMLDocument,
                   "refused to load the external");
  EXPECT_OPC_ERROR(reader->loadSchema("<xs:schema", u"test.xsd"), InvalidXMLDocument,
                   "test.xsd, line 1");
}

}  // namespace
