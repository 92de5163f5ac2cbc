// Hostile documents: DOCTYPEs, entity expansion, external entities and schemas, and endless
// input all end as a malformed document without loading anything from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "MemoryStreams.hpp"
#include "TempDir.hpp"
#include "TestBinding.hpp"

namespace {

using shelf_binding::shelf;
using ::testing::HasSubstr;
using xsd_binder::MalformedDocumentError;

// The reason of the MalformedDocumentError that parsing `in` throws.
std::string rejection(opc::InputStream& in) {
  try {
    xsd_binder::parseStream<shelf>(in, u"", u"");
  } catch (const MalformedDocumentError& e) {
    return e.reason();
  }
  ADD_FAILURE() << "the document was accepted";
  return "";
}

// Ten levels of ten references each: 10^10 expansions of "lol" if the entities were honoured.
std::string billionLaughs(const std::string& padding) {
  std::string xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE shelf [\n<!ENTITY l0 \"lol\">\n";
  for (int level = 1; level <= 10; ++level) {
    xml += "<!ENTITY l" + std::to_string(level) + " \"";
    for (int i = 0; i < 10; ++i) xml += "&l" + std::to_string(level - 1) + ";";
    xml += "\">\n";
  }
  xml += padding + "]>\n<shelf><title>&l10;</title><notes/></shelf>";
  return xml;
}

TEST(HostileInputTest, EntityBombIsRefusedBeforeItsDeclarationsAreRead) {
  // A megabyte of comment inside the internal subset, after the entity declarations: the
  // parse must end at the DOCTYPE, long before the subset or the bomb is read.
  const std::string xml = billionLaughs("<!--" + std::string(1 << 20, 'x') + "-->\n");
  kzftest::TextInputStream in(xml);
  EXPECT_THAT(rejection(in), HasSubstr("DOCTYPE"));
  EXPECT_LT(in.bytesRead, 128u * 1024u);
}

class HostileFileTest : public kzftest::TempDirTest {
 protected:
  std::string writeFile(const std::string& name, const std::string& content) {
    std::ofstream(tmp / name) << content;
    return (tmp / name).string();
  }
};

TEST_F(HostileFileTest, ExternalEntityAndExternalDtdAreNeverLoaded) {
  const std::string secret = writeFile("secret.txt", "top secret");
  const std::string dtd = writeFile("shelf.dtd", "<!ENTITY s \"from outside\">");
  for (const std::string& doctype :
       {"<!DOCTYPE shelf [<!ENTITY s SYSTEM \"file://" + secret + "\">]>",
        "<!DOCTYPE shelf SYSTEM \"file://" + dtd + "\">"}) {
    kzftest::TextInputStream in(doctype + "<shelf><title>&s;</title><notes/></shelf>");
    EXPECT_THAT(rejection(in), HasSubstr("DOCTYPE")) << doctype;
  }
}

TEST_F(HostileFileTest, SchemaNamedByTheDocumentIsIgnored) {
  // Were this schema loaded, it would reject the document: it declares no "shelf".
  const std::string xsd = writeFile("other.xsd",
                                    "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">"
                                    "<xs:element name=\"other\" type=\"xs:string\"/></xs:schema>");
  kzftest::TextInputStream in(
      "<shelf xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xsi:noNamespaceSchemaLocation=\"file://" +
      xsd +
      "\" name=\"kept\">"
      "<title/><notes/></shelf>");
  EXPECT_EQ(xsd_binder::parseStream<shelf>(in, u"", u"").attributes.name, u"kept");
}

TEST(HostileInputTest, EndlessInputStopsAtTheSizeCap) {
  kzftest::EndlessInputStream in("<shelf><title>");
  EXPECT_THAT(rejection(in), HasSubstr("larger than the limit"));
  EXPECT_LE(in.bytesRead, 33u * 1024u * 1024u);
}

// The nesting of a document with `levels` elements inside the shelf's note.
std::string nestedNote(int levels) {
  std::string xml = "<shelf><title/><notes><note>";
  xml.reserve(xml.size() + 7u * static_cast<std::size_t>(levels) + 32u);
  for (int i = 0; i < levels; ++i) xml += "<a>";
  for (int i = 0; i < levels; ++i) xml += "</a>";
  return xml + "</note></notes></shelf>";
}

TEST(HostileInputTest, DeepNestingIsRefusedAtTheDepthLimit) {
  // A million levels in 7 MB: unbounded, the parse would take hours and reading the tree
  // would exhaust the stack. The parse stops at the first element past the limit.
  kzftest::TextInputStream in(nestedNote(1000000), 64 * 1024);
  EXPECT_THAT(rejection(in), HasSubstr("elements nested deeper than 256 levels"));
  EXPECT_LT(in.bytesRead, 256u * 1024u);
}

TEST(HostileInputTest, NestingUpToTheDepthLimitIsRead) {
  // shelf, notes and note are three of the levels.
  kzftest::TextInputStream deepest(nestedNote(xsd_binder::kMaxElementDepth - 3));
  EXPECT_NO_THROW(xsd_binder::parseStream<shelf>(deepest, u"", u""));
  kzftest::TextInputStream tooDeep(nestedNote(xsd_binder::kMaxElementDepth - 2));
  EXPECT_THAT(rejection(tooDeep), HasSubstr("nested deeper"));
}

TEST(HostileInputTest, SiblingsDoNotCountAsNesting) {
  std::string xml = "<shelf><title/>";
  for (int i = 0; i < 5000; ++i) xml += "<book id=\"b" + std::to_string(i) + "\"/>";
  xml += "<notes/></shelf>";
  kzftest::TextInputStream in(xml);
  EXPECT_EQ(xsd_binder::parseStream<shelf>(in, u"", u"").children.book.size(), 5000u);
}

TEST(HostileInputTest, ProcessingInstructionBeforeTheRootIsHarmless) {
  kzftest::TextInputStream in(
      "<?xml-stylesheet href=\"http://example.invalid/x.xsl\"?><shelf><title/><notes/></shelf>");
  EXPECT_NO_THROW(xsd_binder::parseStream<shelf>(in, u"", u""));
}

}  // namespace
