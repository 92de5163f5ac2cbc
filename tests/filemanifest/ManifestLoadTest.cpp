// Loading the file manifest: warnings, type words, dates, permission texts, repeated names, and
// documents refused by the schema or the hardened parser.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "FileManifestTestSupport.hpp"
#include "KzfErrorMatchers.hpp"

namespace {

using kzftest::entryText;
using kzftest::manifestText;
using kzftest::warningLine;
using Quorlith::kzfpackage::KZFExtractionManager;
using Quorlith::kzfpackage::KZFExtractionSerializer;
using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
namespace ids = kzf::kzfpackage;

class ManifestLoadTest : public kzftest::FileManifestTest {};

TEST_F(ManifestLoadTest, EmptyManifestLoadsNoEntriesAndPrintsNothing) {
  EXPECT_TRUE(load(manifestText("")).empty());
  EXPECT_EQ(printed, "");
}

TEST_F(ManifestLoadTest, AValidManifestWithPrefixedElementsIsReadToo) {
  const std::string prefixed = std::string("<k:fileEntries xmlns:k=\"") +
                               KZFExtractionSerializer::NAMESPACE + "\" platform=\"" +
                               KZF_PLATFORM_TAG + "\" encoding=\"" + kzftest::localeEncoding() +
                               "\"><k:fileEntry name=\"a\" content=\"/a\" type=\"Folder\"/>"
                               "</k:fileEntries>";
  const auto entries = load(prefixed).getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getType(), KZFFileEntryType::Folder);
}

TEST_F(ManifestLoadTest, LoadReplacesWhatTheManagerHeld) {
  KZFExtractionManager manager;
  manager.addEntry(u"old", KZFFileEntry(u"old", u"/old", KZFFileEntryType::File));
  loadInto(manager, manifestText(entryText("new")));
  ASSERT_EQ(manager.size(), 1u);
  EXPECT_EQ(manager.getEntries()[0].getName(), u"new");
}

TEST_F(ManifestLoadTest, EntriesReadBeforeAnEntryThatCannotBeConvertedStay) {
  KZFExtractionManager manager;
  manager.addEntry(u"old", KZFFileEntry(u"old", u"/old", KZFFileEntryType::File));
  EXPECT_KZF_ERROR(loadInto(manager, manifestText(entryText("a") + entryText("b") +
                                                  entryText("c", "File", "permissions=\"rw\""))),
                   "KZFPACKAGE_INVALID_XML");
  ASSERT_EQ(manager.size(), 2u);
  EXPECT_EQ(manager.getEntries()[1].getName(), u"b");
}

// A document that is invalid or cut anywhere adds nothing: it is read and checked to its end
// before the first entry is added.
struct FailedLoadRow {
  const char* label;
  std::string document;
  friend void PrintTo(const FailedLoadRow& row, std::ostream* os) { *os << row.label; }
};

class FailedLoadTest : public kzftest::FileManifestTest,
                       public ::testing::WithParamInterface<FailedLoadRow> {};

TEST_P(FailedLoadTest, LeavesTheManagerAsItWas) {
  KZFExtractionManager manager;
  manager.addEntry(u"old", KZFFileEntry(u"old", u"/old", KZFFileEntryType::File));
  kzftest::TextInputStream in(GetParam().document);
  EXPECT_KZF_ERROR(serializer.load(in, manager), "KZFPACKAGE_INVALID_XML");
  ASSERT_EQ(manager.size(), 1u);
  EXPECT_EQ(manager.getEntries()[0].getName(), u"old");
}

INSTANTIATE_TEST_SUITE_P(
    Documents, FailedLoadTest,
    ::testing::Values(FailedLoadRow{"InvalidAfterValidEntries",
                                    manifestText(entryText("a") + entryText("b") + "<other/>")},
                      FailedLoadRow{"CutAfterValidEntries",
                                    [] {
                                      const std::string whole =
                                          manifestText(entryText("a") + entryText("b"));
                                      return whole.substr(0, whole.size() - 3);
                                    }()}),
    [](const ::testing::TestParamInfo<FailedLoadRow>& row) { return row.param.label; });

