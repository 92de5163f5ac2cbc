// File entries: the optional date and the unmasked permission bits.
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <kzfpackage/KZFFileEntry.hpp>

namespace {

using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
namespace pt = boost::posix_time;

TEST(FileEntryTest, NotADateTimeStillCountsAsASetDate) {
  KZFFileEntry entry(u"l", u"/l", KZFFileEntryType::SymLink);
  EXPECT_FALSE(entry.getDate().has_value());
  entry.setDate(pt::ptime(boost::date_time::not_a_date_time));
  ASSERT_TRUE(entry.getDate().has_value());
  EXPECT_TRUE(entry.getDate()->is_not_a_date_time());
}

TEST(FileEntryTest, PermissionIsStoredWithoutMasking) {
  KZFFileEntry entry(u"f", u"/f", KZFFileEntryType::File);
  EXPECT_EQ(entry.getPermission(), 0);
  entry.setPermission(0xFFFF);  // file-type, set-id and sticky bits with the access bits
  EXPECT_EQ(entry.getPermission(), 0xFFFF);
}

}  // namespace
