// Loading the file manifest: warnings, type words, dates, permission texts, repeated names, and
// documents refused by the schema or the hardened parser; XML attacks on every reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <optional>
#include <string>
#include <tuple>

#include "FileManifestTestSupport.hpp"
#include "KzfErrorMatchers.hpp"
#include "RowLabel.hpp"
#include "XmlAttacks.hpp"

namespace {

using kzftest::entryText;
using kzftest::manifestText;
using kzftest::warningLine;
using namespace Quorlith::kzfpackage;
namespace ids = kzf::kzfpackage;

class ManifestLoadTest : public kzftest::FileManifestTest {};

TEST_F(ManifestLoadTest, AValidManifestWithPrefixedElementsIsReadToo) {
  std::string prefixed = manifestText("<k:fileEntry name=\"a\" content=\"/a\" type=\"Folder\"/>");
  prefixed.replace(prefixed.find("<fileEntries xmlns="), 19, "<k:fileEntries xmlns:k=");
  prefixed.replace(prefixed.rfind("</"), 2, "</k:");
  const auto entries = load(prefixed).getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getType(), KZFFileEntryType::Folder);
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

// Permission texts: decimal cut to sixteen bits, or a failed load that keeps the warnings and
// the entries before the one it failed on.
struct PermissionTextRow {
  std::string label;
  const char* text;
  std::optional<unsigned short> loaded;  // none: the whole load fails
};

class PermissionTextTest : public kzftest::FileManifestTest,
                           public ::testing::WithParamInterface<PermissionTextRow> {};

TEST_P(PermissionTextTest, LoadsAsDecimalCutToSixteenBitsOrFailsAfterTheEntriesBefore) {
  const std::string xml = manifestText(
      entryText("a") +
          entryText("f", "File", std::string("permissions=\"") + GetParam().text + "\""),
      "otherplatform");
  KZFExtractionManager manager;
  manager.addEntry(u"old", KZFFileEntry(u"old", u"/old", KZFFileEntryType::File));
  if (GetParam().loaded) {
    loadInto(manager, xml);
    ASSERT_EQ(manager.size(), 2u);
    EXPECT_EQ(manager.getEntries()[1].getPermission(), *GetParam().loaded);
  } else {
    EXPECT_KZF_ERROR(loadInto(manager, xml), "KZFPACKAGE_INVALID_XML");
    ASSERT_EQ(manager.size(), 1u);
    EXPECT_EQ(manager.getEntries()[0].getName(), u"a");
  }
  EXPECT_EQ(printed, warningLine(ids::KZFPACKAGE_WARNING_PLATFORM_DIFFERENT()));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, PermissionTextTest,
    ::testing::Values(PermissionTextRow{"Decimal", "420", 420},
                      PermissionTextRow{"LeadingZeroIsStillDecimal", "0755", 755},
                      PermissionTextRow{"65536WrapsToZero", "65536", 0},
                      PermissionTextRow{"EmptyMeansNotRecorded", "", 0},
                      PermissionTextRow{"Symbolic", "rwxr-xr-x", std::nullopt},
                      PermissionTextRow{"TrailingLetter", "12a", std::nullopt},
                      PermissionTextRow{"LeadingBlank", " 420", std::nullopt},
                      PermissionTextRow{"Overflow", "99999999999999999999999", std::nullopt}),
    kzftest::RowLabel());

// Documents refused while parsing: not well-formed, not valid against the schema, or using
// what the hardened parser never allows.

struct RefusedRow {
  std::string label;
  std::string document;
  const char* fragment;  // part of the reason in the message
};

class RefusedDocumentTest : public kzftest::FileManifestTest,
                            public ::testing::WithParamInterface<RefusedRow> {};

// The document is read and checked to its end before the first entry replaces the old ones.
TEST_P(RefusedDocumentTest, FailsWithInvalidXmlNamingTheReasonAndLeavesTheManagerAsItWas) {
  KZFExtractionManager manager;
  manager.addEntry(u"old", KZFFileEntry(u"old", u"/old", KZFFileEntryType::File));
  kzftest::TextInputStream in(GetParam().document);
  kzftest::CoutCapture capture;
  EXPECT_KZF_ERROR_WITH(serializer.load(in, manager), "KZFPACKAGE_INVALID_XML",
                        GetParam().fragment);
  ASSERT_EQ(manager.size(), 1u);
  EXPECT_EQ(capture.text(), "");  // refused before any warning
}

const std::string kNs = KZFExtractionSerializer::NAMESPACE;
const std::string kRootAttributes =
    std::string(" platform=\"") + KZF_PLATFORM_TAG + "\" encoding=\"UTF-8\"";

INSTANTIATE_TEST_SUITE_P(
    Documents, RefusedDocumentTest,
    ::testing::Values(
        RefusedRow{"Empty", "", "filemanifest.xml"},
        RefusedRow{"CutAfterEntries",
                   [] {
                     const std::string whole = manifestText(entryText("a") + entryText("b"));
                     return whole.substr(0, whole.size() - 3);
                   }(),
                   "filemanifest.xml"},
        RefusedRow{"MissingName", manifestText("<fileEntry content=\"/a\" type=\"File\"/>"),
                   "'name'"},
        RefusedRow{"MissingPlatform", "<fileEntries xmlns=\"" + kNs + "\" encoding=\"UTF-8\"/>",
                   "'platform'"},
        RefusedRow{"UnknownTypeWord", manifestText(entryText("a", "Directory")), "'Directory'"},
        RefusedRow{"UnknownElementAfterEntries",
                   manifestText(entryText("a") + entryText("b") + "<other/>"), "other"},
        RefusedRow{"DateNotADateTime", manifestText(entryText("a", "File", "date=\"yesterday\"")),
                   "yesterday"},
        RefusedRow{"WrongRootNamespace",
                   "<fileEntries xmlns=\"urn:other\"" + kRootAttributes + "/>", "fileEntries"},
        RefusedRow{"EntriesWithoutNamespace",
                   "<k:fileEntries xmlns:k=\"" + kNs + "\"" + kRootAttributes + ">" +
                       entryText("a") + "</k:fileEntries>",
                   "fileEntry"}),
    kzftest::RowLabel());

// Both document readers refuse every attack before reading anything: the settings binding (over
// the tree parser) and the file manifest (over the stream reader).
using AttackRow = std::tuple<kzftest::XmlAttack, bool>;  // true: the file manifest

class XmlAttackTest : public kzftest::FileManifestTest,
                      public ::testing::WithParamInterface<AttackRow> {};

TEST_P(XmlAttackTest, IsRefusedByBothReaders) {
  const auto& [attack, fileManifest] = GetParam();
  const std::string body = manifestText(entryText("a")).substr(manifestText("").find("?>") + 2);
  kzftest::TextInputStream in(attack.prolog + body);
  KZFExtractionManager manager;
  KZFSettings settings;
  std::string refusal = "accepted";
  try {
    kzftest::CoutCapture capture;
    fileManifest ? serializer.load(in, manager) : KZFSettingsSerializer().load(in, settings);
  } catch (const fl::i18n::DeployedException& e) {
    refusal = e.identifier() + ": " + e.what();
  } catch (const std::exception& e) {
    refusal = e.what();
  }
  EXPECT_THAT(refusal, ::testing::HasSubstr(attack.reason));
  EXPECT_EQ(fileManifest, refusal.rfind("KZFPACKAGE_INVALID_XML", 0) == 0) << refusal;
  EXPECT_TRUE(manager.empty());
  EXPECT_EQ(settings.uuid, u"");
}

INSTANTIATE_TEST_SUITE_P(Attacks, XmlAttackTest,
                         ::testing::Combine(::testing::ValuesIn(kzftest::xmlAttacks("fileEntries")),
                                            ::testing::Bool()),
                         [](const ::testing::TestParamInfo<AttackRow>& row) {
                           return std::get<0>(row.param).label +
                                  (std::get<1>(row.param) ? "_FileManifest" : "_SettingsBinding");
                         });

}  // namespace
