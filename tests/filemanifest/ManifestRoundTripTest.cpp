// Saving a manager and loading the text back gives the same entries, keyed by their names.
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <string>
#include <vector>

#include "FileManifestTestSupport.hpp"

namespace {

using fl::i18n::ustring;
using Quorlith::kzfpackage::KZFExtractionManager;
using Quorlith::kzfpackage::KZFExtractionSerializer;
using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
namespace pt = boost::posix_time;
namespace greg = boost::gregorian;

class ManifestRoundTripTest : public kzftest::FileManifestTest {};

// Dates the manifest must carry unchanged: fractions down to the microsecond, the 32-bit
// time_t limit and beyond, and before the epoch.
const std::vector<pt::ptime> kDates = {
    pt::ptime(greg::date(2012, 7, 24), pt::time_duration(10, 20, 30)),
    pt::ptime(greg::date(2001, 2, 3), pt::time_duration(4, 5, 6) + pt::microsec(7)),
    pt::ptime(greg::date(2011, 12, 31), pt::time_duration(23, 59, 59) + pt::millisec(999)),
    pt::ptime(greg::date(2038, 1, 19), pt::time_duration(3, 14, 8)),
    pt::ptime(greg::date(2106, 2, 7), pt::time_duration(6, 28, 16) + pt::microsec(500000)),
    pt::ptime(greg::date(9999, 12, 30), pt::time_duration(23, 0, 0)),  // + up to an hour
    pt::ptime(greg::date(1969, 12, 31), pt::time_duration(23, 59, 59)),
    pt::ptime(greg::date(1970, 1, 1)),
};

const std::vector<ustring> kNameStems = {
    u"app/f.m",          u"a&b<c>\"d'e",      u"\u00fcber/\u65e5\u672c\u8a9e",
    u"emoji \U0001F600", u"spaces  and\ttab", u"..",
    u"x%20y#z?q"};

/// Entry `i` of a large, varied manager: all kinds, every date above or none, and a spread
/// of permission bits (0 among them).
KZFFileEntry variedEntry(int i) {
  const ustring name =
      kNameStems[i % kNameStems.size()] + u"/" + fl::i18n::to_ustring(std::to_string(i));
  KZFFileEntry entry(name, u"/part/" + fl::i18n::to_ustring(std::to_string(i)),
                     static_cast<KZFFileEntryType>(i % 3));
  if (i % 5 != 0) entry.setDate(kDates[i % kDates.size()] + pt::seconds(i));
  entry.setPermission(static_cast<unsigned short>((i * 2654435761u) % 0x10000));
  return entry;
}

void expectSameEntry(const KZFFileEntry& loaded, const KZFFileEntry& saved) {
  EXPECT_EQ(loaded.getName(), saved.getName());
  EXPECT_EQ(loaded.getContent(), saved.getContent());
  EXPECT_EQ(loaded.getType(), saved.getType());
  EXPECT_EQ(loaded.getPermission(), saved.getPermission());
  ASSERT_TRUE(loaded.getDate().has_value());
  if (saved.getDate()) {
    EXPECT_EQ(*loaded.getDate(), *saved.getDate());
  } else {
    EXPECT_TRUE(loaded.getDate()->is_not_a_date_time());
  }
}

TEST_F(ManifestRoundTripTest, ManyVariedEntriesComeBackUnchanged) {
  KZFExtractionManager saved;
  // Keyed by name, so that the saved and the loaded order agree.
  for (int i = 0; i < 3000; ++i) {
    KZFFileEntry entry = variedEntry(i);
    saved.addEntry(entry.getName(), entry);
  }
  const KZFExtractionManager loaded = load(save(saved));
  EXPECT_EQ(printed, "");
  const auto before = saved.getEntries();
  const auto after = loaded.getEntries();
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    SCOPED_TRACE(fl::i18n::to_string(before[i].getName()));
    expectSameEntry(after[i], before[i]);
  }
}

TEST_F(ManifestRoundTripTest, LoadedEntriesAreKeyedByNameNotByTheSavedKeys) {
  KZFExtractionManager saved;
  saved.addEntry(u"/1", KZFFileEntry(u"zeta", u"/1", KZFFileEntryType::File));
  saved.addEntry(u"/2", KZFFileEntry(u"alpha", u"/2", KZFFileEntryType::File));
  // Two keys, one name: only the first entry in key order survives the load.
  saved.addEntry(u"/3", KZFFileEntry(u"zeta", u"/3", KZFFileEntryType::Folder));
  const auto entries = load(save(saved)).getEntries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].getName(), u"alpha");
  EXPECT_EQ(entries[1].getName(), u"zeta");
  EXPECT_EQ(entries[1].getContent(), u"/1");
}

}  // namespace
