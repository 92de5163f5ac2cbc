// How the writer compresses: data that does not shrink is written as stored deflate blocks, the
// rest deflated, within one deflate stream that every reader accepts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

constexpr std::size_t kMiB = 1024 * 1024;

std::uint64_t compressedSize(const ZipLayout& layout, const std::string& name) {
  for (const EntryLayout& entry : layout.entries) {
    if (entry.central.name == name) return entry.central.compressedSize;
  }
  ADD_FAILURE() << "no item " << name;
  return 0;
}

TEST_F(ZipTest, AnIncompressibleStretchDoesNotStopDeflatingWhatFollowsIt) {
  // Compressible, then random over several windows, then compressible again; the two
  // compressible parts are also written alone for comparison. The item before ends inside a
  // stored stretch, which must not carry over.
  const std::string head = sampleBytes(3 * kMiB, 1);
  const std::string noise = randomBytes(5 * kMiB, 2);
  const std::string tail = sampleBytes(3 * kMiB, 3);
  const std::string content = head + noise + tail;
  writePackage(packagePath(), {{"noise.bin", noise.substr(0, 3 * kMiB)},
                               {"mixed.bin", content},
                               {"head.bin", head},
                               {"tail.bin", tail}});
  expectValidZip(packagePath());

  ZipLayout layout = parseZip(readBytes(packagePath()));
  // The random part costs about its size; both compressible parts shrink as they do alone.
  EXPECT_LT(compressedSize(layout, "mixed.bin"), noise.size() + noise.size() / 100 +
                                                     compressedSize(layout, "head.bin") +
                                                     compressedSize(layout, "tail.bin"));
  EXPECT_LT(compressedSize(layout, "tail.bin"), tail.size() * 6 / 10);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  EXPECT_TRUE(readItem(package, "mixed.bin") == content);
  EXPECT_TRUE(readItem(package, "tail.bin", 1000) == tail);
}

TEST_F(ZipTest, ALargeIncompressibleItemIsWrittenAsLargeStoredBlocks) {
  // Left at its level, deflate also falls back to stored blocks on random data, but only after
  // spending its time on them, and it ends a block every 16 K symbols: some 5 bytes of headers
  // per 16 KiB. At level 0 blocks take up to 64 KiB, which is what shows here that the data
  // went through level 0 rather than through the matcher.
  const std::string content = randomBytes(24 * kMiB, 5);
  writePackage(packagePath(), {{"noise.bin", content}});
  expectValidZip(packagePath());
  std::uint64_t compressed = compressedSize(parseZip(readBytes(packagePath())), "noise.bin");
  EXPECT_GE(compressed, content.size());
  EXPECT_LT(compressed, content.size() + content.size() / 5000);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  EXPECT_TRUE(readItem(package, "noise.bin", 100000) == content);
}

}  // namespace
}  // namespace kzftest
