// Relationships: ids, targets stored relative and resolved absolute, writing and reading.
#include <gtest/gtest.h>

#include <opc/model/ContentType.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <unordered_set>

#include "MemoryPhysicalPackage.hpp"
#include "OpcTestSupport.hpp"

namespace {

using opc::ustring;
using opc::interfaces::OpenMode;
using opc::model::ContentType;
using opc::model::InvalidPartName;
using opc::model::InvalidRelationship;
using opc::model::Package;
using opc::model::PackageStateError;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;
using opc::model::StandardPartInfo;
using opc::model::TargetMode;
using opc::model::URI;
using opctest::childElements;
using opctest::MemoryPhysicalPackage;
using ::testing::ElementsAre;

const ContentType kXml("application/xml");
const StandardPartInfo kDeflated(1, 0);
const ustring kType = u"http://example.com/relationships/test";
const ustring kOther = u"http://example.com/relationships/other";

class RelationshipTest : public ::testing::Test {
 protected:
  void SetUp() override { package.open(OpenMode::Create); }
  MemoryPhysicalPackage container;
  Package package{container, true};
};

TEST_F(RelationshipTest, GeneratedIdsAreUniqueAndSkipTakenOnes) {
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"rId2").getId(), u"rId2");
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"").getId(), u"rId1");
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"").getId(), u"rId3");

  Part part = package.createPart(PartName(u"/p.xml"), kXml, kDeflated);
  std::unordered_set<ustring> ids;
  for (int i = 0; i < 5000; ++i) {
    ids.insert(part.createInternalRelationship(kType, URI(u"/a"), u"").getId());
  }
  EXPECT_EQ(ids.size(), 5000u);
  EXPECT_EQ(part.getRelationships().front().getId(), u"rId1");  // ids are per source
}

TEST_F(RelationshipTest, GivenIdsMustBeUnusedNCNames) {
  package.createInternalRelationship(kType, URI(u"/a"), u"Re0");
  EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a"), u"Re0"),
                   InvalidRelationship,
                   "memory.kzf: relationship from \"/\": the id \"Re0\" is already used");
  for (const char16_t* bad : {u"1abc", u"a b", u"a:b", u"-x"}) {
    EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a"), bad),
                     InvalidRelationship, "is not a valid XML NCName");
  }
  EXPECT_OPC_ERROR(package.createInternalRelationship(u"", URI(u"/a"), u""), InvalidRelationship,
                   "the type is empty");
  EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a b"), u""), InvalidPartName,
                   "\"/a b\"");
}

struct TargetRow {
  const char* label;
  ustring source;  // empty: the package
  ustring target;
  ustring stored;
  ustring absolute;
};

class RelationshipTargetTest : public ::testing::TestWithParam<TargetRow> {};

TEST_P(RelationshipTargetTest, IsStoredRelativeAndResolvedAbsolute) {
  const TargetRow& row = GetParam();
  MemoryPhysicalPackage container;
  Package package(container, true);
  package.open(OpenMode::Create);
  Relationship relationship = row.source.empty()
                                  ? package.createInternalRelationship(kType, URI(row.target), u"")
                                  : package.createPart(PartName(row.source), kXml, kDeflated)
                                        .createInternalRelationship(kType, URI(row.target), u"");
  EXPECT_EQ(relationship.getTargetURI(false).toString(), row.stored);
  EXPECT_EQ(relationship.getTargetURI(true).toString(), row.absolute);
  EXPECT_EQ(relationship.getSourceURI().toString(), row.source.empty() ? u"/" : row.source);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RelationshipTargetTest,
    ::testing::Values(
        TargetRow{"PackageToNestedPart", u"", u"/.META/manifest.xml", u".META/manifest.xml",
                  u"/.META/manifest.xml"},
        TargetRow{"PackageRelativeTarget", u"", u"docProps/core.xml", u"docProps/core.xml",
                  u"/docProps/core.xml"},
        TargetRow{"SiblingFolder", u"/a/b/c.xml", u"/a/d.xml", u"../d.xml", u"/a/d.xml"},
        TargetRow{"Subfolder", u"/a/b/c.xml", u"/a/b/e/f.xml", u"e/f.xml", u"/a/b/e/f.xml"},
        TargetRow{"OtherTree", u"/a/b/c.xml", u"/x/y.xml", u"../../x/y.xml", u"/x/y.xml"},
        TargetRow{"RelativeGiven", u"/a/b/c.xml", u"../g.xml", u"../g.xml", u"/a/g.xml"},
        TargetRow{"ColonInFirstSegment", u"", u"/x:y/z", u"./x:y/z", u"/x:y/z"},
        TargetRow{"Itself", u"/a/b.xml", u"/a/b.xml", u"b.xml", u"/a/b.xml"}),
    opctest::RowLabel());

