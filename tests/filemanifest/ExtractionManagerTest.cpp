// The extraction manager: first entry wins, entries come back in key (code unit) order.
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <string>
#include <vector>

namespace {

using Quorlith::kzfpackage::KZFExtractionManager;
using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;

KZFFileEntry fileNamed(const fl::i18n::ustring& name) {
  return KZFFileEntry(name, u"/" + name, KZFFileEntryType::File);
}

std::vector<fl::i18n::ustring> namesOf(const KZFExtractionManager& manager) {
  std::vector<fl::i18n::ustring> names;
  for (const auto& entry : manager.getEntries()) names.push_back(entry.getName());
  return names;
}

TEST(ExtractionManagerTest, FirstEntryUnderAKeyWins) {
  KZFExtractionManager manager;
  KZFFileEntry first(u"app/f.m", u"/app/f.m", KZFFileEntryType::File);
  first.setPermission(0100644);
  first.setDate(boost::posix_time::ptime(boost::gregorian::date(2010, 5, 6)));
  manager.addEntry(u"/app/f.m", first);
  manager.addEntry(u"/app/f.m", KZFFileEntry(u"other", u"/other", KZFFileEntryType::Folder));

  const auto entries = manager.getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getName(), u"app/f.m");
  EXPECT_EQ(entries[0].getContent(), u"/app/f.m");
  EXPECT_EQ(entries[0].getType(), KZFFileEntryType::File);
  EXPECT_EQ(entries[0].getPermission(), 0100644);
  ASSERT_TRUE(entries[0].getDate().has_value());
  EXPECT_EQ(*entries[0].getDate(), *first.getDate());
}

struct OrderRow {
  const char* label;
  std::vector<fl::i18n::ustring> added;
  std::vector<fl::i18n::ustring> expected;
};

class ExtractionManagerOrderTest : public ::testing::TestWithParam<OrderRow> {};

TEST_P(ExtractionManagerOrderTest, EntriesComeBackInKeyOrder) {
  KZFExtractionManager manager;
  for (const auto& key : GetParam().added) manager.addEntry(key, fileNamed(key));
  EXPECT_EQ(namesOf(manager), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ExtractionManagerOrderTest,
    ::testing::Values(
        OrderRow{"PrefixBeforeLongerKey", {u"b", u"a", u"ab"}, {u"a", u"ab", u"b"}},
        OrderRow{"UpperCaseBeforeLowerCase", {u"a", u"B", u"A", u"b"}, {u"A", u"B", u"a", u"b"}},
        OrderRow{
            "SeparatorsByCodeUnit", {u"a/b", u"a.b", u"a0", u"a/"}, {u"a.b", u"a/", u"a/b", u"a0"}},
        // Code unit order, not code point order: the surrogate pair of U+1F600 (D83D DE00)
        // sorts before U+FF21, although the code point is larger.
        OrderRow{"SurrogatePairBeforeHighBmpCharacter",
                 {u"\uFF21", u"\U0001F600", u"\u00e9"},
                 {u"\u00e9", u"\U0001F600", u"\uFF21"}}),
    [](const ::testing::TestParamInfo<OrderRow>& row) { return row.param.label; });

}  // namespace
