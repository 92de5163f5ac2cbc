// The stream glue: reading from package streams, writing to package and standard streams,
// the error handler, and the entry points' edge cases.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "MemoryStreams.hpp"
#include "TestBinding.hpp"

namespace {

using shelf_binding::sampleShelf;
using shelf_binding::shelf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using xsd_binder::Element;
using xsd_binder::MalformedDocumentError;

constexpr const char* kMinimal = "<shelf><title>t</title><notes/></shelf>";

// Xerces-C stays initialised for each test, so the glue's objects can be made directly.
class DocumentIOTest : public ::testing::Test {
 protected:
  xsd_binder::XercesInitializerGuard guard;
};

TEST_F(DocumentIOTest, InputStreamPassesReadsThroughAndNeverTracksThePosition) {
  kzftest::TextInputStream in("0123456789", 4);
  xsd_binder::OPCStreamInputStream stream(in);
  XMLByte buffer[16];
  EXPECT_EQ(stream.readBytes(buffer, sizeof buffer), 4u);
  EXPECT_EQ(stream.curPos(), 0u);
  EXPECT_EQ(stream.readBytes(buffer, 3), 3u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 3), "456");
  EXPECT_EQ(stream.readBytes(buffer, sizeof buffer), 3u);
  EXPECT_EQ(stream.curPos(), 0u);
}

TEST_F(DocumentIOTest, InputStreamAtItsEndIsNotReadAgainAndEmptyInputIsMalformed) {
  kzftest::TextInputStream in("");
  xsd_binder::OPCStreamInputStream stream(in);
  XMLByte buffer[8];
  EXPECT_EQ(stream.readBytes(buffer, sizeof buffer), 0u);  // the read that finds the end
  EXPECT_EQ(stream.readBytes(buffer, sizeof buffer), 0u);
  EXPECT_EQ(in.reads, 1u);

  kzftest::TextInputStream empty("");
  EXPECT_THROW(xsd_binder::parseStream<shelf>(empty, u"", u""), MalformedDocumentError);
}

TEST_F(DocumentIOTest, ParserErrorsNameTheDocumentAndThePlace) {
  kzftest::TextInputStream in("<shelf>\n  <title>t</titel>\n</shelf>");
  try {
    xsd_binder::parseStream<shelf>(in, u"", u"");
    FAIL() << "a mismatched end tag was accepted";
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.reason(), StartsWith("opcistream, line 2, column "));
    EXPECT_THAT(e.what(), StartsWith("xsd_binder: Attempted to parse a malformed document: "));
  }
}

// An encoding declaration that contradicts what the first bytes show draws a warning only:
// the parser goes on with the encoding it sensed.
TEST_F(DocumentIOTest, DocumentWithWarningsOnlyIsParsed) {
  kzftest::TextInputStream in(
      "<?xml version=\"1.0\" encoding=\"UTF-16\"?><shelf name=\"w\"><title/><notes/></shelf>");
  EXPECT_EQ(xsd_binder::parseStream<shelf>(in, u"", u"").attributes.name, u"w");
}

TEST_F(DocumentIOTest, ParseInputSourceAdoptsTheSourceAlsoWhenItFails) {
  // Leak checking in the sanitizer build sees a source that is not freed.
  for (const std::string& xml : {std::string(kMinimal), std::string("<shelf>")}) {
    auto source = std::make_unique<xercesc::MemBufInputSource>(
        reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), u"membuf");
    try {
      Element<shelf> s = xsd_binder::parseInputSource<shelf>(source.release(), u"", u"");
      EXPECT_EQ(s.children.title.children, u"t");
    } catch (const MalformedDocumentError& e) {
      EXPECT_THAT(e.reason(), StartsWith("membuf, line 1"));
    }
  }
}

TEST_F(DocumentIOTest, WritesUtf8WithADeclarationIndentedOnlyWhenAsked) {
  kzftest::StringOutputStream compact;
  xsd_binder::writeToStream(sampleShelf(), compact, false, u"");
  std::ostringstream pretty;
  xsd_binder::writeToStream(sampleShelf(), pretty, true, u"");

  EXPECT_THAT(compact.text, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\""));
  EXPECT_THAT(compact.text, HasSubstr("Regal \xc3\xbc"
                                      "ber"));
  EXPECT_THAT(compact.text, HasSubstr("\"><title>Reading &lt;&amp;&gt; list</title>"));
  EXPECT_THAT(compact.text, Not(HasSubstr("\n")));
  EXPECT_THAT(pretty.str(), HasSubstr("\n  <title>"));
  EXPECT_THAT(pretty.str(), HasSubstr("\n  <book id=\"b1\""));
}

TEST_F(DocumentIOTest, FailedStandardStreamSwallowsTheOutput) {
  std::ostringstream out;
  out.setstate(std::ios::failbit);
  EXPECT_NO_THROW(xsd_binder::writeToStream(sampleShelf(), out, true, u""));
  EXPECT_EQ(out.str(), "");
}

TEST_F(DocumentIOTest, PackageStreamWriteErrorPassesUnchanged) {
  kzftest::FailingOutputStream out;
  try {
    xsd_binder::writeToStream(sampleShelf(), out, false, u"");
    FAIL() << "the write error was lost";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), kzftest::FailingOutputStream::kFullDiskMessage);
  }
}

TEST_F(DocumentIOTest, UnwritableTextFailsWithTheReason) {
  Element<shelf> s = sampleShelf();
  s.children.title.children = u"lone \xd800 surrogate";
  kzftest::StringOutputStream out;
  try {
    xsd_binder::writeToStream(s, out, false, u"");
    FAIL() << "a lone surrogate was written";
  } catch (const std::runtime_error& e) {
    EXPECT_THAT(e.what(), StartsWith("xsd_binder: the XML document could not be written: "
                                     "/shelf/title: "));
  }
}

}  // namespace
