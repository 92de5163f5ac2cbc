// Bound elements on the DOM: round trips, every attribute written, and documents that do not
// fit the tree rejected with the element and the reason.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/FindElement.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "TestBinding.hpp"
#include "MemoryStreams.hpp"

namespace {

using shelf_binding::sampleShelf;
using shelf_binding::shelf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using xsd_binder::Element;
using xsd_binder::MalformedDocumentError;

Element<shelf> parse(const std::string& xml) {
  kzftest::TextInputStream in(xml);
  return xsd_binder::parseStream<shelf>(in, u"", u"");
}

std::string write(const Element<shelf>& root, bool prettyPrint = false) {
  kzftest::StringOutputStream out;
  xsd_binder::writeToStream(root, out, prettyPrint, u"");
  return out.text;
}

// The reason of the MalformedDocumentError that parsing `xml` throws.
std::string rejection(const std::string& xml) {
  try {
    parse(xml);
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.what(), StartsWith("xsd_binder: Attempted to parse a malformed document"));
    return e.reason();
  }
  ADD_FAILURE() << "accepted: " << xml;
  return "";
}

TEST(BindingTest, RoundTripKeepsEveryValue) {
  const Element<shelf> original = sampleShelf();
  EXPECT_EQ(parse(write(original)), original);
}

TEST(BindingTest, PrettyPrintedDocumentReadsBackEqualButForMixedContent) {
  // Indenting adds whitespace between elements, which reading skips, and inside mixed
  // content, which opaque content keeps.
  Element<shelf> original = sampleShelf();
  original.children.notes.children.clear();
  EXPECT_EQ(parse(write(original, true)), original);
}

TEST(BindingTest, WritesEveryAttributeEvenWhenEmpty) {
  Element<shelf> s = sampleShelf();
  s.children.book[0].attributes.isbn.clear();
  const std::string xml = write(s);
  EXPECT_THAT(xml, HasSubstr("<shelf name=\"Regal \xc3\xbc"
                             "ber Fl\xc3\xbcr\" owner=\"\">"));
  EXPECT_THAT(xml, HasSubstr("<book id=\"b1\" isbn=\"\"/>"));
}

TEST(BindingTest, AbsentAttributesReadAsEmpty) {
  const Element<shelf> s = parse("<shelf><title/><book/><notes/></shelf>");
  EXPECT_EQ(s.attributes.name, u"");
  ASSERT_EQ(s.children.book.size(), 1u);
  EXPECT_EQ(s.children.book[0].attributes.id, u"");
}

TEST(BindingTest, TextJoinsCharacterDataAndSkipsComments) {
  const Element<shelf> s =
      parse("<shelf><title>a &amp; <![CDATA[<b>]]><!-- c --> d</title><notes/></shelf>");
  EXPECT_EQ(s.children.title.children, u"a & <b> d");
}

TEST(BindingTest, OpaqueContentIsKeptAsRead) {
  const Element<shelf> s = parse(
      "<shelf><title/><notes><note lang=\"de\">see <em level=\"2\">chapter 4</em> first"
      "</note></notes></shelf>");
  EXPECT_EQ(s.children.notes, sampleShelf().children.notes);
}

TEST(BindingTest, WhitespaceCommentsAndProcessingInstructionsBetweenElementsAreSkipped) {
  const Element<shelf> s =
      parse("<shelf>\n  <!-- c -->\n  <title>t</title>\n\t<?pi x?>\r\n  <notes/>\n</shelf>");
  EXPECT_EQ(s.children.title.children, u"t");
}

struct MisfitRow {
  const char* name;
  std::string xml;
  std::string reason;  // part of the rejection's reason
  friend void PrintTo(const MisfitRow& row, std::ostream* os) { *os << row.name; }
};

class BindingMisfit : public ::testing::TestWithParam<MisfitRow> {};

TEST_P(BindingMisfit, IsRejectedWithWhereAndWhy) {
  EXPECT_THAT(rejection(GetParam().xml), HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Documents, BindingMisfit,
    ::testing::Values(
        MisfitRow{"WrongRoot", "<library/>", "/library: expected the element \"shelf\""},
        MisfitRow{"MissingRequiredChild", "<shelf><title/></shelf>",
                  "/shelf: the required element \"notes\" is missing"},
        MisfitRow{"WrongOrder", "<shelf><notes/><title/></shelf>",
                  "/shelf/notes: found where the element \"title\" was expected"},
        MisfitRow{"UnknownElement", "<shelf><title/><magazine/><notes/></shelf>",
                  "/shelf/magazine: found where the element \"notes\" was expected"},
        MisfitRow{"TrailingElement", "<shelf><title/><notes/><book/></shelf>",
                  "/shelf/book: an element the tree does not allow here"},
        MisfitRow{"ChildOfEmptyElement", "<shelf><title/><book><isbn/></book><notes/></shelf>",
                  "/shelf/book/isbn: an element the tree does not allow here"},
        MisfitRow{"TextAmongElements", "<shelf><title/>loose<notes/></shelf>",
                  "/shelf: text where only elements may stand"},
        MisfitRow{"ElementInsideText", "<shelf><title>a<b/></title><notes/></shelf>",
                  "/shelf/title/b: a text-only element holds the element \"b\""},
        MisfitRow{"WrongListItem", "<shelf><title/><notes><memo/></notes></shelf>",
                  "/shelf/notes/memo: found where the element \"note\" was expected"},
        MisfitRow{"RootInANamespace", "<shelf xmlns=\"urn:x\"><title/><notes/></shelf>",
                  "the root element is in the namespace \"urn:x\", not in \"\""},
        MisfitRow{"ChildInAnotherNamespace", "<shelf><title xmlns=\"urn:x\"/><notes/></shelf>",
                  "/shelf/title: the element is in the namespace \"urn:x\""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(BindingTest, ReasonsNameTheDocument) {
  EXPECT_THAT(rejection("<shelf/>"), StartsWith("opcistream: /shelf: "));
}

TEST(BindingTest, NamespacedDocumentRoundTrips) {
  const Element<shelf> original = sampleShelf();
  kzftest::StringOutputStream out;
  xsd_binder::writeToStream(original, out, false, u"urn:shelf");
  EXPECT_THAT(out.text, HasSubstr("<shelf xmlns=\"urn:shelf\""));

  kzftest::TextInputStream in(out.text);
  EXPECT_EQ(xsd_binder::parseStream<shelf>(in, u"urn:shelf", u""), original);
  kzftest::TextInputStream again(out.text);
  EXPECT_THROW(xsd_binder::parseStream<shelf>(again, u"", u""), MalformedDocumentError);
}

TEST(BindingTest, NamedSchemaIsNeverFetched) {
  kzftest::TextInputStream in("<shelf xmlns=\"urn:shelf\"><title/><notes/></shelf>");
  try {
    xsd_binder::parseStream<shelf>(in, u"urn:shelf", u"http://example.invalid/shelf.xsd");
    FAIL() << "the schema location was accepted";
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.reason(), HasSubstr("refused to load"));
    EXPECT_THAT(e.reason(), HasSubstr("shelf.xsd"));
  }
}

TEST(BindingTest, FindsTheFirstElementOfTheKindWithTheId) {
  Element<shelf> s = sampleShelf();
  s.children.book.push_back(s.children.book[0]);
  s.children.book.back().attributes.isbn = u"second b1";

  const auto* found = xsd_binder::findElementByTypeAndId<shelf::book>(s, u"b1");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found, &s.children.book[0]);
  // The title is visited too, but it is of another kind.
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<shelf::book>(s, u"b3"), nullptr);
}

}  // namespace