TEST_F(ManifestLoadTest, AValidationErrorComesBeforeAnEntryThatCannotBeConverted) {
  EXPECT_KZF_ERROR_WITH(
      load(manifestText(entryText("a", "File", "permissions=\"rw\"") + "<other/>")),
      "KZFPACKAGE_INVALID_XML", "other");
  EXPECT_EQ(printed, "");
}

TEST_F(ManifestLoadTest, AnEntryThatCannotBeConvertedFailsAfterTheWarnings) {
  EXPECT_KZF_ERROR(
      load(manifestText(entryText("a", "File", "permissions=\"rw\""), "otherplatform")),
      "KZFPACKAGE_INVALID_XML");
  EXPECT_EQ(printed, warningLine(ids::KZFPACKAGE_WARNING_PLATFORM_DIFFERENT()));
}

TEST_F(ManifestLoadTest, AttributeValuesAreTakenAsWrittenNotNormalisedByTheirType) {
  const auto entries =
      load(manifestText("<fileEntry name=\" a \" content=\" /a \" type=\"File\"/>")).getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getName(), u" a ");
  EXPECT_EQ(entries[0].getContent(), u" /a ");
}

TEST_F(ManifestLoadTest, TheSerializerStaysUsableAfterARefusedDocument) {
  EXPECT_KZF_ERROR(load("<fileEntries"), "KZFPACKAGE_INVALID_XML");
  EXPECT_KZF_ERROR(load(manifestText("<other/>")), "KZFPACKAGE_INVALID_XML");
  EXPECT_EQ(load(manifestText(entryText("a"))).size(), 1u);
}

TEST_F(ManifestLoadTest, EachDifferenceGivesOneWarningLineLocaleFirstAndTheLoadGoesOn) {
  const std::string platformLine = warningLine(ids::KZFPACKAGE_WARNING_PLATFORM_DIFFERENT());
  const std::string localeLine = warningLine(ids::KZFPACKAGE_WARNING_LOCALE_DIFFERENT());
  EXPECT_EQ(load(manifestText(entryText("a"), "otherplatform")).size(), 1u);
  EXPECT_EQ(printed, platformLine);
  EXPECT_EQ(load(manifestText(entryText("a"), KZF_PLATFORM_TAG, "ISO-8859-15")).size(), 1u);
  EXPECT_EQ(printed, localeLine);
  EXPECT_EQ(load(manifestText(entryText("a"), "otherplatform", "ISO-8859-15")).size(), 1u);
  EXPECT_EQ(printed, localeLine + platformLine);
}

// Permission texts: decimal cut to sixteen bits, or a failed load.

struct PermissionTextRow {
  const char* label;
  const char* text;
  std::optional<unsigned short> loaded;  // none: the whole load fails
  friend void PrintTo(const PermissionTextRow& row, std::ostream* os) { *os << row.label; }
};

class PermissionTextTest : public kzftest::FileManifestTest,
                           public ::testing::WithParamInterface<PermissionTextRow> {};

TEST_P(PermissionTextTest, LoadsAsDecimalCutToSixteenBitsOrFailsTheLoad) {
  const std::string xml =
      manifestText(entryText("a") +
                   entryText("f", "File", std::string("permissions=\"") + GetParam().text + "\""));
  if (!GetParam().loaded) {
    EXPECT_KZF_ERROR(load(xml), "KZFPACKAGE_INVALID_XML");
    return;
  }
  const auto entries = load(xml).getEntries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].getPermission(), *GetParam().loaded);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, PermissionTextTest,
    ::testing::Values(PermissionTextRow{"Decimal", "420", 420},
                      PermissionTextRow{"LowSixteenBitsOf70000", "70000", 4464},
                      PermissionTextRow{"LeadingZeroIsStillDecimal", "0755", 755},
                      PermissionTextRow{"LargestValue", "65535", 65535},
                      PermissionTextRow{"65536WrapsToZero", "65536", 0},
                      PermissionTextRow{"EmptyMeansNotRecorded", "", 0},
                      PermissionTextRow{"Symbolic", "rwxr-xr-x", std::nullopt},
                      PermissionTextRow{"TrailingLetter", "12a", std::nullopt},
                      PermissionTextRow{"LeadingBlank", " 420", std::nullopt},
                      PermissionTextRow{"Overflow", "99999999999999999999999", std::nullopt}),
    [](const ::testing::TestParamInfo<PermissionTextRow>& row) { return row.param.label; });

