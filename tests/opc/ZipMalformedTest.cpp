// Damaged and hostile archives: each is refused with a message naming the file or the item
// and the reason, never a crash, an endless loop or silently wrong bytes.
#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "RowLabel.hpp"
#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

using H = HeaderFields;
using namespace ::testing;

/// The bytes of a written archive and their layout, with ways to damage them.
struct Archive {
  explicit Archive(const boost::filesystem::path& path) : b(readBytes(path)), l(parseZip(b)) {}
  std::vector<unsigned char> b;
  ZipLayout l;

  const EntryLayout& e(int i) const { return l.entries.at(static_cast<std::size_t>(i)); }
  /// Sets a field in both the local header and the central record of entry `i`.
  void both16(int i, std::size_t H::*field, std::uint16_t v) {
    put16(b, e(i).local.*field, v), put16(b, e(i).central.*field, v);
  }
  void both32(int i, std::size_t H::*field, std::uint32_t v) {
    put32(b, e(i).local.*field, v), put32(b, e(i).central.*field, v);
  }
  void rename(const HeaderFields& header, const std::string& name) {
    ASSERT_EQ(name.size(), header.name.size());
    std::copy(name.begin(), name.end(), b.begin() + static_cast<long>(header.nameAt));
  }
};

/// The archive every case starts from: a deflated, a stored and another deflated item.
const std::vector<TestItem> kBaseItems = {
    {"first.txt", sampleBytes(3000, 1)},
    {"second.txt", "hello world, stored as it is", CompressionType::Stored},
    {"third.txt", sampleBytes(5000, 3)}};

struct MalformedCase {
  std::string label;
  std::vector<std::string> expected;  ///< fragments of the error text
  std::function<void(Archive&)> damage;
};

class ZipMalformed : public ZipTest, public ::testing::WithParamInterface<MalformedCase> {};

// Opens the archive and reads every item to its end: whatever is wrong must surface.
TEST_P(ZipMalformed, IsRefusedWithAClearMessage) {
  writePackage(packagePath(), kBaseItems);
  Archive archive(packagePath());
  GetParam().damage(archive);
  writeBytes(packagePath(), archive.b);

  std::vector<std::string> expected = GetParam().expected;
  expected.insert(expected.begin(), "package.zip");
  auto readEverything = [&] {
    ZipPhysicalPackage package(upath(packagePath()), false, false);
    package.open(OpenMode::Read);
    for (const auto& item : package.getItems()) readItem(package, item.name);
  };
  EXPECT_ZIP_ERROR(readEverything(), expected);
}

