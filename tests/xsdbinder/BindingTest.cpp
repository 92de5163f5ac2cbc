// Bound elements through streams: round trips, documents that do not fit the tree rejected with
// the element and the reason, hostile input refused, and write failures reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/FindElement.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "MemoryStreams.hpp"
#include "RowLabel.hpp"
#include "TestBinding.hpp"
#include "XmlAttacks.hpp"

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

// The reason of the MalformedDocumentError that parsing `in` throws.
std::string rejection(opc::InputStream& in) {
  try {
    xsd_binder::parseStream<shelf>(in, u"", u"");
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.what(), StartsWith("xsd_binder: Attempted to parse a malformed document: "));
    return e.reason();
  }
  ADD_FAILURE() << "the document was accepted";
  return "";
}

std::string rejection(const std::string& xml) {
  kzftest::TextInputStream in(xml);
  return rejection(in);
}

TEST(BindingTest, RoundTripKeepsEveryValueAndWritesEveryAttribute) {
  Element<shelf> original = sampleShelf();
  original.children.book[0].attributes.isbn.clear();
  const std::string xml = write(original);
  EXPECT_THAT(xml, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\""));
  EXPECT_THAT(xml,
              HasSubstr("<shelf name=\"Regal \xc3\xbc"
                        "ber Fl\xc3\xbcr\" owner=\"\">"
                        "<title>Reading &lt;&amp;&gt; list</title><book id=\"b1\" isbn=\"\"/>"));
  EXPECT_EQ(parse(xml), original);
  // Indenting adds whitespace between elements, which reading skips, and inside mixed
  // content, which opaque content keeps.
  original.children.notes.children.clear();
  EXPECT_THAT(write(original, true), HasSubstr("\n  <title>"));
  EXPECT_EQ(parse(write(original, true)), original);
}

TEST(BindingTest, ReadsTextCommentsAndAbsentAttributesAsTheTreeExpects) {
  const Element<shelf> s = parse(
      "<?xml-stylesheet href=\"http://example.invalid/x.xsl\"?><shelf>\n  <!-- c -->\n"
      "<title>a &amp; <![CDATA[<b>]]><!-- c --> d</title>\t<?pi x?>\r\n<book/><notes>"
      "<note lang=\"de\">see <em level=\"2\">chapter 4</em> first</note></notes></shelf>");
  EXPECT_EQ(s.children.title.children, u"a & <b> d");
  EXPECT_EQ(s.attributes.name, u"");
  ASSERT_EQ(s.children.book.size(), 1u);
  EXPECT_EQ(s.children.book[0].attributes.id, u"");
  EXPECT_EQ(s.children.notes, sampleShelf().children.notes);
}

struct MisfitRow {
  std::string label;
  std::string xml;
  std::string reason;  // part of the rejection's reason
};

class BindingMisfit : public ::testing::TestWithParam<MisfitRow> {};

TEST_P(BindingMisfit, IsRejectedWithWhereAndWhy) {
  EXPECT_THAT(rejection(GetParam().xml), HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Documents, BindingMisfit,
    ::testing::Values(
        MisfitRow{"WrongRoot", "<library/>",
                  "opcistream: /library: expected the element \"shelf\""},
        MisfitRow{"MissingRequiredChild", "<shelf><title/></shelf>",
                  "/shelf: the required element \"notes\" is missing"},
        MisfitRow{"WrongOrder", "<shelf><notes/><title/></shelf>",
                  "/shelf/notes: found where the element \"title\" was expected"},
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
                  "/shelf/title: the element is in the namespace \"urn:x\""},
        MisfitRow{"MismatchedEndTag", "<shelf>\n  <title>t</titel>\n</shelf>",
                  "opcistream, line 2, column "},
        MisfitRow{"Empty", "", "opcistream"}),
    kzftest::RowLabel());

class BindingAttack : public ::testing::TestWithParam<kzftest::XmlAttack> {};

