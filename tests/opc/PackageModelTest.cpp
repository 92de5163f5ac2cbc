// The package model over zip files: parts, content types, relationships, core properties and the
// state checks, written and read back, and containers laid out item by item.
#include <gtest/gtest.h>

#include <array>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/PackageHelper.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <optional>
#include <unordered_set>

#include "OpcTestSupport.hpp"

namespace {

namespace pt = boost::posix_time;
using namespace opc::model;
using opc::ustring;
using namespace opc::interfaces;
using namespace opctest;
using ::testing::ElementsAre;

const ContentType kText("text/plain");
const StandardPartInfo kDeflated(1, 0);
const ustring kType = u"http://example.com/relationships/test";
const ustring kOther = u"http://example.com/relationships/other";
const std::string kRelsNs = "http://schemas.openxmlformats.org/package/2006/relationships";

class PackageTest : public ContainerTest {
 protected:
  /// Creates a package, lets `fill` add to it, and closes it.
  template <typename Fill>
  void create(Fill fill) {
    Package package(container, true);
    package.open(OpenMode::Create);
    fill(package);
    package.close(false);
  }
};

TEST_F(PackageTest, OperationsCheckTheStateAndTheNames) {
  std::optional<Part> orphan;
  {
    Package package(container, true);
    EXPECT_OPC_ERROR(package.createPart(PartName(u"/a"), kText, kDeflated), PackageStateError,
                     "p.kzf: cannot create a part: the package is not open");
    package.close(false);  // closing a closed package does nothing
    package.open(OpenMode::Create);
    EXPECT_OPC_ERROR(package.open(OpenMode::Create), PackageStateError, "already open");
    Part first = package.createPart(PartName(u"/a/F.txt"), kText, kDeflated);
    EXPECT_FALSE(package.hasPart(PartName(u"/a/F.txt.bak")));
    EXPECT_OPC_ERROR(package.createPart(PartName(u"/A/f.TXT"), kText, kDeflated), InvalidPartName,
                     "already has the equivalent part \"/a/F.txt\"");
    EXPECT_OPC_ERROR(package.createPart(PartName(u"/a/_rels/b.xml.rels"), kText, kDeflated),
                     InvalidPartName, "relationship part name");
    EXPECT_OPC_ERROR(package.getPart(PartName(u"/zz")), PackageStateError,
                     "p.kzf: the package has no part \"/zz\"");
    EXPECT_OPC_ERROR(first.getInputStream(), PackageStateError,
                     "cannot read a part: the package is open for creation");
    auto stream = first.getOutputStream();
    EXPECT_EQ(Part(first).getOutputStream(), stream);
    stream->write("1", 1);
    package.createPart(PartName(u"/two"), kText, kDeflated);
    EXPECT_OPC_ERROR(first.getOutputStream(), PackageStateError,
                     "the part \"/a/F.txt\" is finished: another part was created after it");
    EXPECT_THROW(stream->write("x", 1), std::runtime_error);
    package.close(false);
    EXPECT_OPC_ERROR(first.getName(), PackageStateError, "not open");

    package.open(OpenMode::Read);
    EXPECT_EQ(readPart(package.getPart(PartName(u"/A/F.TXT"))), "1");
    EXPECT_OPC_ERROR(first.getName(), PackageStateError, "earlier opening of the package");
    EXPECT_OPC_ERROR(package.createPart(PartName(u"/b"), kText, kDeflated), PackageStateError,
                     "cannot create a part: the package is open for reading");
    EXPECT_OPC_ERROR(package.getPart(PartName(u"/two")).getOutputStream(), PackageStateError,
                     "open for reading");
    EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/x"), u""), PackageStateError,
                     "cannot add a relationship: the package is open for reading");
    package.close(false);
    package.open(OpenMode::Create);  // abandoned: the old file stays as it was
    orphan = package.createPart(PartName(u"/b"), kText, kDeflated);
  }
  EXPECT_THAT(itemNames(), ElementsAre("a/F.txt", "two", "[Content_Types].xml"));
  EXPECT_OPC_ERROR(orphan->getOutputStream(), PackageStateError, "not open");
}

using Items = std::vector<std::pair<std::string, std::string>>;

struct ReadRow {
  std::string label;
  std::string strictError;   // "" when strict reading succeeds
  std::size_t lenientParts;  // kFails when lenient reading fails too
  std::string types;
  Items items;
};

