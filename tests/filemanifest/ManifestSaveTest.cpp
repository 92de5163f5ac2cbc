// Saving the file manifest: the exact text written, refusals that leave the stream untouched,
// and round trips through a load.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "FileManifestTestSupport.hpp"
#include "KzfErrorMatchers.hpp"
#include "RowLabel.hpp"

namespace {

using namespace Quorlith::kzfpackage;
namespace pt = boost::posix_time;

class ManifestSaveTest : public kzftest::FileManifestTest {};

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

// Entries a manifest cannot hold: the save fails naming why, writes nothing, and the next
// manifest the serializer writes is whole.
struct UnwritableRow {
  std::string label;
  std::u16string name;
  int type;  // a KZFFileEntryType, 3 being none of them
  const char* identifier;
  const char* fragment;
};

class UnwritableEntryTest : public ManifestSaveTest,
                            public ::testing::WithParamInterface<UnwritableRow> {};

TEST_P(UnwritableEntryTest, FailsWritingNothingAndTheSerializerWritesOnAfterwards) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  manager.addEntry(
      u"b", KZFFileEntry(GetParam().name, u"/b", static_cast<KZFFileEntryType>(GetParam().type)));
  kzftest::StringOutputStream out;
  EXPECT_KZF_ERROR_WITH(serializer.save(out, manager), GetParam().identifier, GetParam().fragment);
  EXPECT_EQ(out.text, "");
  EXPECT_EQ(load(save(KZFExtractionManager())).size(), 0u);
}

constexpr int kFile = static_cast<int>(KZFFileEntryType::File);
constexpr const char* kBadText = "invalid or illegal XML character";
const UnwritableRow kUnwritable[] = {
    {"UnsupportedKind", u"dev/null", 3, "KZFPACKAGE_FILE_TYPE_UNSUPPORTED", "dev/null"},
    {"ControlCharacter", u"b\x01", kFile, "KZFPACKAGE_ERROR_WRITE_XML", kBadText},
    {"LoneHighSurrogate", u"b\xD800", kFile, "KZFPACKAGE_ERROR_WRITE_XML", kBadText},
    {"SurrogatesInTheWrongOrder", u"b\xDC00\xD800", kFile, "KZFPACKAGE_ERROR_WRITE_XML", kBadText},
    {"NonCharacterFFFE", u"b\xFFFE", kFile, "KZFPACKAGE_ERROR_WRITE_XML", kBadText}};
INSTANTIATE_TEST_SUITE_P(Entries, UnwritableEntryTest, ::testing::ValuesIn(kUnwritable),
                         kzftest::RowLabel());

TEST_F(ManifestSaveTest, AFailingStreamsOwnErrorPassesUnchanged) {
  KZFExtractionManager manager;
  manager.addEntry(u"a", KZFFileEntry(u"a", u"/a", KZFFileEntryType::File));
  kzftest::FailingOutputStream out;
  EXPECT_THAT([&] { serializer.save(out, manager); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::StrEq(kzftest::FailingOutputStream::kFullDiskMessage)));
}

// Keys sort by UTF-16 code unit (a prefix first, upper case before lower, the surrogate pair of
// U+1F600 before U+FF21), and the first entry added under a key stays.
TEST(ExtractionManagerOrder, FirstEntryUnderAKeyWinsAndKeysSortByCodeUnit) {
  KZFExtractionManager manager;
  for (const std::u16string key : {u"b", u"a", u"ab", u"B", u"A", u"a/b", u"a.b", u"a0", u"a/",
                                   u"\uFF21", u"\U0001F600", u"\u00e9"}) {
    manager.addEntry(key, KZFFileEntry(key, u"/" + key, KZFFileEntryType::File));
    manager.addEntry(key, KZFFileEntry(u"second", u"/", KZFFileEntryType::Folder));
  }
  std::vector<std::u16string> names;
  for (const auto& entry : manager.getEntries()) names.push_back(entry.getName());
  EXPECT_EQ(names, (std::vector<std::u16string>{u"A", u"B", u"a", u"a.b", u"a/", u"a/b", u"a0",
                                                u"ab", u"b", u"\u00e9", u"\U0001F600", u"\uFF21"}));
}

}  // namespace
