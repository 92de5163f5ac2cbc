// File entries: fixed kind numbers, the optional date and the unmasked permission bits.
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <kzfpackage/KZFFileEntry.hpp>
#include <type_traits>

namespace {

using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
namespace pt = boost::posix_time;

// The manifest maps these numbers to words; the link kind precedes the folder kind.
static_assert(std::is_same_v<std::underlying_type_t<KZFFileEntryType>, std::int32_t>);
static_assert(static_cast<int>(KZFFileEntryType::File) == 0);
static_assert(static_cast<int>(KZFFileEntryType::SymLink) == 1);
static_assert(static_cast<int>(KZFFileEntryType::Folder) == 2);
static_assert(!std::is_default_constructible_v<KZFFileEntry>);
static_assert(std::has_virtual_destructor_v<KZFFileEntry>);

TEST(FileEntryTest, NewEntryHasNoDateAndNoPermission) {
  KZFFileEntry entry(u"app/f.m", u"/app/f.m", KZFFileEntryType::File);
  EXPECT_FALSE(entry.getDate().has_value());
  EXPECT_EQ(entry.getPermission(), 0);
}

TEST(FileEntryTest, SetDateMakesTheDatePresentAndASecondCallReplacesIt) {
  KZFFileEntry entry(u"app", u"app", KZFFileEntryType::Folder);
  const pt::ptime first(boost::gregorian::date(2001, 2, 3), pt::hours(4) + pt::minutes(5));
  const pt::ptime second(boost::gregorian::date(2038, 1, 19), pt::seconds(11648));
  entry.setDate(first);
  ASSERT_TRUE(entry.getDate().has_value());
  EXPECT_EQ(*entry.getDate(), first);
  entry.setDate(second);
  EXPECT_EQ(*entry.getDate(), second);
}

TEST(FileEntryTest, NotADateTimeStillCountsAsASetDate) {
  KZFFileEntry entry(u"l", u"/l", KZFFileEntryType::SymLink);
  entry.setDate(pt::ptime(boost::date_time::not_a_date_time));
  ASSERT_TRUE(entry.getDate().has_value());
  EXPECT_TRUE(entry.getDate()->is_not_a_date_time());
}

TEST(FileEntryTest, PermissionIsStoredWithoutMasking) {
  KZFFileEntry entry(u"f", u"/f", KZFFileEntryType::File);
  entry.setPermission(0170777);  // file-type bits with the access bits
  EXPECT_EQ(entry.getPermission(), 0170777);
  entry.setPermission(0xFFFF);  // set-id and sticky bits too
  EXPECT_EQ(entry.getPermission(), 0xFFFF);
}

}  // namespace