ReadRow row(std::string label, std::string error, std::size_t lenient, std::string types,
            Items items = {}) {
  return {label, error, lenient, types, items};
}

constexpr std::size_t kFails = std::string::npos;

class ReadingTest : public ContainerTest, public ::testing::WithParamInterface<ReadRow> {};

TEST_P(ReadingTest, StrictRefusesWhatLenientSkips) {
  const ReadRow& row = GetParam();
  layOut(row.types, row.items);
  auto read = [](Package& package) {
    package.open(OpenMode::Read);
    package.getRelationships();
    PackageHelper::getCoreProperties(package);
    return package.getParts().size();
  };
  for (bool strict : {true, false}) {
    Package package(container, strict);
    if (strict ? !row.strictError.empty() : row.lenientParts == kFails) {
      EXPECT_OPC_ERROR(read(package), std::runtime_error, row.strictError);
    } else {
      const std::size_t parts = read(package);
      EXPECT_TRUE(strict || parts == row.lenientParts) << parts;
    }
  }
}

const std::string kTxt = "<Default Extension='txt' ContentType='text/plain'/>";

/// A row whose "_rels/.rels" holds a good relationship and one with `attributes`.
ReadRow relsRow(const std::string& label, const std::string& attributes, const std::string& error) {
  return row(label, "p.kzf:_rels/.rels: " + error, 0, "",
             {{"_rels/.rels", "<Relationships xmlns='" + kRelsNs +
                                  "'><Relationship Id='ok' Type='t' Target='a'/><Relationship " +
                                  attributes + "/></Relationships>"}});
}

INSTANTIATE_TEST_SUITE_P(
    Containers, ReadingTest,
    ::testing::Values(
        row("EquivalentItemNames",
            "p.kzf: the items \"Docs/a.txt\" and \"docs/A.TXT\" have equivalent names", kFails,
            kTxt, {{"Docs/a.txt", "1"}, {"docs/A.TXT", "2"}}),
        row("ItemNameThatIsNoPartName", "invalid part name \"/raw space.txt\"", 1, kTxt,
            {{"good.txt", "1"}, {"raw space.txt", "2"}, {"folder/", ""}}),
        row("BadDefaultAndUnknownElement", "\"not a type\"", 1,
            kTxt + "<Default Extension='bad' ContentType='not a type'/><Unknown/>",
            {{"a.txt", ""}, {"b.bad", ""}}),
        row("TwoDefaultsForAnExtension",
            "p.kzf:[Content_Types].xml: two Default entries for \"XML\"", kFails,
            "<Default Extension='xml' ContentType='a/b'/><Default Extension='XML' "
            "ContentType='a/c'/>"),
        row("TwoOverridesForAName", "p.kzf:[Content_Types].xml: two Override entries for \"/A/b\"",
            kFails,
            "<Override PartName='/a/B' ContentType='a/b'/><Override PartName='/A/b' "
            "ContentType='a/b'/>"),
        relsRow("DuplicateRelationshipId", "Id='ok' Type='t' Target='b'",
                "relationship id \"ok\" is used twice"),
        relsRow("BadRelationshipId", "Id='1' Type='t' Target='b'",
                "relationship id \"1\" is not a valid NCName"),
        relsRow("RelationshipWithoutTarget", "Id='b' Type='t'",
                "a relationship lacks its Id, Type or Target"),
        relsRow("UnknownTargetMode", "Id='b' Type='t' Target='b' TargetMode='Far'",
                "relationship \"b\" has the unknown target mode \"Far\""),
        row("BadCorePropertiesDate",
            "p.kzf:c.xml: the property dcterms:created: invalid date-time \"last week\"", kFails,
            "<Default Extension='xml' ContentType='application/xml'/>",
            {{"_rels/.rels",
              "<Relationships xmlns='" + kRelsNs + "'><Relationship Id='c' Target='c.xml' Type='" +
                  PackageHelper::CORE_PROPERTIES_RELATIONSHIP + "'/></Relationships>"},
             {"c.xml",
              "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/"
              "metadata/core-properties' xmlns:dcterms='http://purl.org/dc/terms/'>"
              "<dcterms:created>last week</dcterms:created></cp:coreProperties>"}})),
    kzftest::RowLabel());

