// The hardened parsers: the tree parser and the stream reader refuse the same documents with the
// same texts, stop early on deep nesting and oversized input, and never load from outside.
#include <gtest/gtest.h>

#include <boost/filesystem/fstream.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/util/XercesHelper.hpp>
#include <sstream>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include "MemoryStreams.hpp"
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

// Writes what the reader reports as text, one tag or text run at a time.
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

template <typename Parse>
std::string refusalOf(Parse parse) {
  try {
    parse();
  } catch (const InvalidXMLDocument& e) {
    return e.what();
  }
  return "";
}

/// Loads kSchema (or `schema`) from memory into the tree parser's grammar cache.
void loadSchema(xercesc::DOMLSParser& parser, const std::string& schema = kSchema) {
  xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema.data()), schema.size(),
                                    "test.xsd");
  xercesc::Wrapper4InputSource input(&source, false);
  XercesErrorHandler errors;
  auto* config = parser.getDomConfig();
  config->setParameter(xercesc::XMLUni::fgDOMErrorHandler,
                       static_cast<xercesc::DOMErrorHandler*>(&errors));
  struct Unset {
    xercesc::DOMConfiguration* config;
    ~Unset() {
      config->setParameter(xercesc::XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
    }
  } unset{config};
  parser.loadGrammar(&input, xercesc::Grammar::SchemaGrammarType, true);
  config->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
}

std::string domRefusal(const std::string& xml, bool validate, std::uint64_t limit = 1024,
                       std::size_t depth = 8) {
  auto parser = XercesHelper::createParser(limit, depth);
  if (validate) loadSchema(*parser);
  kzftest::TextInputStream in(xml);
  return refusalOf(
      [&] { XercesHelper::readDocumentFromStream(*parser, in, validate, u"", u"", u"doc.xml"); });
}

std::string streamRefusal(const std::string& xml, bool validate, EventLog* log = nullptr) {
  auto reader = XercesHelper::createStreamReader(1024, 8);
  if (validate) reader->loadSchema(kSchema, u"test.xsd");
  kzftest::TextInputStream in(xml);
  EventLog ignored;
  return refusalOf([&] { reader->parse(in, log ? *log : ignored, validate, u"doc.xml"); });
}

struct DocumentRow {
  std::string label;
  std::string document;
  std::string reason;
  bool validate = false;
};

std::vector<DocumentRow> refusedDocuments() {
  std::vector<DocumentRow> rows = {
      {"UndeclaredEntity", "<r xmlns='urn:t'>&e;</r>", "doc.xml, line 1, column 21: entity 'e'"},
      {"Malformed", "<r><s></r>", "doc.xml, line 1, column 9: expected end of tag 's'"},
      {"Empty", "", "doc.xml"},
      {"OnlyADeclaration", "<?xml version='1.0'?>", "doc.xml"},
      {"Oversized", "<r>" + std::string(4096, 'x') + "</r>",
       "doc.xml: the document is larger than the limit of 1024 bytes"},
      {"TooDeep", "<r><a><a><a><a><a><a><a><a/></a></a></a></a></a></a></a></r>",
       "doc.xml, line 1, column 29: elements nested deeper than 8 levels"},
      {"NotValid", "<r xmlns='urn:t'><c>five</c></r>", "doc.xml, line 1", true},
      {"UnknownElement", "<r xmlns='urn:t'><d/></r>", "doc.xml, line 1", true},
      {"TooMany", "<r xmlns='urn:t'><c>1</c><c>2</c><c>3</c></r>", "doc.xml, line 1", true},
      {"NoGrammarForTheRoot", "<r xmlns='urn:other'/>", "doc.xml, line 1", true},
      {"SchemaLocationHint",
       "<r xmlns='urn:t' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
       " xsi:schemaLocation='urn:t file:///nonexistent.xsd'><c>x</c></r>",
       "doc.xml, line 1", true}};
  return rows;
}

class RefusedDocumentTest : public ::testing::TestWithParam<DocumentRow> {};

