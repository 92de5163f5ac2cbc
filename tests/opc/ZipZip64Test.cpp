// Zip64 records: written exactly where a size, offset or count needs them, exercised on small
// data through lowered limits, and always with local headers that agree with the directory.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

/// Each local header must agree with its central record on everything they share.
void expectHeadersAgree(const ZipLayout& layout) {
  for (const EntryLayout& e : layout.entries) {
    SCOPED_TRACE(e.central.name);
    EXPECT_EQ(e.local.name, e.central.name);
    EXPECT_EQ(e.local.version, e.central.version);
    EXPECT_EQ(e.local.flags, e.central.flags);
    EXPECT_EQ(e.local.method, e.central.method);
    EXPECT_EQ(e.local.dosTime, e.central.dosTime);
    EXPECT_EQ(e.local.crc, e.central.crc);
    EXPECT_EQ(e.local.size, e.central.size);
    EXPECT_EQ(e.local.compressedSize, e.central.compressedSize);
  }
}

TEST_F(ZipTest, OrdinaryPackagesHaveNoZip64RecordsAtAll) {
  writePackage(packagePath(), {{"a", sampleBytes(10000)}, {"b", "x", CompressionType::Stored}});
  ZipLayout layout = parseZip(readBytes(packagePath()));
  EXPECT_FALSE(layout.zip64End);
  expectHeadersAgree(layout);
  for (const EntryLayout& e : layout.entries) {
    EXPECT_EQ(e.central.version, 20);
    EXPECT_FALSE(e.local.zip64Block);
    EXPECT_FALSE(e.central.zip64Block);
  }
}

struct SizeCase {
  std::string name;
  TestItem item;
  bool zip64;
};

std::ostream& operator<<(std::ostream& out, const SizeCase& c) { return out << c.name; }

class ZipZip64Sizes : public ZipTest, public ::testing::WithParamInterface<SizeCase> {};

// With the size limit lowered to 1000 bytes, an item reaching it in either size needs Zip64
// blocks in both its headers, whatever its size hint said; any other item has none.
TEST_P(ZipZip64Sizes, BlocksExactlyWhereASizeReachesTheLimit) {
  Zip64Limits limits;
  limits.size = 1000;
  std::vector<TestItem> items = {{"before", sampleBytes(100, 1)},
                                 GetParam().item,
                                 {"after", sampleBytes(200, 2), CompressionType::Stored}};
  writePackage(packagePath(), items, limits);

  ZipLayout layout = parseZip(readBytes(packagePath()));
  expectHeadersAgree(layout);
  const EntryLayout& e = entryNamed(layout, GetParam().item.name);
  EXPECT_EQ(e.local.zip64Block, GetParam().zip64);
  EXPECT_EQ(e.central.zip64Block, GetParam().zip64);
  EXPECT_EQ(e.central.version, GetParam().zip64 ? 45 : 20);
  EXPECT_EQ(e.central.size, GetParam().item.content.size());
  for (const char* other : {"before", "after"}) {
    EXPECT_FALSE(entryNamed(layout, other).local.zip64Block) << other;
    EXPECT_FALSE(entryNamed(layout, other).central.zip64Block) << other;
  }
  EXPECT_EQ(readPackage(packagePath()), contentsOf(items));
  expectValidZip(packagePath());
}

INSTANTIATE_TEST_SUITE_P(
    Zip, ZipZip64Sizes,
    ::testing::Values(SizeCase{"StoredUnannouncedGrowsPastTheLimit",
                               {"item", sampleBytes(5000, 3), CompressionType::Stored, 0},
                               true},
                      SizeCase{"DeflatedUnannouncedGrowsPastTheLimit",
                               {"item", sampleBytes(50000, 3), CompressionType::Deflated, 0},
                               true},
                      SizeCase{"CompressedSmallButUncompressedLarge",
                               {"item", std::string(20000, 'z'), CompressionType::Deflated, 0},
                               true},
                      SizeCase{"AnnouncedAndLarge",
                               {"item", sampleBytes(5000, 4), CompressionType::Stored, 5000},
                               true},
                      SizeCase{"AnnouncedLargeButSmall",
                               {"item", sampleBytes(300, 5), CompressionType::Deflated, 1u << 20},
                               false},
                      SizeCase{"JustBelowTheLimit",
                               {"item", sampleBytes(999, 6), CompressionType::Stored, 0},
                               false},
                      SizeCase{"ExactlyAtTheLimit",
                               {"item", sampleBytes(1000, 7), CompressionType::Stored, 0},
                               true}),
    [](const ::testing::TestParamInfo<SizeCase>& row) { return row.param.name; });

