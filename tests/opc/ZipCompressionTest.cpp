// How the writer compresses at each level: items held whole up to the buffered bound and
// streamed above it, data that does not shrink as stored deflate blocks, the rest deflated;
// every item one deflate stream that our reader, unzip and Python's zipfile read back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

constexpr std::size_t kMiB = 1024 * 1024;
constexpr std::size_t kBound = 4 * kMiB;  // the writer's buffered bound

enum class Data { Text, Random, Mixed };

struct CodecCase {
  const char* label;
  Data data;
  std::size_t size;
  std::uint64_t sizeHint;
};

std::string contentOf(const CodecCase& c) {
  switch (c.data) {
    case Data::Text:
      return sampleBytes(c.size, static_cast<std::uint32_t>(c.size));
    case Data::Random:
      return randomBytes(c.size, c.size);
    case Data::Mixed:
      // Compressible, random over several windows, compressible again (1 : 6 : 2).
      return sampleBytes(c.size / 9, 1) + randomBytes(c.size / 9 * 6, 2) +
             sampleBytes(c.size / 9 * 2, 3);
  }
  return {};
}

const CodecCase kCases[] = {
    {"empty", Data::Text, 0, 0},
    {"small", Data::Text, 300, 300},
    {"atTheBound", Data::Text, kBound, kBound},
    {"pastTheBoundUnannounced", Data::Text, kBound + 1, 0},
    {"pastTheBoundAnnounced", Data::Text, kBound + 1, kBound + 1},
    {"randomBuffered", Data::Random, kMiB, kMiB},
    {"randomStreamed", Data::Random, 5 * kMiB, 5 * kMiB},
    {"mixedStreamed", Data::Mixed, 18 * kMiB, 0},
};

class ZipCompression : public ZipTest, public ::testing::WithParamInterface<int> {};

// One package per level holding every case; the default level is written twice, and must give
// the same bytes both times.
TEST_P(ZipCompression, EveryItemReadsBackAndCostsWhatItsDataWarrants) {
  const int level = GetParam();
  std::vector<TestItem> items;
  for (const CodecCase& c : kCases) {
    items.push_back({c.label, contentOf(c), CompressionType::Deflated, c.sizeHint});
  }
  writePackage(packagePath(), items, {}, level);
  expectValidZip(packagePath());
  EXPECT_TRUE(readPackage(packagePath()) == contentsOf(items)) << "an item reads back changed";

  const std::vector<unsigned char> bytes = readBytes(packagePath());
  ZipLayout layout = parseZip(bytes);
  EXPECT_FALSE(layout.zip64End) << "no Zip64 records below the format's limits";
  for (const CodecCase& c : kCases) {
    const EntryLayout& e = entryNamed(layout, c.label);
    EXPECT_TRUE(e.central.version == 20 && !e.central.zip64Block && !e.local.zip64Block) << c.label;
    std::uint64_t compressed = e.central.compressedSize;
    // Stored blocks cost 5 bytes per 16 to 64 KiB; an empty or tiny stream a few bytes.
    std::uint64_t storedCost = c.size + c.size / 3000 + 16;
    if (level == 0 || c.data == Data::Random) {
      EXPECT_LE(compressed, storedCost) << c.label;
      EXPECT_GE(compressed, c.size) << c.label;
    } else if (c.data == Data::Text && c.size > 1000) {
      EXPECT_LT(compressed, c.size * 6 / 10) << c.label;
    } else if (c.data == Data::Mixed) {
      // The random part costs about its size; the text after it shrinks again.
      EXPECT_LT(compressed, c.size / 9 * 6 + c.size / 9 * 3 * 6 / 10) << c.label;
    }
  }
  if (level == -1) {
    writePackage(packagePath(), items, {}, level);
    EXPECT_TRUE(readBytes(packagePath()) == bytes) << "the same items gave other bytes";
  }
}

INSTANTIATE_TEST_SUITE_P(Zip, ZipCompression, ::testing::Values(0, 6, -1),
                         [](const ::testing::TestParamInfo<int>& level) {
                           return level.param < 0 ? std::string("default")
                                                  : "level" + std::to_string(level.param);
                         });

}  // namespace
}  // namespace kzftest