TEST_P(RefusedDocumentTest, BothParsersRefuseWithTheSameText) {
  const std::string expected = domRefusal(GetParam().document, GetParam().validate);
  EXPECT_NE(expected.find(GetParam().reason), std::string::npos) << expected;
  EXPECT_EQ(streamRefusal(GetParam().document, GetParam().validate), expected);
}

INSTANTIATE_TEST_SUITE_P(Documents, RefusedDocumentTest, ::testing::ValuesIn(refusedDocuments()),
                         kzftest::RowLabel());

/// `levels` elements nested in one another, the outermost in urn:t.
std::string nested(std::size_t levels) {
  std::string xml = "<r xmlns='urn:t'>";
  for (std::size_t i = 1; i < levels; ++i) xml += "<a>";
  for (std::size_t i = 1; i < levels; ++i) xml += "</a>";
  return xml + "</r>";
}

TEST(XmlParser, DepthIsCountedAfreshPerDocumentAndStopsTheReadEarly) {
  auto parser = XercesHelper::createParser();
  const std::size_t limit = XercesHelper::kDefaultMaxElementDepth;
  for (int round = 0; round < 2; ++round) {
    kzftest::TextInputStream deepest(nested(limit));
    EXPECT_NE(XercesHelper::readDocumentFromStream(*parser, deepest, false, u"urn:t", u"", u"d"),
              nullptr);
    kzftest::TextInputStream tooDeep(nested(limit + 1));
    EXPECT_OPC_ERROR(
        XercesHelper::readDocumentFromStream(*parser, tooDeep, false, u"urn:t", u"", u"d"),
        InvalidXMLDocument, "elements nested deeper than 256 levels");
  }
  // A million levels would keep an unbounded parser busy for hours: the parse stops at level
  // 257, having read no more than the scanner's first buffers.
  kzftest::TextInputStream million(nested(1000000), 64 * 1024);
  EXPECT_OPC_ERROR(XercesHelper::readDocumentFromStream(*parser, million, false, u"", u"", u"m"),
                   InvalidXMLDocument, "m, line 1, column 786: elements nested deeper than 256");
  EXPECT_LE(million.bytesRead, 256u * 1024u);
}

// An element of very many attributes, which the document tree would add in time quadratic in
// their number, is read up to the cap and refused past it.
TEST(XmlParser, AttributesPerElementAreCapped) {
  auto parseWide = [](std::size_t count) {
    std::string xml = "<r xmlns='urn:t'><e xmlns:p='urn:p'";
    for (std::size_t i = 1; i < count; ++i) xml += " a" + std::to_string(i) + "='v'";
    kzftest::TextInputStream in(xml + "/></r>");
    auto parser = XercesHelper::createParser();
    return XercesHelper::readDocumentFromStream(*parser, in, false, u"urn:t", u"", u"wide.xml");
  };
  EXPECT_NE(parseWide(XercesHelper::kMaxAttributesPerElement), nullptr);
  EXPECT_OPC_ERROR(parseWide(XercesHelper::kMaxAttributesPerElement + 1), InvalidXMLDocument,
                   "wide.xml, line 1, column 1082: an element with more than 128 attributes");
}

TEST(XmlParser, DocumentsReadByUriAreCappedAndHardenedToo) {
  kzftest::TempDir tmp;
  boost::filesystem::ofstream(tmp / "big.xml") << "<r>" << std::string(4096, 'x') << "</r>";
  boost::filesystem::ofstream(tmp / "doctype.xml") << "<!DOCTYPE r SYSTEM 'file:///etc/x'><r/>";
  auto parser = XercesHelper::createParser(1024);
  EXPECT_OPC_ERROR(parser->parseURI((tmp / "big.xml").c_str()), InvalidXMLDocument,
                   "big.xml: the document is larger than the limit of 1024 bytes");
  EXPECT_OPC_ERROR(parser->parseURI((tmp / "doctype.xml").c_str()), InvalidXMLDocument,
                   "a DOCTYPE declaration is not allowed");
}

