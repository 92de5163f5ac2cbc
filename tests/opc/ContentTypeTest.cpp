// Content types: validation, the Default/Override choice when writing, and reading them back.
#include <gtest/gtest.h>

#include <opc/model/ContentType.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/URI.hpp>

#include "MemoryPhysicalPackage.hpp"
#include "OpcTestSupport.hpp"

namespace {

using opc::interfaces::OpenMode;
using opc::model::ContentType;
using opc::model::InvalidContentType;
using opc::model::InvalidPackage;
using opc::model::Package;
using opc::model::PartName;
using opc::model::StandardPartInfo;
using opc::model::URI;
using opctest::childElements;
using opctest::MemoryPhysicalPackage;
using ::testing::UnorderedElementsAre;

const StandardPartInfo kDeflated(1, 0);

TEST(ContentTypeValidation, AcceptsMediaTypesWithParameters) {
  for (const char* text : {"application/xml", "application/vnd.x.velmorExecutable;platform=glnxa64",
                           "text/plain;charset=\"utf-8\"", "a/b;x=1;y=2"}) {
    EXPECT_EQ(ContentType(text).toString(), text);
  }
}

struct BadTypeRow {
  const char* label;
  const char* text;
  const char* reason;
};

class BadContentTypeTest : public ::testing::TestWithParam<BadTypeRow> {};

TEST_P(BadContentTypeTest, IsRefusedWithItsReason) {
  EXPECT_OPC_ERROR(ContentType{GetParam().text}, InvalidContentType, GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadContentTypeTest,
    ::testing::Values(BadTypeRow{"Empty", "", "it is empty"},
                      BadTypeRow{"NoSubtype", "text", "not followed by '/'"},
                      BadTypeRow{"EmptySubtype", "text/", "expected a subtype at offset 5"},
                      BadTypeRow{"WhiteSpace", "text/plain; charset=utf-8",
                                 "expected a parameter name at offset 11"},
                      BadTypeRow{"ParameterWithoutValue", "text/plain;charset", "has no '='"},
                      BadTypeRow{"UnclosedQuote", "text/plain;a=\"b", "not closed"}),
    opctest::RowLabel());

class ContentTypesWritingTest : public ::testing::Test {
 protected:
  void create(const std::vector<std::pair<std::u16string, std::string>>& parts) {
    Package package(container, true);
    package.open(OpenMode::Create);
    for (const auto& [name, type] : parts) {
      package.createPart(PartName(name), ContentType(type), kDeflated);
    }
    package.close(false);
  }
  MemoryPhysicalPackage container;
};

TEST_F(ContentTypesWritingTest, DefaultsAreTheCommonTypeOfAnExtensionOverridesTheRest) {
  create({{u"/a.txt", "text/plain"},
          {u"/special.TXT", "text/x-special"},
          {u"/b.Txt", "text/plain"},
          {u"/README", "text/plain"},
          {u"/tool.vxfa64", "application/x-exe;platform=glnxa64"},
          {u"/other.vxfa64", "application/x-exe"},
          {u"/more.vxfa64", "application/x-exe;platform=glnxa64"},
          {u"/trailing.", "text/plain"}});
  EXPECT_THAT(childElements(container.item("[Content_Types].xml")),
              UnorderedElementsAre("Default ContentType=text/plain Extension=txt",
                                   "Default ContentType=application/x-exe;platform=glnxa64 "
                                   "Extension=vxfa64",
                                   "Override ContentType=text/x-special PartName=/special.TXT",
                                   "Override ContentType=text/plain PartName=/README",
                                   "Override ContentType=application/x-exe PartName=/other.vxfa64",
                                   "Override ContentType=text/plain PartName=/trailing."));
}

TEST_F(ContentTypesWritingTest, OverridePartNamesAreTheEncodedItemNames) {
  std::u16string name = u"/" + URI::encodeComponent(u"dir x/\u00e9#1", "/");
  create({{name, "application/octet-stream"}});
  EXPECT_TRUE(container.hasItem("dir%20x/%C3%A9%231"));
  EXPECT_THAT(childElements(container.item("[Content_Types].xml")),
              UnorderedElementsAre(
                  "Override ContentType=application/octet-stream PartName=/dir%20x/%C3%A9%231"));
}

TEST_F(ContentTypesWritingTest, TypesReadBackExactlyAsWritten) {
  create({{u"/a.txt", "text/plain"},
          {u"/B.TXT", "Text/Plain"},
          {u"/x.vxfa64", "application/x-exe;platform=glnxa64"}});
  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(package.getPart(PartName(u"/a.txt")).getContentType().toString(), "text/plain");
  EXPECT_EQ(package.getPart(PartName(u"/b.txt")).getContentType().toString(), "Text/Plain");
  EXPECT_EQ(package.getPart(PartName(u"/x.vxfa64")).getContentType().toString(),
            "application/x-exe;platform=glnxa64");
}

class ContentTypesReadingTest : public ::testing::Test {
 protected:
  void types(const std::string& entries) { container.addContentTypes(entries); }
  MemoryPhysicalPackage container;
};

TEST_F(ContentTypesReadingTest, OverridesComeFirstAndNamesCompareIgnoringCase) {
  types(
      "<Default Extension='XML' ContentType='application/xml'/>"
      "<Override PartName='/DIR/A.xml' ContentType='application/special+xml'/>");
  container.addItem("dir/a.xml", "");
  container.addItem("dir/B.Xml", "");
  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(package.getPart(PartName(u"/dir/a.xml")).getContentType().toString(),
            "application/special+xml");
  EXPECT_EQ(package.getPart(PartName(u"/dir/B.Xml")).getContentType().toString(),
            "application/xml");
}

TEST_F(ContentTypesReadingTest, ItemsWithoutAContentTypeAreNoParts) {
  types("<Default Extension='txt' ContentType='text/plain'/>");
  container.addItem("a.txt", "");
  container.addItem("notes", "");
  container.addItem("b.unknown", "");
  Package package(container, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(package.getParts().size(), 1u);
  EXPECT_FALSE(package.hasPart(PartName(u"/notes")));
  EXPECT_FALSE(package.hasPart(PartName(u"/b.unknown")));
}

struct DuplicateRow {
  const char* label;
  const char* entries;
  const char* message;
};

class DuplicateContentTypesTest : public ::testing::TestWithParam<DuplicateRow> {};

TEST_P(DuplicateContentTypesTest, AreRefusedInBothModes) {
  MemoryPhysicalPackage container;
  container.addContentTypes(GetParam().entries);
  for (bool strict : {true, false}) {
    Package package(container, strict);
    EXPECT_OPC_ERROR(package.open(OpenMode::Read), InvalidPackage, GetParam().message);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, DuplicateContentTypesTest,
    ::testing::Values(
        DuplicateRow{"Defaults",
                     "<Default Extension='xml' ContentType='a/b'/>"
                     "<Default Extension='XML' ContentType='a/c'/>",
                     "memory.kzf:[Content_Types].xml: two Default entries for \"XML\""},
        DuplicateRow{"Overrides",
                     "<Override PartName='/a/B' ContentType='a/b'/>"
                     "<Override PartName='/A/b' ContentType='a/b'/>",
                     "memory.kzf:[Content_Types].xml: two Override entries for \"/A/b\""}),
    opctest::RowLabel());

TEST_F(ContentTypesReadingTest, StrictRefusesWhatLenientSkips) {
  types(
      "<Default Extension='txt' ContentType='text/plain'/>"
      "<Default Extension='bad' ContentType='not a type'/>"
      "<Unknown/>");
  container.addItem("a.txt", "");
  container.addItem("b.bad", "");
  Package strict(container, true);
  EXPECT_OPC_ERROR(strict.open(OpenMode::Read), InvalidContentType, "\"not a type\"");
  Package lenient(container, false);
  lenient.open(OpenMode::Read);
  EXPECT_EQ(lenient.getParts().size(), 1u);
}

}  // namespace
