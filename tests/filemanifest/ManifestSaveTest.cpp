// Saving the file manifest: the root's attributes, one element per entry in key order, optional
// date and permissions, and refusals that leave the stream untouched.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <ostream>
#include <stdexcept>
#include <string>

#include "FileManifestTestSupport.hpp"
#include "KzfErrorMatchers.hpp"

namespace {

using kzftest::Attributes;
using kzftest::readWritten;
using Quorlith::kzfpackage::KZFExtractionManager;
using Quorlith::kzfpackage::KZFExtractionSerializer;
using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
using ::testing::HasSubstr;
using ::testing::Not;
namespace pt = boost::posix_time;

class ManifestSaveTest : public kzftest::FileManifestTest {};

TEST_F(ManifestSaveTest, EmptyManagerWritesTheRootWithBothAttributesAndNoChildren) {
  const auto written = readWritten(save(KZFExtractionManager()));
  EXPECT_EQ(written.rootName, "fileEntries");
  EXPECT_EQ(written.rootNamespace, KZFExtractionSerializer::NAMESPACE);
  EXPECT_EQ(written.rootAttributes,
            (Attributes{{"platform", KZF_PLATFORM_TAG}, {"encoding", kzftest::localeEncoding()}}));
  EXPECT_TRUE(written.entries.empty());
}

TEST_F(ManifestSaveTest, EntriesFollowTheManagersKeyOrderUnprefixedInTheRootsNamespace) {
  KZFExtractionManager manager;
  manager.addEntry(u"/2", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  manager.addEntry(u"/1", KZFFileEntry(u"z", u"/z", KZFFileEntryType::Folder));
  manager.addEntry(u"/3", KZFFileEntry(u"m", u"/m", KZFFileEntryType::SymLink));
  const std::string text = save(manager);
  EXPECT_THAT(text, HasSubstr(std::string("<fileEntries xmlns=\"") +
                              KZFExtractionSerializer::NAMESPACE + "\""));
  EXPECT_THAT(text, HasSubstr("<fileEntry "));
  EXPECT_THAT(text, Not(HasSubstr("xmlns=\"\"")));  // no undeclaration on the entries
  const auto written = readWritten(text);
  EXPECT_EQ(written.childNamespaces,
            std::vector<std::string>(3, KZFExtractionSerializer::NAMESPACE));
  ASSERT_EQ(written.entries.size(), 3u);
  EXPECT_EQ(written.entries[0], (Attributes{{"name", "z"}, {"content", "/z"}, {"type", "Folder"}}));
  EXPECT_EQ(written.entries[1], (Attributes{{"name", "a"}, {"content", "/a"}, {"type", "File"}}));
  EXPECT_EQ(written.entries[2],
            (Attributes{{"name", "m"}, {"content", "/m"}, {"type", "SymLink"}}));
}

TEST_F(ManifestSaveTest, DateIsWrittenInUtcWithItsFractionAndOnlyWhenPresent) {
  KZFExtractionManager manager;
  KZFFileEntry dated(u"dated", u"/dated", KZFFileEntryType::File);
  dated.setDate(pt::ptime(boost::gregorian::date(2040, 2, 29),
                          pt::hours(23) + pt::minutes(59) + pt::seconds(58) + pt::millisec(250)));
  KZFFileEntry notATime(u"nat", u"/nat", KZFFileEntryType::File);
  notATime.setDate(pt::ptime(pt::not_a_date_time));  // present, but its text is empty
  manager.addEntry(u"1", dated);
  manager.addEntry(u"2", notATime);
  manager.addEntry(u"3", KZFFileEntry(u"undated", u"/undated", KZFFileEntryType::File));

  const auto written = readWritten(save(manager));
  ASSERT_EQ(written.entries.size(), 3u);
  EXPECT_EQ(written.entries[0].at("date"), "2040-02-29T23:59:58.25Z");
  EXPECT_EQ(written.entries[1].count("date"), 0u);
  EXPECT_EQ(written.entries[2].count("date"), 0u);
}

struct PermissionRow {
  const char* label;
  unsigned short permission;
  const char* written;  // nullptr: no attribute
  friend void PrintTo(const PermissionRow& row, std::ostream* os) { *os << row.label; }
};

class ManifestPermissionSaveTest : public ManifestSaveTest,
                                   public ::testing::WithParamInterface<PermissionRow> {};

TEST_P(ManifestPermissionSaveTest, PermissionIsWrittenInDecimalUnlessZero) {
  KZFExtractionManager manager;
  KZFFileEntry entry(u"f", u"/f", KZFFileEntryType::File);
  entry.setPermission(GetParam().permission);
  manager.addEntry(u"f", entry);
  const Attributes attributes = readWritten(save(manager)).entries.at(0);
  if (GetParam().written == nullptr) {
    EXPECT_EQ(attributes.count("permissions"), 0u);
  } else {
    EXPECT_EQ(attributes.at("permissions"), GetParam().written);
  }
}

INSTANTIATE_TEST_SUITE_P(Values, ManifestPermissionSaveTest,
                         ::testing::Values(PermissionRow{"ZeroIsNotWritten", 0, nullptr},
                                           PermissionRow{"Mode0644", 420, "420"},
                                           PermissionRow{"Mode0755", 0755, "493"},
                                           PermissionRow{"WithFileTypeBits", 0100644, "33188"}),
                         [](const ::testing::TestParamInfo<PermissionRow>& row) {
                           return row.param.label;
                         });

TEST_F(ManifestSaveTest, UnsupportedKindIsRefusedWithTheEntryNameAndNothingIsWritten) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  manager.addEntry(u"b", KZFFileEntry(u"dev/null", u"/b", static_cast<KZFFileEntryType>(3)));
  kzftest::StringOutputStream out;
  EXPECT_KZF_ERROR_WITH(serializer.save(out, manager), "KZFPACKAGE_FILE_TYPE_UNSUPPORTED",
                        "dev/null");
  EXPECT_EQ(out.text, "");
}

// The exact text the manifest has always been written as: declaration, root with its namespace
// declaration first, attributes in name order, escapes only where XML needs them (tab, line
// feed and carriage return as references so that they survive a reader's normalisation), every
// other character as UTF-8, and a value cut at its first NUL.
TEST_F(ManifestSaveTest, TrickyEntriesAreWrittenByteForByteAsBefore) {
  KZFExtractionManager manager;
  KZFFileEntry quoted(u"a&b<c>\"d'e", u"/a&b<c>\"d'e", KZFFileEntryType::File);
  quoted.setDate(pt::ptime(boost::gregorian::date(2012, 7, 24), pt::time_duration(10, 20, 30)));
  quoted.setPermission(0100644);
  manager.addEntry(u"1", quoted);
  KZFFileEntry blanks(u"tab\there\nnl\rcr", u"/t", KZFFileEntryType::Folder);
  blanks.setDate(pt::ptime(boost::gregorian::date(2040, 2, 29),
                           pt::hours(23) + pt::minutes(59) + pt::seconds(58) + pt::millisec(250)));
  manager.addEntry(u"2", blanks);
  KZFFileEntry wide(u"\u00fcber/\u65e5\u672c/emoji \U0001F600", u"/u", KZFFileEntryType::SymLink);
  wide.setPermission(0755);
  manager.addEntry(u"3", wide);
  manager.addEntry(u"4", KZFFileEntry(u"ctl\u007f\u0085\u2028\ufffd\U0010FFFF" +
                                          std::u16string(1, u'\0') + u"cut",
                                      u"/ctl", KZFFileEntryType::File));
  KZFFileEntry blank(u"", u"", KZFFileEntryType::File);
  blank.setDate(pt::ptime(pt::not_a_date_time));
  manager.addEntry(u"5", blank);

  const std::string root =
      std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>") +
      "<fileEntries xmlns=\"" + KZFExtractionSerializer::NAMESPACE + "\" encoding=\"" +
      kzftest::localeEncoding() + "\" platform=\"" + KZF_PLATFORM_TAG + "\"";
  EXPECT_EQ(save(manager),
            root +
                ">"
                "<fileEntry content=\"/a&amp;b&lt;c>&quot;d'e\" date=\"2012-07-24T10:20:30Z\""
                " name=\"a&amp;b&lt;c>&quot;d'e\" permissions=\"33188\" type=\"File\"/>"
                "<fileEntry content=\"/t\" date=\"2040-02-29T23:59:58.25Z\""
                " name=\"tab&#x9;here&#xA;nl&#xD;cr\" type=\"Folder\"/>"
                "<fileEntry content=\"/u\""
                " name=\"\xc3\xbc"
                "ber/\xe6\x97\xa5\xe6\x9c\xac/emoji \xf0\x9f\x98\x80\""
                " permissions=\"493\" type=\"SymLink\"/>"
                "<fileEntry content=\"/ctl\""
                " name=\"ctl\x7f\xc2\x85\xe2\x80\xa8\xef\xbf\xbd\xf4\x8f\xbf\xbf\" type=\"File\"/>"
                "<fileEntry content=\"\" name=\"\" type=\"File\"/>"
                "</fileEntries>");
  EXPECT_EQ(save(KZFExtractionManager()), root + "/>");
}

struct UnwritableRow {
  const char* label;
  std::u16string name;
  friend void PrintTo(const UnwritableRow& row, std::ostream* os) { *os << row.label; }
};

class UnwritableTextTest : public ManifestSaveTest,
                           public ::testing::WithParamInterface<UnwritableRow> {};

TEST_P(UnwritableTextTest, FailsWithWriteXmlWritingNothingAndTheSerializerWritesOnAfterwards) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  manager.addEntry(u"b", KZFFileEntry(u"b" + GetParam().name, u"/b", KZFFileEntryType::File));
  kzftest::StringOutputStream out;
  EXPECT_KZF_ERROR_WITH(serializer.save(out, manager), "KZFPACKAGE_ERROR_WRITE_XML",
                        "invalid or illegal XML character");
  EXPECT_EQ(out.text, "");
  // A failed save leaves nothing behind in the serializer: the next manifest is whole.
  EXPECT_EQ(readWritten(save(KZFExtractionManager())).rootNamespace,
            KZFExtractionSerializer::NAMESPACE);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UnwritableTextTest,
    ::testing::Values(UnwritableRow{"ControlCharacter", std::u16string(1, u'\x01')},
                      UnwritableRow{"Escape", std::u16string(1, u'\x1b')},
                      UnwritableRow{"LoneHighSurrogate", std::u16string(1, u'\xD800')},
                      UnwritableRow{"LoneLowSurrogate", std::u16string(1, u'\xDC00') + u"x"},
                      UnwritableRow{"SurrogatesInTheWrongOrder", u"\xDC00\xD800"},
                      UnwritableRow{"NonCharacterFFFE", std::u16string(1, u'\xFFFE')}),
    [](const ::testing::TestParamInfo<UnwritableRow>& row) { return row.param.label; });

TEST_F(ManifestSaveTest, AnUnsupportedKindIsReportedBeforeUnwritableText) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a\x01", u"/a", KZFFileEntryType::File));
  manager.addEntry(u"b", KZFFileEntry(u"dev/null", u"/b", static_cast<KZFFileEntryType>(3)));
  kzftest::StringOutputStream out;
  EXPECT_KZF_ERROR(serializer.save(out, manager), "KZFPACKAGE_FILE_TYPE_UNSUPPORTED");
}

TEST_F(ManifestSaveTest, AFailingStreamsOwnErrorPassesUnchanged) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  kzftest::FailingOutputStream out;
  try {
    serializer.save(out, manager);
    ADD_FAILURE() << "the write error was lost";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), kzftest::FailingOutputStream::kFullDiskMessage);
  }
}

}  // namespace