TEST_F(RelationshipTest, AreWrittenInRelationshipPartsWithoutXmlBase) {
  package.createInternalRelationship(kType, URI(u"/dir/p.xml"), u"");
  package.createExternalRelationship(kOther, URI(u"http://example.com/x?y=1"), u"ext");
  Part part = package.createPart(PartName(u"/dir/p.xml"), kXml, kDeflated);
  part.createInternalRelationship(kType, URI(u"/other/q.xml"), u"");
  package.createPart(PartName(u"/lonely.xml"), kXml, kDeflated);
  package.close(false);

  EXPECT_THAT(container.itemNames(), ElementsAre("dir/p.xml", "lonely.xml", "dir/_rels/p.xml.rels",
                                                 "_rels/.rels", "[Content_Types].xml"));
  EXPECT_THAT(childElements(container.item("_rels/.rels")),
              ElementsAre("Relationship Id=rId1 Target=dir/p.xml Type=" + opctest::ascii(kType),
                          "Relationship Id=ext Target=http://example.com/x?y=1 TargetMode=External "
                          "Type=" +
                              opctest::ascii(kOther)));
  EXPECT_THAT(
      childElements(container.item("dir/_rels/p.xml.rels")),
      ElementsAre("Relationship Id=rId1 Target=../other/q.xml Type=" + opctest::ascii(kType)));
  EXPECT_EQ(container.item("_rels/.rels").find("xml:base"), std::string::npos);
  EXPECT_THAT(childElements(container.item("[Content_Types].xml")),
              ::testing::Contains(
                  "Default ContentType=application/vnd.openxmlformats-package.relationships+xml "
                  "Extension=rels"));
}

TEST_F(RelationshipTest, ReadBackInOrderByType) {
  package.createInternalRelationship(kType, URI(u"/one"), u"");
  package.createInternalRelationship(kOther, URI(u"/two"), u"");
  package.createInternalRelationship(kType, URI(u"/three"), u"");
  Part part = package.createPart(PartName(u"/a/p.xml"), kXml, kDeflated);
  part.createExternalRelationship(kType, URI(u"https://example.com/"), u"");
  package.close(false);

  Package reader(container, true);
  reader.open(OpenMode::Read);
  std::vector<Relationship> found = reader.getRelationshipsByType(kType);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].getTargetURI(true).toString(), u"/one");
  EXPECT_EQ(found[1].getTargetURI(true).toString(), u"/three");
  EXPECT_EQ(reader.getRelationships().size(), 3u);

  std::vector<Relationship> fromPart =
      reader.getPart(PartName(u"/a/p.xml")).getRelationshipsByType(kType);
  ASSERT_EQ(fromPart.size(), 1u);
  EXPECT_EQ(fromPart[0].getTargetMode(), TargetMode::External);
  EXPECT_EQ(fromPart[0].getTargetURI(true).toString(), u"https://example.com/");
  EXPECT_EQ(fromPart[0].getSourceURI().toString(), u"/a/p.xml");

  EXPECT_OPC_ERROR(reader.createInternalRelationship(kType, URI(u"/x"), u""), PackageStateError,
                   "cannot add a relationship: the package is open for reading");
}

TEST(RelationshipReading, PartRelationshipsAreReadOnlyWhenAskedFor) {
  MemoryPhysicalPackage container;
  container.addItem("a.xml", "<a/>");
  container.addItem(
      "_rels/a.xml.rels",
      "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/"
      "relationships'><Relationship Id='r' Type='t' Target='b.xml'/></Relationships>");
  container.addContentTypes("<Default Extension='xml' ContentType='application/xml'/>");
  Package package(container, true);
  package.open(OpenMode::Read);
  Part part = package.getPart(PartName(u"/a.xml"));
  EXPECT_EQ(container.openCount("_rels/a.xml.rels"), 0);
  EXPECT_EQ(part.getRelationships().at(0).getTargetURI(true).toString(), u"/b.xml");
  part.getRelationships();
  EXPECT_EQ(container.openCount("_rels/a.xml.rels"), 1);
  EXPECT_FALSE(package.hasPart(PartName(u"/_rels/a.xml.rels")));
}

struct MalformedRow {
  const char* label;
  const char* entries;
  const char* reason;
};

class MalformedRelationshipsTest : public ::testing::TestWithParam<MalformedRow> {};

TEST_P(MalformedRelationshipsTest, StrictRefusesLenientSkips) {
  MemoryPhysicalPackage container;
  container.addContentTypes("");
  container.addItem("_rels/.rels",
                    std::string("<Relationships xmlns='http://schemas.openxmlformats.org/package/"
                                "2006/relationships'><Relationship Id='ok' Type='t' Target='a'/>") +
                        GetParam().entries + "</Relationships>");
  {
    Package strict(container, true);
    strict.open(OpenMode::Read);
    EXPECT_OPC_ERROR(strict.getRelationships(), InvalidRelationship,
                     std::string("memory.kzf:_rels/.rels: ") + GetParam().reason);
  }
  Package lenient(container, false);
  lenient.open(OpenMode::Read);
  ASSERT_EQ(lenient.getRelationships().size(), 1u);
  EXPECT_EQ(lenient.getRelationships()[0].getId(), u"ok");
}

INSTANTIATE_TEST_SUITE_P(
    Table, MalformedRelationshipsTest,
    ::testing::Values(MalformedRow{"DuplicateId", "<Relationship Id='ok' Type='t' Target='b'/>",
                                   "relationship id \"ok\" is used twice"},
                      MalformedRow{"BadId", "<Relationship Id='1' Type='t' Target='b'/>",
                                   "relationship id \"1\" is not a valid NCName"},
                      MalformedRow{"NoTarget", "<Relationship Id='b' Type='t'/>",
                                   "a relationship lacks its Id, Type or Target"},
                      MalformedRow{"UnknownMode",
                                   "<Relationship Id='b' Type='t' Target='b' TargetMode='Far'/>",
                                   "relationship \"b\" has the unknown target mode \"Far\""}),
    opctest::RowLabel());

}  // namespace