TEST(XmlParser, WhatTheCallersHandlerThrowsReachesTheCallerAndNoHandlerStillReports) {
  struct Thrower : xercesc::DOMErrorHandler {
    bool handleError(const xercesc::DOMError&) override { throw std::logic_error("caller's"); }
  } thrower;
  auto parser = XercesHelper::createParser();
  auto parseText = [&](const std::string& xml) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(),
                                      "direct.xml");
    xercesc::Wrapper4InputSource input(&source, false);
    return parser->parse(&input);
  };
  auto* config = parser->getDomConfig();
  config->setParameter(xercesc::XMLUni::fgDOMErrorHandler,
                       static_cast<xercesc::DOMErrorHandler*>(&thrower));
  EXPECT_OPC_ERROR(parseText("<r>"), std::logic_error, "caller's");
  EXPECT_NE(parseText("<r/>"), nullptr);  // the parser is still usable
  config->setParameter(xercesc::XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
  EXPECT_OPC_ERROR(parseText("<r><s></r>"), InvalidXMLDocument,
                   "direct.xml, line 1, column 9: expected end of tag 's'");
}

TEST(XmlParser, SchemasLoadFromMemoryOnly) {
  std::string including = kSchema;
  including.insert(including.find("<xs:element"), "<xs:include schemaLocation='file:///x.xsd'/>");
  auto parser = XercesHelper::createParser();
  EXPECT_OPC_ERROR(loadSchema(*parser, including), InvalidXMLDocument, "refused to load the");
  EXPECT_OPC_ERROR(loadSchema(*parser, "<xs:schema"), InvalidXMLDocument, "test.xsd, line 1");
  auto reader = XercesHelper::createStreamReader();
  EXPECT_OPC_ERROR(reader->loadSchema(including, u"test.xsd"), InvalidXMLDocument,
                   "refused to load the external");
  EXPECT_OPC_ERROR(reader->loadSchema("<xs:schema", u"test.xsd"), InvalidXMLDocument,
                   "test.xsd, line 1");
}

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
  for (int round = 0; round < 2; ++round) {
    kzftest::TextInputStream bad("<r xmlns='urn:t'><c>x</c></r>");
    EventLog ignored, log;
    EXPECT_OPC_ERROR(reader->parse(bad, ignored, true, u"bad.xml"), InvalidXMLDocument, "bad.xml");
    kzftest::TextInputStream good("<r xmlns='urn:t'><c>1</c></r>");
    reader->parse(good, log, true, u"good.xml");
    EXPECT_EQ(log.text, "<{urn:t}r r><{urn:t}c c>1</c></r>");
  }
  struct Refusing : xercesc::DefaultHandler {
    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const,
                      const xercesc::Attributes&) override {
      throw std::runtime_error("the handler refused");
    }
  } refusing;
  kzftest::TextInputStream in("<r/>");
  EXPECT_OPC_ERROR(reader->parse(in, refusing, false, u"d"), std::runtime_error, "refused");
}

class PackageUnderAttack : public opctest::ContainerTest {};

TEST_F(PackageUnderAttack, ContentTypesAreReadByTheHardenedParser) {
  for (const auto& [types, reason] : std::vector<std::pair<std::string, std::string>>{
           {kzftest::billionLaughs("Types") + "<Types/>",
            "p.kzf:[Content_Types].xml, line 1, column 17: a DOCTYPE declaration is not allowed"},
           {"<Types xmlns='urn:evil'/>", "is in namespace \"urn:evil\""}}) {
    container.open(opc::interfaces::OpenMode::Create);
    container.createItem("[Content_Types].xml", opc::interfaces::CompressionType::Stored, 0)
        ->write(types.data(), types.size());
    container.close(false);
    opc::model::Package package(container, true);
    EXPECT_OPC_ERROR(package.open(opc::interfaces::OpenMode::Read), InvalidXMLDocument, reason);
    EXPECT_FALSE(container.isOpen());
  }
}

}  // namespace