TEST_F(PackageTest, AContainerWithoutContentTypesIsNotAPackage) {
  container.open(OpenMode::Create);
  container.createItem("a.txt", CompressionType::Stored, 0);
  container.close(false);
  Package package(container, true);
  EXPECT_OPC_ERROR(package.open(OpenMode::Read), InvalidPackage,
                   "p.kzf: the package has no [Content_Types].xml item");
}

TEST(ContentTypeTest, ABadContentTypeIsRefusedWithItsReason) {
  for (const auto& row : std::vector<std::pair<const char*, const char*>>{
           {"", "it is empty"},
           {"text", "not followed by '/'"},
           {"text/", "expected a subtype at offset 5"},
           {"text/plain; a=b", "parameter name at offset 11"},
           {"text/plain;charset", "has no '='"},
           {"text/plain;a=\"b", "not closed"}}) {
    EXPECT_OPC_ERROR(ContentType{row.first}, InvalidContentType, row.second);
  }
}

TEST_F(PackageTest, RelationshipIdsAreUniqueNCNamesPerSource) {
  Package package(container, true);
  package.open(OpenMode::Create);
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"rId2").getId(), u"rId2");
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"").getId(), u"rId1");
  EXPECT_EQ(package.createInternalRelationship(kType, URI(u"/a"), u"").getId(), u"rId3");
  Part part = package.createPart(PartName(u"/p.xml"), kText, kDeflated);
  std::unordered_set<ustring> ids;
  for (int i = 0; i < 2000; ++i) {
    ids.insert(part.createInternalRelationship(kType, URI(u"/a"), u"").getId());
  }
  EXPECT_EQ(ids.size(), 2000u);
  EXPECT_EQ(part.getRelationships().front().getId(), u"rId1");
  EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a"), u"rId2"),
                   InvalidRelationship,
                   "p.kzf: relationship from \"/\": the id \"rId2\" is already used");
  EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a"), u"1a"),
                   InvalidRelationship, "is not a valid XML NCName");
  EXPECT_OPC_ERROR(package.createInternalRelationship(u"", URI(u"/a"), u""), InvalidRelationship,
                   "the type is empty");
  EXPECT_OPC_ERROR(package.createInternalRelationship(kType, URI(u"/a b"), u""), InvalidPartName,
                   "\"/a b\"");
}

// A target is stored relative to its source's folder (the package's is the root) and resolved
// back to an absolute name.
TEST_F(PackageTest, RelationshipTargetsAreStoredRelativeAndResolvedAbsolute) {
  // source ("": the package), target as given, as stored, resolved
  for (const auto& row : std::vector<std::array<ustring, 4>>{
           {u"", u"/.META/manifest.xml", u".META/manifest.xml", u"/.META/manifest.xml"},
           {u"/a/b/c.xml", u"/a/d.xml", u"../d.xml", u"/a/d.xml"},
           {u"/a/b/c.xml", u"/a/b/e/f.xml", u"e/f.xml", u"/a/b/e/f.xml"},
           {u"/a/b/c.xml", u"/x/y.xml", u"../../x/y.xml", u"/x/y.xml"},
           {u"/a/b/c.xml", u"../g.xml", u"../g.xml", u"/a/g.xml"},
           {u"", u"/x:y/z", u"./x:y/z", u"/x:y/z"},  // not to be read as a scheme
           {u"/a/b.xml", u"/a/b.xml", u"b.xml", u"/a/b.xml"}}) {
    Package package(container, true);
    package.open(OpenMode::Create);
    Relationship relationship = row[0].empty()
                                    ? package.createInternalRelationship(kType, URI(row[1]), u"")
                                    : package.createPart(PartName(row[0]), kText, kDeflated)
                                          .createInternalRelationship(kType, URI(row[1]), u"");
    EXPECT_EQ(relationship.getTargetURI(false).toString(), row[2]);
    EXPECT_EQ(relationship.getTargetURI(true).toString(), row[3]);
  }
}