TEST_F(ZipTest, ItemsStartingBeyondTheOffsetLimitGetAZip64Offset) {
  Zip64Limits limits;
  limits.offset = 3000;
  std::vector<TestItem> items;
  for (int i = 0; i < 6; ++i) {
    items.push_back({"item" + std::to_string(i), sampleBytes(1000, i), CompressionType::Stored});
  }
  writePackage(packagePath(), items, limits);

  ZipLayout layout = parseZip(readBytes(packagePath()));
  expectHeadersAgree(layout);
  EXPECT_TRUE(layout.zip64End) << "the directory starts beyond the limit too";
  for (const EntryLayout& e : layout.entries) {
    SCOPED_TRACE(e.central.name);
    bool beyond = e.localOffset >= 3000;
    EXPECT_EQ(e.central.zip64Block, beyond);
    EXPECT_FALSE(e.local.zip64Block) << "sizes stay in their 32-bit fields";
    EXPECT_EQ(e.central.version, beyond ? 45 : 20);
  }
  EXPECT_EQ(readPackage(packagePath()), contentsOf(items));
  expectValidZip(packagePath());
}

TEST_F(ZipTest, SizesAndOffsetInOneZip64BlockKeepTheirOrder) {
  Zip64Limits limits;
  limits.size = 1000;
  limits.offset = 1500;
  limits.entries = 3;
  std::vector<TestItem> items = {{"small", "tiny"},
                                 {"large-early", sampleBytes(1500, 1), CompressionType::Stored},
                                 {"large-late", sampleBytes(4000, 2), CompressionType::Deflated},
                                 {"small-late", "tiny too", CompressionType::Stored}};
  writePackage(packagePath(), items, limits);

  ZipLayout layout = parseZip(readBytes(packagePath()));
  expectHeadersAgree(layout);
  EXPECT_TRUE(layout.zip64End);
  const EntryLayout& late = entryNamed(layout, "large-late");
  EXPECT_GE(late.localOffset, 1500u);
  EXPECT_TRUE(late.local.zip64Block);
  EXPECT_EQ(late.central.size, 4000u);
  EXPECT_FALSE(entryNamed(layout, "small-late").local.zip64Block);
  EXPECT_TRUE(entryNamed(layout, "small-late").central.zip64Block);
  EXPECT_EQ(readPackage(packagePath()), contentsOf(items));
  expectValidZip(packagePath());
}

class ZipZip64Count : public ZipTest, public ::testing::WithParamInterface<int> {};

TEST_P(ZipZip64Count, TheEndRecordMovesToZip64FromTheLimitOn) {
  Zip64Limits limits;
  limits.entries = 10;
  std::vector<TestItem> items;
  for (int i = 0; i < GetParam(); ++i) items.push_back({"n" + std::to_string(i), "content"});
  writePackage(packagePath(), items, limits);

  auto bytes = readBytes(packagePath());
  ZipLayout layout = parseZip(bytes);
  EXPECT_EQ(layout.zip64End, GetParam() >= 10);
  EXPECT_EQ(layout.entries.size(), items.size());
  EXPECT_EQ(get16(bytes, bytes.size() - 22 + 10), GetParam() >= 10 ? 0xFFFF : GetParam());
  EXPECT_EQ(readPackage(packagePath()), contentsOf(items));
  expectValidZip(packagePath());
}

INSTANTIATE_TEST_SUITE_P(Zip, ZipZip64Count, ::testing::Values(9, 10, 12),
                         [](const ::testing::TestParamInfo<int>& row) {
                           return std::to_string(row.param) + "Items";
                         });

}  // namespace
}  // namespace kzftest
