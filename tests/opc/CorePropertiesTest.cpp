// Core properties: date-time texts, writing and reading the core-properties part.
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/PackageHelper.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "MemoryPhysicalPackage.hpp"
#include "OpcTestSupport.hpp"

namespace {

namespace pt = boost::posix_time;
using boost::gregorian::date;
using opc::ustring;
using opc::interfaces::OpenMode;
using opc::model::ContentType;
using opc::model::CoreProperties;
using opc::model::InvalidPackage;
using opc::model::Package;
using opc::model::PackageHelper;
using opc::model::PackageStateError;
using opc::model::PartName;
using opc::model::StandardPartInfo;
using opctest::childElements;
using opctest::MemoryPhysicalPackage;

pt::ptime at(int y, int mo, int d, int h, int mi, int s, int micro = 0) {
  return pt::ptime(date(y, mo, d), pt::time_duration(h, mi, s) + pt::microseconds(micro));
}

struct TimeRow {
  const char* label;
  ustring text;
  pt::ptime time;
};

class TimeFromTextTest : public ::testing::TestWithParam<TimeRow> {};

TEST_P(TimeFromTextTest, GivesTheUtcTime) {
  EXPECT_EQ(CoreProperties::convertStringToTime(GetParam().text), GetParam().time);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TimeFromTextTest,
    ::testing::Values(
        TimeRow{"Utc", u"2024-02-29T13:45:07Z", at(2024, 2, 29, 13, 45, 7)},
        TimeRow{"PositiveOffset", u"2024-02-29T15:45:07+02:00", at(2024, 2, 29, 13, 45, 7)},
        TimeRow{"NegativeHalfHourOffset", u"2024-02-29T00:15:00-01:30", at(2024, 2, 29, 1, 45, 0)},
        TimeRow{"OffsetCrossesTheYear", u"2024-01-01T00:30:00+01:00", at(2023, 12, 31, 23, 30, 0)},
        TimeRow{"Fraction", u"2024-03-04T05:06:07.5Z", at(2024, 3, 4, 5, 6, 7, 500000)},
        TimeRow{"Microseconds", u"2024-03-04T05:06:07.000001Z", at(2024, 3, 4, 5, 6, 7, 1)},
        TimeRow{"DigitsBeyondMicrosecondsDropped", u"2024-03-04T05:06:07.1234569Z",
                at(2024, 3, 4, 5, 6, 7, 123456)},
        TimeRow{"NoSeconds", u"2024-03-04T05:06Z", at(2024, 3, 4, 5, 6, 0)},
        TimeRow{"NoZoneMeansUtc", u"2024-03-04T05:06:07", at(2024, 3, 4, 5, 6, 7)},
        TimeRow{"YearOnly", u"2024", at(2024, 1, 1, 0, 0, 0)},
        TimeRow{"YearAndMonth", u"2024-03", at(2024, 3, 1, 0, 0, 0)},
        TimeRow{"DateOnly", u"2024-03-04", at(2024, 3, 4, 0, 0, 0)},
        TimeRow{"EmptyIsNotADateTime", u"", pt::ptime(pt::not_a_date_time)}),
    opctest::RowLabel());

struct BadTimeRow {
  const char* label;
  ustring text;
  const char* reason;
};

class BadTimeTextTest : public ::testing::TestWithParam<BadTimeRow> {};

TEST_P(BadTimeTextTest, IsRefusedNamingTheTextAndTheReason) {
  EXPECT_OPC_ERROR(
      CoreProperties::convertStringToTime(GetParam().text), std::runtime_error,
      "invalid date-time \"" + opctest::ascii(GetParam().text) + "\": " + GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadTimeTextTest,
    ::testing::Values(
        BadTimeRow{"Words", u"yesterday", "expected a four-digit year at offset 0"},
        BadTimeRow{"Month13", u"2024-13-01", "month 13 is out of range"},
        BadTimeRow{"NoLeapDay", u"2023-02-29", "day 29 is out of range"},
        BadTimeRow{"Hour25", u"2024-01-01T25:00:00Z", "hour 25 is out of range"},
        BadTimeRow{"OffsetWithoutColon", u"2024-01-01T10:00:00+0100", "expected ':' at offset 22"},
        BadTimeRow{"TrailingText", u"2024-01-01T10:00:00Zjunk", "unexpected text at offset 20"},
        BadTimeRow{"EmptyFraction", u"2024-01-01T10:00:00.Z", "expected digits after '.'"}),
    opctest::RowLabel());

TEST(TimeToText, WritesUtcWithAFractionOnlyWhenThereIsOne) {
  EXPECT_EQ(CoreProperties::convertTimeToString(at(2024, 2, 29, 13, 45, 7)),
            u"2024-02-29T13:45:07Z");
  EXPECT_EQ(CoreProperties::convertTimeToString(at(2024, 2, 29, 13, 45, 7, 500000)),
            u"2024-02-29T13:45:07.5Z");
  EXPECT_EQ(CoreProperties::convertTimeToString(at(1999, 1, 2, 3, 4, 5, 123456)),
            u"1999-01-02T03:04:05.123456Z");
  EXPECT_EQ(CoreProperties::convertTimeToString(pt::ptime(pt::not_a_date_time)), u"");
  EXPECT_OPC_ERROR(CoreProperties::convertTimeToString(pt::ptime(pt::pos_infin)),
                   std::runtime_error, "infinite time");
}

TEST(TimeToText, TextAndTimeAreExactInverses) {
  for (pt::ptime time :
       {at(2024, 2, 29, 13, 45, 7), at(1970, 1, 1, 0, 0, 0, 1), at(2038, 1, 19, 3, 14, 8, 999999),
        at(9999, 12, 31, 23, 59, 59, 10), pt::ptime(pt::not_a_date_time)}) {
    ustring text = CoreProperties::convertTimeToString(time);
    EXPECT_EQ(CoreProperties::convertStringToTime(text), time) << opctest::ascii(text);
    EXPECT_EQ(CoreProperties::convertTimeToString(CoreProperties::convertStringToTime(text)), text);
  }
}

CoreProperties fullProperties() {
  CoreProperties p;
  p.category = u"tools";
  p.contentStatus = u"final";
  p.created = at(2024, 5, 6, 7, 8, 9);
  p.creator = u"Ana \u00d8stergaard";
  p.description = u"a <described> & \"quoted\" package";
  p.identifier = u"urn:id:1";
  p.keywords = u"one two";
  p.language = u"en-GB";
  p.lastModifiedBy = u"build bot";
  p.lastPrinted = at(2020, 1, 1, 0, 0, 0);
  p.modified = at(2024, 5, 6, 7, 8, 9, 250000);
  p.revision = u"7";
  p.subject = u"testing";
  p.title = u"\u65e5\u672c";
  p.version = u"8.0";
  return p;
}

TEST(CorePropertiesPart, IsWrittenOnceAndReadBack) {
  MemoryPhysicalPackage container;
  {
    Package package(container, true);
    package.open(OpenMode::Create);
    CoreProperties first;
    first.title = u"first";
    PackageHelper::createOrUpdateCoreProperties(package, first);
    PackageHelper::createOrUpdateCoreProperties(package, fullProperties());
    EXPECT_EQ(PackageHelper::getCoreProperties(package), fullProperties());
    EXPECT_EQ(package.getPart(PartName(u"/docProps/core.xml")).getContentType().toString(),
              "application/vnd.openxmlformats-package.core-properties+xml");
    EXPECT_OPC_ERROR(package.getPart(PartName(u"/docProps/core.xml")).getOutputStream(),
                     PackageStateError, "written by the package itself");
    package.close(false);
  }
  EXPECT_THAT(childElements(container.item("_rels/.rels")),
              ::testing::ElementsAre("Relationship Id=rId1 Target=docProps/core.xml Type=" +
                                     std::string(PackageHelper::CORE_PROPERTIES_RELATIONSHIP)));
  std::string xml = container.item("docProps/core.xml");
  EXPECT_NE(xml.find("<dcterms:created xsi:type=\"dcterms:W3CDTF\">2024-05-06T07:08:09Z<"),
            std::string::npos)
      << xml;
  EXPECT_NE(xml.find("<dcterms:modified xsi:type=\"dcterms:W3CDTF\">2024-05-06T07:08:09.25Z<"),
            std::string::npos)
      << xml;

  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(PackageHelper::getCoreProperties(package), fullProperties());
}

TEST(CorePropertiesPart, OnlyPresentValuesAreWritten) {
  MemoryPhysicalPackage container;
  Package package(container, true);
  package.open(OpenMode::Create);
  CoreProperties some;
  some.creator = u"me";
  PackageHelper::createOrUpdateCoreProperties(package, some);
  package.close(false);
  EXPECT_THAT(childElements(container.item("docProps/core.xml")),
              ::testing::ElementsAre("creator"));
}

TEST(CorePropertiesPart, TakesAnotherNameWhenTheUsualOneIsTaken) {
  MemoryPhysicalPackage container;
  Package package(container, true);
  package.open(OpenMode::Create);
  package.createPart(PartName(u"/docProps/Core.xml"), ContentType("application/xml"),
                     StandardPartInfo(1, 0));
  PackageHelper::createOrUpdateCoreProperties(package, fullProperties());
  package.close(false);
  EXPECT_TRUE(container.hasItem("docProps/core1.xml"));

  package.open(OpenMode::Read);
  EXPECT_EQ(PackageHelper::getCoreProperties(package), fullProperties());
}

TEST(CorePropertiesPart, APackageWithoutThemHasEmptyProperties) {
  MemoryPhysicalPackage container;
  Package package(container, true);
  package.open(OpenMode::Create);
  EXPECT_EQ(PackageHelper::getCoreProperties(package), CoreProperties());
  package.close(false);
  package.open(OpenMode::Read);
  EXPECT_EQ(PackageHelper::getCoreProperties(package), CoreProperties());
  EXPECT_TRUE(PackageHelper::getCoreProperties(package).created.is_not_a_date_time());
}

TEST(CorePropertiesPart, ABadDateNamesThePartAndTheProperty) {
  MemoryPhysicalPackage container;
  container.addContentTypes("<Default Extension='xml' ContentType='application/xml'/>");
  container.addItem("_rels/.rels",
                    "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/"
                    "relationships'><Relationship Id='c' Target='c.xml' Type='" +
                        std::string(PackageHelper::CORE_PROPERTIES_RELATIONSHIP) +
                        "'/></Relationships>");
  container.addItem("c.xml",
                    "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/"
                    "metadata/core-properties' xmlns:dcterms='http://purl.org/dc/terms/'>"
                    "<dcterms:created>last week</dcterms:created></cp:coreProperties>");
  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_OPC_ERROR(
      PackageHelper::getCoreProperties(package), InvalidPackage,
      "memory.kzf:c.xml: the property dcterms:created: invalid date-time \"last week\"");
}

}  // namespace