// clang-format off
const std::vector<MalformedCase> kMalformed = {
    {"TruncatedArchive", {"not a zip archive", "truncated"},
     [](Archive& a) { a.b.resize(a.b.size() / 2); }},
    {"TooShortToBeAnArchive", {"5 bytes are too few"}, [](Archive& a) { a.b.resize(5); }},
    {"NotAZipFile", {"not a zip archive"}, [](Archive& a) { a.b.assign(200, 'x'); }},
    {"BytesBeforeTheArchive", {"central directory is not where its end record places it"},
     [](Archive& a) { a.b.insert(a.b.begin(), 100, 'j'); }},
    {"DamagedDirectoryRecord", {"central directory is damaged: record 2 of 3"},
     [](Archive& a) { put32(a.b, a.e(1).central.at, 1); }},
    {"BadCrc", {"'first.txt'", "CRC-32 mismatch"},
     [](Archive& a) { a.both32(0, &H::crcAt, a.e(0).central.crc ^ 1); }},
    {"DeclaredSizeLargerThanTheData",
     {"'first.txt'", "holds 3000 bytes, fewer than its declared size of 3001"},
     [](Archive& a) { a.both32(0, &H::sizeAt, 3001); }},
    {"DeclaredSizeSmallerThanTheData", {"'first.txt'", "more than its declared size of 2999"},
     [](Archive& a) { a.both32(0, &H::sizeAt, 2999); }},
    {"DeflateStreamCutShort",
     {"'first.txt'", "compressed data ends before its deflate stream does"},
     [](Archive& a) { a.both32(0, &H::compressedAt, a.e(0).central.compressedSize - 10); }},
    {"LocalExtraFieldPushesTheDataIntoTheNextItem",
     {"'first.txt'", "data runs past the start of the next item"},
     [](Archive& a) { put16(a.b, a.e(0).local.at + 28, 64); }},
    {"StoredSizesDisagree", {"'second.txt'", "is stored, yet declares 5 bytes from 28"},
     [](Archive& a) { a.both32(1, &H::sizeAt, 5); }},
    {"LocalAndCentralNamesDiffer",
     {"'second.txt'", "local header gives another name ('sEcond.txt')"},
     [](Archive& a) { a.rename(a.e(1).local, "sEcond.txt"); }},
    {"LocalHeaderDisagreesOnTheMethod", {"'first.txt'", "disagrees with the central directory"},
     [](Archive& a) { put16(a.b, a.e(0).local.methodAt, 0); }},
    {"OverlappingEntries", {"'second.txt'", "overlaps item 'third.txt'"},
     [](Archive& a) {
       put32(a.b, a.e(2).offsetFieldAt, static_cast<std::uint32_t>(a.e(1).localOffset + 10));
     }},
    {"EntryRunsIntoTheDirectory", {"'third.txt'", "runs into the central directory"},
     [](Archive& a) { a.both32(2, &H::compressedAt, a.e(2).central.compressedSize + 1); }},
    {"DuplicateNames", {"'first.txt'", "listed twice"},
     [](Archive& a) {
       a.rename(a.e(2).local, "first.txt"), a.rename(a.e(2).central, "first.txt");
     }},
    {"UnsupportedMethod", {"'second.txt'", "compression method 12"},
     [](Archive& a) { a.both16(1, &H::methodAt, 12); }},
    {"EncryptionFlag", {"'first.txt'", "encrypted"},
     [](Archive& a) { a.both16(0, &H::flagsAt, a.e(0).central.flags | 1); }},
    {"NulInAName", {"record 2", "NUL byte in its name ('sec...')"},
     [](Archive& a) { a.b.at(a.e(1).local.nameAt + 3) = a.b.at(a.e(1).central.nameAt + 3) = 0; }},
    {"AbsurdCompressionRatio", {"'first.txt'", "maximum ratio of 1032 to 1"},
     [](Archive& a) { a.both32(0, &H::sizeAt, a.e(0).central.compressedSize * 1033); }}};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Zip, ZipMalformed, ::testing::ValuesIn(kMalformed), RowLabel());

// An item that is listed but cannot be read, or whose data is damaged, fails alone: the others
// still read back, and a failed stream keeps failing instead of pretending to end.
TEST_F(ZipTest, ADamagedItemFailsOnlyItself) {
  std::vector<TestItem> items = {{"first.txt", sampleBytes(3000, 1)},
                                 {"stored.txt", sampleBytes(3000, 2), CompressionType::Stored},
                                 {"deflated.txt", sampleBytes(40000, 3)},
                                 {"unknown.txt", "of an unknown method"},
                                 {"last.txt", sampleBytes(3000, 4)}};
  writePackage(packagePath(), items);
  Archive archive(packagePath());
  for (int i : {1, 2})
    archive.b.at(archive.e(i).dataAt + archive.e(i).central.compressedSize / 2) ^= 0x55;
  archive.both16(3, &H::methodAt, 14);
  writeBytes(packagePath(), archive.b);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  ASSERT_EQ(package.getItems().size(), 5u);
  EXPECT_EQ(package.findItem("unknown.txt")->method, 14);
  EXPECT_ZIP_ERROR(package.openItem("unknown.txt"), "'unknown.txt'", "compression method 14");
  EXPECT_ZIP_ERROR(readItem(package, "stored.txt"), "package.zip", "'stored.txt'",
                   "CRC-32 mismatch");
  EXPECT_THAT([&] { readItem(package, "deflated.txt"); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr("'deflated.txt'"),
                        AnyOf(HasSubstr("CRC-32 mismatch"), HasSubstr("compressed data is corrupt"),
                              HasSubstr("declared size")))));
  EXPECT_TRUE(readItem(package, "first.txt") == items[0].content);
  EXPECT_TRUE(readItem(package, "last.txt") == items[4].content);

  auto stream = package.openItem("stored.txt");
  char buffer[100000];
  EXPECT_ZIP_ERROR(stream->read(buffer, sizeof buffer), "CRC-32 mismatch");
  EXPECT_ZIP_ERROR(stream->read(buffer, sizeof buffer), "CRC-32 mismatch");
  EXPECT_FALSE(stream->isEOF());
}

}  // namespace
}  // namespace kzftest
