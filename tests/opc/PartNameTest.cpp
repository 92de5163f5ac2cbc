// Part names: percent-encoding, validation with reasons, equivalence, item and relationship names.
#include <gtest/gtest.h>

#include <array>
#include <opc/model/Exceptions.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <tuple>
#include <unordered_set>

#include "OpcTestSupport.hpp"

namespace {

using opc::ustring;
using namespace opc::model;

TEST(EncodeComponentTest, EncodesAllButUnreservedSubDelimitersAndWhatItIsAskedToKeep) {
  // text, characters to keep, encoded
  for (const auto& row : std::vector<std::tuple<ustring, std::string, ustring>>{
           {u"a/b", "", u"a%2Fb"},
           {u"my file.txt", "/", u"my%20file.txt"},
           {u"%[]#?", "%[]#?", u"%25%5B%5D%23%3F"},  // encoded even when asked to keep
           {u"a\\b", "/", u"a%5Cb"},
           {u"\u00e9\u65e5\U0001F600", "/", u"%C3%A9%E6%97%A5%F0%9F%98%80"},
           {u"!$&'()*+,;=:@", "/", u"!$&'()*+,;=:@"},
           {u"AZaz09-._~", "", u"AZaz09-._~"},
           {u"\"<>^`{|}", "/", u"%22%3C%3E%5E%60%7B%7C%7D"},
           {u"\t\x7f", "/", u"%09%7F"}}) {
    EXPECT_EQ(URI::encodeComponent(std::get<0>(row), std::get<1>(row)), std::get<2>(row));
  }
}

TEST(EncodeComponentRefusal, LoneSurrogatesHaveNoUtf8Form) {
  for (ustring text : {ustring(u"a") + char16_t(0xD800), ustring(1, char16_t(0xDC00)) + u"b",
                       ustring(1, char16_t(0xD83D)) + u"x"}) {
    EXPECT_OPC_ERROR(URI::encodeComponent(text, "/"), InvalidPartName, "lone surrogate");
  }
}

TEST(PartNameTest, AnInvalidNameIsRefusedWithItsReason) {
  for (const auto& row : std::vector<std::pair<ustring, const char*>>{
           {u"", "it is empty"},
           {u"/", "package root"},
           {u"a/b", "does not start with '/'"},
           {u"/a//b", "empty segment"},
           {u"/a/", "ends with '/'"},
           {u"/a/./b", "'.' or '..' segment"},
           {u"/[content_types].XML", "reserved"},
           {u"/a b", "character ' ' at offset 2 must be percent-encoded"},
           {u"/\u00e9", "character U+00E9"},
           {u"/a%2", "malformed percent-encoding at offset 2"}}) {
    EXPECT_OPC_ERROR(PartName{row.first}, InvalidPartName, row.second);
    EXPECT_OPC_ERROR(PartName{URI(row.first)}, InvalidPartName, row.second);
  }
}

// Link part names carry encoded backslashes, and a segment may end in a dot.
TEST(PartNameTest, ItemNamesAreKeptAndEquivalenceIgnoresAsciiCase) {
  EXPECT_EQ(PartName(u"/lib/a%5Cb").getItemName(), "lib/a%5Cb");
  EXPECT_EQ(PartName(u"/a./b.").getItemName(), "a./b.");
  EXPECT_EQ(PartName(u"/a/F.txt"), PartName(u"/A/f.TXT"));
  EXPECT_EQ(PartName(u"/%c3%a9"), PartName(u"/%C3%A9"));
  EXPECT_NE(PartName(u"/a/F.txt"), PartName(u"/a/F.txt2"));
  EXPECT_EQ(PartName(u"/a/F.txt").getEquivalenceKey(), "a/f.txt");

  std::unordered_set<PartName, PartNameHash> names{PartName(u"/Docs/Read.Me")};
  EXPECT_EQ(names.count(PartName(u"/docs/read.me")), 1u);
}

TEST(PartNameTest, RelationshipPartNames) {
  EXPECT_TRUE(PartName(u"/_rels/.rels").isRelationshipPartName());
  EXPECT_TRUE(PartName(u"/a/_rels/b.xml.rels").isRelationshipPartName());
  EXPECT_TRUE(PartName(u"/a/_RELS/b.RELS").isRelationshipPartName());
  EXPECT_FALSE(PartName(u"/a/b.rels").isRelationshipPartName());
  EXPECT_FALSE(PartName(u"/_rels/b.xml").isRelationshipPartName());

  EXPECT_EQ(PartName(u"/a/b.xml").getRelationshipPartName().toString(), u"/a/_rels/b.xml.rels");
  EXPECT_EQ(PartName(u"/x").getRelationshipPartName().toString(), u"/_rels/x.rels");
  EXPECT_OPC_ERROR(PartName(u"/_rels/.rels").getRelationshipPartName(), InvalidPartName,
                   "cannot have relationships");
}

TEST(UriTest, ResolvesAgainstTheSource) {
  // base, reference, resolved
  for (const auto& row : std::vector<std::array<ustring, 3>>{
           {u"/", u"docProps/core.xml", u"/docProps/core.xml"},
           {u"/a/b.xml", u"c.xml", u"/a/c.xml"},
           {u"/a/b/c.xml", u"../../d/e.xml", u"/d/e.xml"},
           {u"/a/b.xml", u"../../../c", u"/c"},  // above the root stays at the root
           {u"/a/b.xml", u"/x/./y.xml", u"/x/y.xml"},
           {u"/a/b.xml", u"http://example.com/x/../y", u"http://example.com/x/../y"}}) {
    EXPECT_EQ(URI(row[0]).resolve(URI(row[1])).toString(), row[2]);
  }
}

}  // namespace
