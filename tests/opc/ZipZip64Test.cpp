// Zip64 records: written exactly where a size, offset or count needs them, exercised on small
// data through lowered limits, and always with local headers that agree with the directory.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "RowLabel.hpp"
#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

/// Writes `items` under `limits` and checks that they read back, through us, unzip and Python,
/// and that each local header agrees with its central record on everything they share.
ZipLayout writeChecked(const boost::filesystem::path& path, const std::vector<TestItem>& items,
                       const Zip64Limits& limits) {
  writePackage(path, items, limits);
  EXPECT_EQ(readPackage(path), contentsOf(items));
  expectValidZip(path);
  ZipLayout layout = parseZip(readBytes(path));
  auto shared = [](const HeaderFields& h) {
    return std::make_tuple(h.name, h.version, h.flags, h.method, h.dosTime, h.crc, h.size,
                           h.compressedSize);
  };
  for (const EntryLayout& e : layout.entries) EXPECT_EQ(shared(e.local), shared(e.central));
  return layout;
}

constexpr CompressionType kStored = CompressionType::Stored, kDeflated = CompressionType::Deflated;

struct SizeCase {
  std::string label;
  std::string content;
  CompressionType compression;
  std::uint64_t sizeHint;
  bool zip64;
};

class ZipZip64Sizes : public ZipTest, public ::testing::WithParamInterface<SizeCase> {};

// With the size limit lowered to 1000 bytes, an item reaching it in either size needs Zip64
// blocks in both its headers, whatever its size hint said; any other item has none.
TEST_P(ZipZip64Sizes, BlocksExactlyWhereASizeReachesTheLimit) {
  const Zip64Limits limits{1000};  // size
  const SizeCase& row = GetParam();
  std::vector<TestItem> items = {{"before", sampleBytes(100, 1)},
                                 {"item", row.content, row.compression, row.sizeHint},
                                 {"after", sampleBytes(200, 2), kStored}};
  ZipLayout layout = writeChecked(packagePath(), items, limits);
  const EntryLayout& e = entryNamed(layout, "item");
  EXPECT_EQ(e.local.zip64Block, row.zip64);
  EXPECT_EQ(e.central.zip64Block, row.zip64);
  EXPECT_EQ(e.central.version, row.zip64 ? 45 : 20);
  EXPECT_EQ(e.central.size, row.content.size());
  for (const char* other : {"before", "after"}) {
    EXPECT_FALSE(entryNamed(layout, other).local.zip64Block) << other;
    EXPECT_FALSE(entryNamed(layout, other).central.zip64Block) << other;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Zip, ZipZip64Sizes,
    ::testing::Values(
        SizeCase{"StoredUnannouncedGrowsPastTheLimit", sampleBytes(5000, 3), kStored, 0, true},
        SizeCase{"DeflatedUnannouncedGrowsPastTheLimit", sampleBytes(50000, 3), kDeflated, 0, true},
        SizeCase{"CompressedSmallButUncompressedLarge", std::string(20000, 'z'), kDeflated, 0,
                 true},
        SizeCase{"AnnouncedAndLarge", sampleBytes(5000, 4), kStored, 5000, true},
        SizeCase{"AnnouncedLargeButSmall", sampleBytes(300, 5), kDeflated, 1u << 20, false},
        SizeCase{"JustBelowTheLimit", sampleBytes(999, 6), kStored, 0, false},
        SizeCase{"ExactlyAtTheLimit", sampleBytes(1000, 7), kStored, 0, true}),
    RowLabel());

TEST_F(ZipTest, ItemsStartingBeyondTheOffsetLimitGetAZip64Offset) {
  Zip64Limits limits;
  limits.offset = 3000;
  std::vector<TestItem> items;
  for (int i = 0; i < 6; ++i) {
    items.push_back({"item" + std::to_string(i), sampleBytes(1000, i), kStored});
  }
  ZipLayout layout = writeChecked(packagePath(), items, limits);
  EXPECT_TRUE(layout.zip64End) << "the directory starts beyond the limit too";
  for (const EntryLayout& e : layout.entries) {
    SCOPED_TRACE(e.central.name);
    bool beyond = e.localOffset >= 3000;
    EXPECT_EQ(e.central.zip64Block, beyond);
    EXPECT_FALSE(e.local.zip64Block) << "sizes stay in their 32-bit fields";
    EXPECT_EQ(e.central.version, beyond ? 45 : 20);
  }
}

TEST_F(ZipTest, SizesAndOffsetInOneZip64BlockKeepTheirOrder) {
  const Zip64Limits limits{1000, 1500, 3};  // size, offset, entries
  std::vector<TestItem> items = {{"small", "tiny"},
                                 {"large-early", sampleBytes(1500, 1), kStored},
                                 {"large-late", sampleBytes(4000, 2), kDeflated},
                                 {"small-late", "tiny too", kStored}};
  ZipLayout layout = writeChecked(packagePath(), items, limits);
  EXPECT_TRUE(layout.zip64End);
  const EntryLayout& late = entryNamed(layout, "large-late");
  EXPECT_GE(late.localOffset, 1500u);
  EXPECT_TRUE(late.local.zip64Block);
  EXPECT_EQ(late.central.size, 4000u);
  EXPECT_FALSE(entryNamed(layout, "small-late").local.zip64Block);
  EXPECT_TRUE(entryNamed(layout, "small-late").central.zip64Block);
}

TEST_F(ZipTest, TheEndRecordMovesToZip64FromTheCountLimitOn) {
  Zip64Limits limits;
  limits.entries = 10;
  for (int count : {9, 10, 12}) {
    SCOPED_TRACE(count);
    std::vector<TestItem> items;
    for (int i = 0; i < count; ++i) items.push_back({"n" + std::to_string(i), "content"});
    ZipLayout layout = writeChecked(packagePath(), items, limits);
    auto bytes = readBytes(packagePath());
    EXPECT_EQ(layout.zip64End, count >= 10);
    EXPECT_EQ(layout.entries.size(), items.size());
    EXPECT_EQ(get16(bytes, bytes.size() - 22 + 10), count >= 10 ? 0xFFFF : count);
  }
}

}  // namespace
}  // namespace kzftest