// Documents refused while parsing: not well-formed, not valid against the schema, or using
// what the hardened parser never allows.

struct RefusedRow {
  const char* label;
  std::string document;
  const char* fragment;  // part of the reason in the message
  friend void PrintTo(const RefusedRow& row, std::ostream* os) { *os << row.label; }
};

class RefusedDocumentTest : public kzftest::FileManifestTest,
                            public ::testing::WithParamInterface<RefusedRow> {};

TEST_P(RefusedDocumentTest, FailsWithInvalidXmlNamingTheReason) {
  KZFExtractionManager manager;
  EXPECT_KZF_ERROR_WITH(loadInto(manager, GetParam().document), "KZFPACKAGE_INVALID_XML",
                        GetParam().fragment);
  EXPECT_TRUE(manager.empty());
  EXPECT_EQ(printed, "");  // refused before any warning
}

const std::string kNs = KZFExtractionSerializer::NAMESPACE;
const std::string kRootAttributes =
    std::string(" platform=\"") + KZF_PLATFORM_TAG + "\" encoding=\"UTF-8\"";

INSTANTIATE_TEST_SUITE_P(
    Documents, RefusedDocumentTest,
    ::testing::Values(
        RefusedRow{"Empty", "", "filemanifest.xml"},
        RefusedRow{"Truncated", manifestText(entryText("a")).substr(0, 120), "filemanifest.xml"},
        RefusedRow{"MissingName", manifestText("<fileEntry content=\"/a\" type=\"File\"/>"),
                   "'name'"},
        RefusedRow{"MissingPlatform", "<fileEntries xmlns=\"" + kNs + "\" encoding=\"UTF-8\"/>",
                   "'platform'"},
        RefusedRow{"UnknownTypeWord", manifestText(entryText("a", "Directory")), "'Directory'"},
        // The schema refuses the word before the reader's own check would see it.
        RefusedRow{"LowerCaseFile", manifestText(entryText("a", "file")), "'file'"},
        RefusedRow{"UnknownElement", manifestText(entryText("a") + "<other/>"), "other"},
        RefusedRow{"DateNotADateTime", manifestText(entryText("a", "File", "date=\"yesterday\"")),
                   "yesterday"},
        RefusedRow{"WrongRootNamespace",
                   "<fileEntries xmlns=\"urn:other\"" + kRootAttributes + "/>", "fileEntries"},
        RefusedRow{"RootWithoutNamespace", "<fileEntries" + kRootAttributes + "/>", "fileEntries"},
        RefusedRow{"EntriesWithoutNamespace",
                   "<k:fileEntries xmlns:k=\"" + kNs + "\"" + kRootAttributes + ">" +
                       entryText("a") + "</k:fileEntries>",
                   "fileEntry"},
        RefusedRow{"InternalEntity",
                   "<!DOCTYPE fileEntries [<!ENTITY n \"x\">]><fileEntries xmlns=\"" + kNs + "\"" +
                       kRootAttributes + ">" + entryText("&n;") + "</fileEntries>",
                   "a DOCTYPE declaration is not allowed"},
        RefusedRow{"ExternalEntity",
                   "<!DOCTYPE fileEntries [<!ENTITY n SYSTEM \"file:///etc/passwd\">]>"
                   "<fileEntries xmlns=\"" +
                       kNs + "\"" + kRootAttributes + ">" + entryText("&n;") + "</fileEntries>",
                   "a DOCTYPE declaration is not allowed"}),
    [](const ::testing::TestParamInfo<RefusedRow>& row) { return row.param.label; });

TEST_F(ManifestLoadTest, ASchemaLocationHintIsNotFollowed) {
  const std::string hinted =
      "<fileEntries xmlns=\"" + kNs +
      "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:schemaLocation=\"" + kNs +
      " file:///nonexistent/other.xsd\"" + kRootAttributes + ">" + entryText("a") +
      "</fileEntries>";
  EXPECT_EQ(load(hinted).size(), 1u);
}

}  // namespace