TEST_P(BindingAttack, IsRefusedBeforeAnythingIsLoaded) {
  EXPECT_THAT(rejection(GetParam().prolog + "<shelf><title/><notes/></shelf>"),
              HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(Attacks, BindingAttack, ::testing::ValuesIn(kzftest::xmlAttacks("shelf")),
                         kzftest::RowLabel());

TEST(BindingTest, EndlessOrDeepInputStopsEarly) {
  // A megabyte of comment after the entity declarations: the parse ends at the DOCTYPE.
  std::string doctype = kzftest::billionLaughs("shelf");
  doctype.insert(doctype.size() - 2, "<!--" + std::string(1 << 20, 'x') + "-->");
  kzftest::TextInputStream bomb(doctype + "<shelf><title>&l10;</title><notes/></shelf>");
  EXPECT_THAT(rejection(bomb), HasSubstr("DOCTYPE"));
  EXPECT_LT(bomb.bytesRead, 128u * 1024u);
  kzftest::EndlessInputStream endless("<shelf><title>");
  EXPECT_THAT(rejection(endless), HasSubstr("larger than the limit"));
  EXPECT_LE(endless.bytesRead, 33u * 1024u * 1024u);
  // shelf, notes and note are three of the levels.
  auto nestedNote = [](std::size_t levels) {
    std::string xml = "<shelf><title/><notes><note>";
    for (std::size_t i = 0; i < levels; ++i) xml += "<a>";
    for (std::size_t i = 0; i < levels; ++i) xml += "</a>";
    return xml + "</note></notes></shelf>";
  };
  EXPECT_NO_THROW(parse(nestedNote(xsd_binder::kMaxElementDepth - 3)));
  kzftest::TextInputStream deep(nestedNote(1000000), 64 * 1024);
  EXPECT_THAT(rejection(deep), HasSubstr("elements nested deeper than 256 levels"));
  EXPECT_LT(deep.bytesRead, 256u * 1024u);
}

TEST(BindingTest, NamespacedDocumentRoundTripsAndSchemasAreNeverFetched) {
  const Element<shelf> original = sampleShelf();
  kzftest::StringOutputStream out;
  xsd_binder::writeToStream(original, out, false, u"urn:shelf");
  kzftest::TextInputStream in(out.text);
  EXPECT_EQ(xsd_binder::parseStream<shelf>(in, u"urn:shelf", u""), original);
  kzftest::TextInputStream named(out.text);
  try {
    xsd_binder::parseStream<shelf>(named, u"urn:shelf", u"http://example.invalid/shelf.xsd");
    ADD_FAILURE() << "the schema location was accepted";
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.reason(), HasSubstr("refused to load"));
  }
  // A schema the document names is ignored: it declares no "shelf".
  EXPECT_EQ(parse("<shelf xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                  "xsi:noNamespaceSchemaLocation=\"file:///other.xsd\" name=\"kept\">"
                  "<title/><notes/></shelf>")
                .attributes.name,
            u"kept");
}

TEST(BindingTest, FindsTheFirstElementOfTheKindWithTheId) {
  Element<shelf> s = sampleShelf();
  s.children.book.push_back(s.children.book[0]);
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<shelf::book>(s, u"b1"), &s.children.book[0]);
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<shelf::book>(s, u"b3"), nullptr);
}

TEST(DocumentIO, ParseInputSourceAdoptsTheSourceAlsoWhenItFails) {
  xsd_binder::XercesInitializerGuard guard;
  // Leak checking in the sanitizer build sees a source that is not freed.
  for (const std::string& xml :
       {std::string("<shelf><title>t</title><notes/></shelf>"), std::string("<shelf>")}) {
    auto source = std::make_unique<xercesc::MemBufInputSource>(
        reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), u"membuf");
    try {
      EXPECT_EQ(
          xsd_binder::parseInputSource<shelf>(source.release(), u"", u"").children.title.children,
          u"t");
    } catch (const MalformedDocumentError& e) {
      EXPECT_THAT(e.reason(), StartsWith("membuf, line 1"));
    }
  }
  // An encoding declaration that contradicts the first bytes draws a warning only.
  EXPECT_EQ(parse("<?xml version=\"1.0\" encoding=\"UTF-16\"?><shelf name=\"w\"><title/><notes/>"
                  "</shelf>")
                .attributes.name,
            u"w");
}

TEST(DocumentIO, WriteFailuresAreReported) {
  kzftest::FailingOutputStream full;
  EXPECT_THAT([&] { xsd_binder::writeToStream(sampleShelf(), full, false, u""); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::StrEq(kzftest::FailingOutputStream::kFullDiskMessage)));
  std::ostringstream failed;
  failed.setstate(std::ios::failbit);
  EXPECT_NO_THROW(xsd_binder::writeToStream(sampleShelf(), failed, true, u""));
  Element<shelf> s = sampleShelf();
  s.children.title.children = u"lone \xd800 surrogate";
  EXPECT_THAT([&] { write(s); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  StartsWith("xsd_binder: the XML document could not be written: /shelf/title: ")));
}

}  // namespace
