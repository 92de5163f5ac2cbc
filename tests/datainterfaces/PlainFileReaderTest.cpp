// The plain file reader: content in blocks, lazy opening, errno codes and link texts.
#include <gtest/gtest.h>

#include <TempDir.hpp>
#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cerrno>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <string>
#include <vector>

namespace {

using Quorlith::kzfdatainterfaces::KZFFileReader;
using Quorlith::kzfdatainterfaces::KZFFileReaderFactory;
using Quorlith::kzfdatainterfaces::KZFMetaData;
namespace fs = boost::filesystem;

constexpr std::size_t kBlock = 16384;

std::string patternBytes(std::size_t size) {
  std::string bytes(size, '\0');
  unsigned state = 12345;
  for (auto& b : bytes) {
    state = state * 1103515245u + 12345u;
    b = static_cast<char>(state >> 24);
  }
  return bytes;
}

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Temporary paths are ASCII and the non-ASCII names below are written in UTF-8, which the C
// locale the tests run in counts as the process encoding.
fl::i18n::ustring upath(const fs::path& path) { return fl::i18n::utf8_to_ustring(path.string()); }

std::unique_ptr<KZFFileReader> plainReader(const fs::path& path) {
  return KZFFileReaderFactory().getReader(upath(path));
}

class PlainFileReaderTest : public kzftest::TempDirTest {
 protected:
  KZFMetaData meta;
};

TEST_F(PlainFileReaderTest, ReadsLargeFileExactlyInFullBlocks) {
  const std::string bytes = patternBytes(300'007);
  writeFile(tmp / "big.bin", bytes);
  auto reader = plainReader(tmp / "big.bin");

  std::string got;
  std::vector<long> counts;
  char buffer[kBlock];
  long n;
  while ((n = reader->read(buffer, sizeof buffer, meta)) > 0) {
    counts.push_back(n);
    got.append(buffer, static_cast<std::size_t>(n));
  }
  ASSERT_EQ(n, 0) << "error " << reader->getErrorCode();
  EXPECT_TRUE(got == bytes);
  ASSERT_EQ(counts.size(), 19u);  // 18 full blocks and the rest
  for (std::size_t i = 0; i + 1 < counts.size(); ++i) EXPECT_EQ(counts[i], long{kBlock}) << i;
  EXPECT_EQ(counts.back(), long{300'007 % kBlock});
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), 0) << "the end stays the end";
}

TEST_F(PlainFileReaderTest, EmptyFileEndsAtOnceWithoutError) {
  writeFile(tmp / "empty", "");
  auto reader = plainReader(tmp / "empty");
  char buffer[16];
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), 0);
  EXPECT_EQ(reader->getErrorCode(), 0);
}

TEST_F(PlainFileReaderTest, OpensTheFileOnlyAtTheFirstRead) {
  auto reader = plainReader(tmp / "later");
  EXPECT_EQ(reader->getErrorCode(), 0);
  writeFile(tmp / "later", "made after the reader");
  char buffer[64];
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), 21);
  EXPECT_EQ(std::string(buffer, 21), "made after the reader");
}

TEST_F(PlainFileReaderTest, ReadsAPathWithNonAsciiCharacters) {
  const fs::path path = tmp / "donn\u00e9es-\u03bb.m";
  writeFile(path, "x");
  auto reader = plainReader(path);
  char buffer[4];
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), 1);
}

TEST_F(PlainFileReaderTest, PathWithoutNarrowFormFailsWithEilseq) {
  const fl::i18n::ustring lone = upath(tmp.path()) + u"/bad\xD800";
  auto reader = KZFFileReaderFactory().getReader(lone);
  char buffer[4];
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), -1);
  EXPECT_EQ(reader->getErrorCode(), -EILSEQ);
  EXPECT_EQ(reader->readLink(buffer, sizeof buffer, meta), -1);
  EXPECT_EQ(reader->getErrorCode(), -EILSEQ);
}

struct OpenFailure {
  const char* label;
  const char* path;  // below the temporary folder, which holds a file "file" and a folder "dir"
  int errorCode;
};

class PlainFileReaderFailureTest : public PlainFileReaderTest,
                                   public ::testing::WithParamInterface<OpenFailure> {};

TEST_P(PlainFileReaderFailureTest, FailsWithTheNegatedErrno) {
  writeFile(tmp / "file", "data");
  fs::create_directory(tmp / "dir");
  auto reader = plainReader(tmp / GetParam().path);
  char buffer[64];
  EXPECT_EQ(reader->read(buffer, sizeof buffer, meta), -1);
  EXPECT_EQ(reader->getErrorCode(), GetParam().errorCode);
}

INSTANTIATE_TEST_SUITE_P(Paths, PlainFileReaderFailureTest,
                         ::testing::Values(OpenFailure{"MissingFile", "missing.m", -ENOENT},
                                           OpenFailure{"MissingFolder", "nowhere/f.m", -ENOENT},
                                           OpenFailure{"PathThroughAFile", "file/f.m", -ENOTDIR},
                                           OpenFailure{"Folder", "dir", -EISDIR}),
                         [](const ::testing::TestParamInfo<OpenFailure>& row) {
                           return row.param.label;
                         });

class PlainReadLinkTest : public PlainFileReaderTest {
 protected:
  long readLink(const fs::path& path, char* buffer, std::size_t max) {
    reader = plainReader(path);
    return reader->readLink(buffer, max, meta);
  }
  std::unique_ptr<KZFFileReader> reader;
};

TEST_F(PlainReadLinkTest, ReadsTheLinkTextNotTheTargetEvenWhenDangling) {
  writeFile(tmp / "target.m", "target content");
  fs::create_symlink("target.m", tmp / "link");
  fs::create_symlink("../elsewhere/target.m", tmp / "dangling");
  char buffer[kBlock];
  ASSERT_EQ(readLink(tmp / "link", buffer, sizeof buffer), 8) << reader->getErrorCode();
  EXPECT_EQ(std::string(buffer, 8), "target.m");
  ASSERT_EQ(readLink(tmp / "dangling", buffer, sizeof buffer), 21) << reader->getErrorCode();
  EXPECT_EQ(std::string(buffer, 21), "../elsewhere/target.m");
}

TEST_F(PlainReadLinkTest, RegularFileIsNoLink) {
  writeFile(tmp / "plain", "data");
  char buffer[64];
  EXPECT_EQ(readLink(tmp / "plain", buffer, sizeof buffer), -1);
  EXPECT_EQ(reader->getErrorCode(), -EINVAL);
}

TEST_F(PlainReadLinkTest, TextFillingTheBufferIsRefusedAsPossiblyCut) {
  fs::create_symlink("12345678", tmp / "link");
  char buffer[9];
  EXPECT_EQ(readLink(tmp / "link", buffer, 8), -1);
  EXPECT_EQ(reader->getErrorCode(), -ENAMETOOLONG);
  EXPECT_EQ(readLink(tmp / "link", buffer, 9), 8) << "one byte to spare is enough";
}

}  // namespace
