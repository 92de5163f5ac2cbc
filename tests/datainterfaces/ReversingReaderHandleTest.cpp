// The reversing test handle: what it claims, and content passing through both of its readers.
#include <gtest/gtest.h>

#include <ReversingReaderHandle.hpp>
#include <TempDir.hpp>
#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cerrno>
#include <sstream>
#include <string>

namespace {

using kzftest::ReversingReaderHandle;
using Quorlith::kzfdatainterfaces::KZF_READER_ERROR_ZERO_LENGTH;
using Quorlith::kzfdatainterfaces::KZFFileReader;
using Quorlith::kzfdatainterfaces::KZFMetaData;
namespace fs = boost::filesystem;

struct ClaimRow {
  const char* label;
  fl::i18n::ustring name;
  bool claimed;
};

class ReversingClaimTest : public ::testing::TestWithParam<ClaimRow> {};

TEST_P(ReversingClaimTest, ClaimsCodeSuffixesOnly) {
  ReversingReaderHandle handle;
  EXPECT_EQ(handle.claims(GetParam().name), GetParam().claimed);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ReversingClaimTest,
    ::testing::Values(ClaimRow{"CodeFile", u"app/f.m", true}, ClaimRow{"PFile", u"f.p", true},
                      ClaimRow{"BareSuffix", u".m", true},
                      ClaimRow{"LongerExtension", u"f.mx", false},
                      ClaimRow{"NoDot", u"form", false}, ClaimRow{"UpperCase", u"F.M", false},
                      ClaimRow{"SuffixInFolder", u"a.m/f.txt", false}),
    [](const ::testing::TestParamInfo<ClaimRow>& row) { return row.param.label; });

TEST(ReversingHandleTest, SuffixesAreConfigurable) {
  ReversingReaderHandle handle({u".so"});
  EXPECT_TRUE(handle.claims(u"lib/libx.so"));
  EXPECT_FALSE(handle.claims(u"f.m"));
}

class ReversingReaderTest : public kzftest::TempDirTest {
 protected:
  fl::i18n::ustring write(const std::string& name, const std::string& bytes) {
    fs::ofstream out(tmp / name, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return fl::i18n::utf8_to_ustring((tmp / name).string());
  }

  /// Reads `reader` to its end in blocks of `block` bytes; -1 stops the reading.
  long drain(KZFFileReader& reader, std::size_t block, std::string& got) {
    std::string buffer(block, '\0');
    long n;
    while ((n = reader.read(buffer.data(), block, meta)) > 0) {
      EXPECT_LE(static_cast<std::size_t>(n), block);
      got.append(buffer.data(), static_cast<std::size_t>(n));
    }
    return n;
  }

  KZFMetaData meta;
  Quorlith::kzfdatainterfaces::KZFFileReaderFactory factory = ReversingReaderHandle::factory();
};

TEST_F(ReversingReaderTest, ContentRoundTripsThroughBothReaders) {
  std::string original(40'000, '\0');
  for (std::size_t i = 0; i < original.size(); ++i) original[i] = static_cast<char>(i % 253);
  auto reader = factory.getReader(write("f.m", original));

  std::string stored;
  ASSERT_EQ(drain(*reader, 16384, stored), 0) << "error " << reader->getErrorCode();
  EXPECT_TRUE(stored == ReversingReaderHandle::reversed(original));

  std::istringstream part(stored);
  opc::StdIStreamAdaptor in(part);
  auto restored = factory.getReader(u"app/f.m", in)->readAll();
  EXPECT_TRUE(std::string(restored.begin(), restored.end()) == original);
}

TEST_F(ReversingReaderTest, EmptyOrMissingFileFailsWithItsCode) {
  std::string got;
  auto empty = factory.getReader(write("empty.m", ""));
  EXPECT_EQ(drain(*empty, 16384, got), -1);
  EXPECT_EQ(empty->getErrorCode(), KZF_READER_ERROR_ZERO_LENGTH);
  auto missing = factory.getReader(fl::i18n::utf8_to_ustring((tmp / "missing.m").string()));
  EXPECT_EQ(drain(*missing, 16384, got), -1);
  EXPECT_EQ(missing->getErrorCode(), -ENOENT);
}

TEST_F(ReversingReaderTest, LinkTextIsReadUnchanged) {
  fs::create_symlink("../lib/g.m", tmp / "link.m");
  auto reader = factory.getReader(fl::i18n::utf8_to_ustring((tmp / "link.m").string()));
  char buffer[64];
  ASSERT_EQ(reader->readLink(buffer, sizeof buffer, meta), 10);
  EXPECT_EQ(std::string(buffer, 10), "../lib/g.m");
}

}  // namespace