TEST_F(PackageTest, RelationshipsAreWrittenPerSourceAndReadBackByType) {
  create([](Package& package) {
    package.createInternalRelationship(kType, URI(u"/dir/p.xml"), u"");
    package.createExternalRelationship(kOther, URI(u"http://example.com/x?y=1"), u"ext");
    package.createInternalRelationship(kType, URI(u"/three"), u"");
    Part part = package.createPart(PartName(u"/dir/p.xml"), kText, kDeflated);
    part.createInternalRelationship(kType, URI(u"/other/q.xml"), u"");
    part.createExternalRelationship(kType, URI(u"https://example.com/"), u"");
  });
  EXPECT_THAT(itemNames(), ElementsAre("dir/p.xml", "dir/_rels/p.xml.rels", "_rels/.rels",
                                       "[Content_Types].xml"));
  EXPECT_THAT(childElements(item("_rels/.rels")),
              ElementsAre("Relationship Id=rId1 Target=dir/p.xml Type=" + ascii(kType),
                          "Relationship Id=ext Target=http://example.com/x?y=1 TargetMode=External "
                          "Type=" +
                              ascii(kOther),
                          "Relationship Id=rId2 Target=three Type=" + ascii(kType)));
  EXPECT_EQ(item("_rels/.rels").find("xml:base"), std::string::npos);

  Package reader(container, true);
  reader.open(OpenMode::Read);
  std::vector<Relationship> found = reader.getRelationshipsByType(kType);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[1].getTargetURI(true).toString(), u"/three");
  std::vector<Relationship> fromPart = reader.getPart(PartName(u"/dir/p.xml")).getRelationships();
  ASSERT_EQ(fromPart.size(), 2u);
  EXPECT_EQ(fromPart[0].getTargetURI(true).toString(), u"/other/q.xml");
  EXPECT_EQ(fromPart[1].getTargetMode(), TargetMode::External);
  EXPECT_EQ(fromPart[1].getSourceURI().toString(), u"/dir/p.xml");
  EXPECT_FALSE(reader.hasPart(PartName(u"/dir/_rels/p.xml.rels")));
}

pt::ptime at(int y, int mo, int d, int h, int mi, int s, int micro = 0) {
  return pt::ptime(boost::gregorian::date(y, mo, d),
                   pt::time_duration(h, mi, s) + pt::microseconds(micro));
}

TEST(CorePropertiesTime, IsReadAsUtcAndWrittenBackAsTheSameTime) {
  for (const auto& [text, time] : std::vector<std::pair<ustring, pt::ptime>>{
           {u"2024-02-29T00:15:00-01:30", at(2024, 2, 29, 1, 45, 0)},
           {u"2024-01-01T00:30:00+01:00", at(2023, 12, 31, 23, 30, 0)},
           {u"2024-03-04T05:06:07.5Z", at(2024, 3, 4, 5, 6, 7, 500000)},
           {u"2024-03-04T05:06:07.1234569Z", at(2024, 3, 4, 5, 6, 7, 123456)},  // digits dropped
           {u"2024-03-04T05:06", at(2024, 3, 4, 5, 6, 0)},
           {u"2024", at(2024, 1, 1, 0, 0, 0)},
           {u"2024-03", at(2024, 3, 1, 0, 0, 0)},
           {u"9999-12-31T23:59:59.00001Z", at(9999, 12, 31, 23, 59, 59, 10)},
           {u"", pt::ptime(pt::not_a_date_time)}}) {
    EXPECT_EQ(CoreProperties::convertStringToTime(text), time) << ascii(text);
    // Written in UTC, with a fraction only when there is one.
    if (time.is_special()) continue;
    EXPECT_EQ(CoreProperties::convertStringToTime(CoreProperties::convertTimeToString(time)), time);
  }
}

TEST(CorePropertiesTime, TextThatIsNoTimeNamesTheFault) {
  for (const auto& row : std::vector<std::pair<std::string, const char*>>{
           {"yesterday", "expected a four-digit year at offset 0"},
           {"2024-13-01", "month 13 is out of range"},
           {"2023-02-29", "day 29 is out of range"},
           {"2024-01-01T10:00:00+0100", "expected ':' at offset 22"},
           {"2024-01-01T10:00:00Zjunk", "unexpected text at offset 20"},
           {"2024-01-01T10:00:00.Z", "expected digits after '.'"}}) {
    EXPECT_OPC_ERROR(CoreProperties::convertStringToTime(opc::toString(row.first)),
                     std::runtime_error, "invalid date-time \"" + row.first + "\": " + row.second);
  }
}

