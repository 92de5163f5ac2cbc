// The UTF-8 name flag: set exactly for names with non-ASCII bytes that form valid UTF-8, in the
// local and the central header alike, so that other tools show such names correctly.
#include <gtest/gtest.h>

#include "RowLabel.hpp"
#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

struct NameRow {
  std::string label;
  std::string name;
  bool utf8Flag;
};

class ZipNameFlagTest : public ZipTest, public ::testing::WithParamInterface<NameRow> {};

TEST_P(ZipNameFlagTest, IsSetOnlyForValidNonAsciiUtf8) {
  writePackage(packagePath(), {{GetParam().name, "x"}});
  const EntryLayout entry = parseZip(readBytes(packagePath())).entries.at(0);
  EXPECT_EQ(entry.central.name, GetParam().name);
  EXPECT_EQ((entry.central.flags & 0x0800) != 0, GetParam().utf8Flag);
  EXPECT_EQ((entry.local.flags & 0x0800) != 0, GetParam().utf8Flag);
}

INSTANTIATE_TEST_SUITE_P(Names, ZipNameFlagTest,
                         ::testing::Values(NameRow{"Ascii", "app/f.m", false},
                                           NameRow{"TwoByteUtf8", "caf\xc3\xa9.m", true},
                                           NameRow{"FourByteUtf8", "emoji/\xf0\x9f\x98\x80", true},
                                           NameRow{"Latin1Byte", "caf\xe9.m", false},
                                           NameRow{"TruncatedUtf8", "caf\xc3", false}),
                         RowLabel());

}  // namespace
}  // namespace kzftest