CoreProperties fullProperties() {
  CoreProperties p;
  p.category = u"tools", p.contentStatus = u"final", p.creator = u"Ana \u00d8stergaard";
  p.description = u"a <described> & \"quoted\" package", p.identifier = u"urn:id:1";
  p.keywords = u"one two", p.language = u"en-GB", p.lastModifiedBy = u"build bot";
  p.revision = u"7", p.subject = u"testing", p.title = u"\u65e5\u672c", p.version = u"8.0";
  p.created = at(2024, 5, 6, 7, 8, 9), p.lastPrinted = at(2020, 1, 1, 0, 0, 0);
  p.modified = at(2024, 5, 6, 7, 8, 9, 250000);
  return p;
}

TEST_F(PackageTest, CorePropertiesAreWrittenOnceUnderAFreeNameAndReadBack) {
  create([](Package& package) {
    EXPECT_EQ(PackageHelper::getCoreProperties(package), CoreProperties());
    package.createPart(PartName(u"/docProps/Core.xml"), kText, kDeflated);
    CoreProperties first;
    first.title = u"first";
    PackageHelper::createOrUpdateCoreProperties(package, first);
    PackageHelper::createOrUpdateCoreProperties(package, fullProperties());
    EXPECT_OPC_ERROR(package.getPart(PartName(u"/docProps/core1.xml")).getOutputStream(),
                     PackageStateError, "written by the package itself");
  });
  EXPECT_THAT(childElements(item("_rels/.rels")),
              ElementsAre("Relationship Id=rId1 Target=docProps/core1.xml Type=" +
                          std::string(PackageHelper::CORE_PROPERTIES_RELATIONSHIP)));
  EXPECT_NE(item("docProps/core1.xml")
                .find("<dcterms:modified xsi:type=\"dcterms:W3CDTF\">2024-05-06T07:08:09.25Z<"),
            std::string::npos);
  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(PackageHelper::getCoreProperties(package), fullProperties());
}

// A package as another writer lays it out: relationship ids such as "Re0", byte-order marks
// and white space, core properties under an unusual name reached through the older relationship
// type, an upper-case extension, a folder entry and an item without a content type.
TEST_F(PackageTest, APackageLaidOutByAnotherWriterIsRead) {
  const std::string xml = "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>\n";
  const std::string core = "package/services/metadata/core-properties/5a1b.psmdcp";
  layOut(
      "<Default Extension='XML' ContentType='application/xml'/><Override PartName='/" + core +
          "' ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>",
      {{"_rels/.rels",
        xml + "<Relationships xmlns='" + kRelsNs + "'>\n  <Relationship Id='Re0' Target='/" + core +
            "' Type='http://schemas.openxmlformats.org/officedocument/2006/relationships/"
            "metadata/core-properties'/>\n</Relationships>"},
       {"Content/", ""},
       {"Content/Main%20File.XML", "<main/>"},
       {"Content/notes", "no content type"},
       {core, xml + "<coreProperties xmlns='http://schemas.openxmlformats.org/package/2006/"
                    "metadata/core-properties' xmlns:dc='http://purl.org/dc/elements/1.1/' "
                    "xmlns:dcterms='http://purl.org/dc/terms/'>\n  <dc:creator>Someone "
                    "Else</dc:creator>\n  <dcterms:created>2021-06-01T12:00:00.5+02:00"
                    "</dcterms:created>\n  <version>1.0.0</version>\n</coreProperties>"}});

  Package package(container, true);
  package.open(OpenMode::Read);
  std::vector<Part> parts = package.getParts();
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].getName().toString(), u"/Content/Main%20File.XML");
  EXPECT_FALSE(package.hasPart(PartName(u"/Content/notes")));

  Part main = package.getPart(PartName(u"/content/main%20file.xml"));
  EXPECT_EQ(readPart(main), "<main/>");
  EXPECT_EQ(main.getContentType().toString(), "application/xml");

  CoreProperties properties = PackageHelper::getCoreProperties(package);
  EXPECT_EQ(properties.creator, u"Someone Else");
  EXPECT_EQ(properties.version, u"1.0.0");
  EXPECT_EQ(properties.created,
            pt::ptime(boost::gregorian::date(2021, 6, 1), pt::hours(10) + pt::milliseconds(500)));
  EXPECT_TRUE(properties.modified.is_not_a_date_time());
}

}  // namespace
