// Damaged and hostile archives: each is refused with a message naming the file or the item
// and the reason, never a crash, an endless loop or silently wrong bytes.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

using Bytes = std::vector<unsigned char>;

/// The archive every case starts from: a deflated, a stored and another deflated item.
const std::vector<TestItem>& baseItems() {
  static const std::vector<TestItem> items = {
      {"first.txt", sampleBytes(3000, 1), CompressionType::Deflated},
      {"second.txt", "hello world, stored as it is", CompressionType::Stored},
      {"third.txt", sampleBytes(5000, 3), CompressionType::Deflated}};
  return items;
}

/// Opens the archive and reads every item to its end: whatever is wrong must surface.
void readEverything(const boost::filesystem::path& path) {
  ZipPhysicalPackage package(upath(path), false, false);
  package.open(OpenMode::Read);
  for (const auto& item : package.getItems()) readItem(package, item.name);
}

void patchName(Bytes& b, const HeaderFields& header, const std::string& name) {
  ASSERT_EQ(name.size(), header.name.size());
  std::copy(name.begin(), name.end(), b.begin() + static_cast<long>(header.nameAt));
}

struct MalformedCase {
  std::string name;
  std::function<void(Bytes&, const ZipLayout&)> damage;
  std::vector<std::string> expected;  ///< fragments of the error text
};

std::ostream& operator<<(std::ostream& out, const MalformedCase& c) { return out << c.name; }

class ZipMalformed : public ZipTest, public ::testing::WithParamInterface<MalformedCase> {};

TEST_P(ZipMalformed, IsRefusedWithAClearMessage) {
  writePackage(packagePath(), baseItems());
  Bytes bytes = readBytes(packagePath());
  GetParam().damage(bytes, parseZip(bytes));
  writeBytes(packagePath(), bytes);

  std::vector<std::string> expected = GetParam().expected;
  expected.insert(expected.begin(), "package.zip");
  EXPECT_ZIP_ERROR(readEverything(packagePath()), expected);
}

const EntryLayout& first(const ZipLayout& l) { return l.entries.at(0); }
const EntryLayout& second(const ZipLayout& l) { return l.entries.at(1); }
const EntryLayout& third(const ZipLayout& l) { return l.entries.at(2); }

/// Sets a 16- or 32-bit field in both the local header and the central record of an entry.
void setBoth16(Bytes& b, const EntryLayout& e, std::size_t HeaderFields::*field,
               std::uint16_t value) {
  put16(b, e.local.*field, value);
  put16(b, e.central.*field, value);
}
void setBoth32(Bytes& b, const EntryLayout& e, std::size_t HeaderFields::*field,
               std::uint32_t value) {
  put32(b, e.local.*field, value);
  put32(b, e.central.*field, value);
}

INSTANTIATE_TEST_SUITE_P(
    Zip, ZipMalformed,
    ::testing::Values(
        MalformedCase{"TruncatedArchive",
                      [](Bytes& b, const ZipLayout&) { b.resize(b.size() / 2); },
                      {"not a zip archive", "truncated"}},
        MalformedCase{"TooShortToBeAnArchive",
                      [](Bytes& b, const ZipLayout&) { b.resize(5); },
                      {"5 bytes are too few"}},
        MalformedCase{"NotAZipFile",
                      [](Bytes& b, const ZipLayout&) {
                        std::string text(200, 'x');
                        b.assign(text.begin(), text.end());
                      },
                      {"not a zip archive"}},
        MalformedCase{"BytesBeforeTheArchive",
                      [](Bytes& b, const ZipLayout&) { b.insert(b.begin(), 100, 'j'); },
                      {"central directory is not where its end record places it"}},
        MalformedCase{
            "DamagedDirectoryRecord",
            [](Bytes& b, const ZipLayout& l) { put32(b, second(l).central.at, 0x12345678); },
            {"central directory is damaged: record 2 of 3"}},
        MalformedCase{"BadCrc",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(b, first(l), &HeaderFields::crcAt, first(l).central.crc ^ 1);
                      },
                      {"'first.txt'", "CRC-32 mismatch"}},
        MalformedCase{"DeclaredSizeLargerThanTheData",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(b, first(l), &HeaderFields::sizeAt, 3001);
                      },
                      {"'first.txt'", "holds 3000 bytes, fewer than its declared size of 3001"}},
        MalformedCase{"DeclaredSizeSmallerThanTheData",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(b, first(l), &HeaderFields::sizeAt, 2999);
                      },
                      {"'first.txt'", "more than its declared size of 2999"}},
        MalformedCase{"DeflateStreamCutShort",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(b, first(l), &HeaderFields::compressedAt,
                                  static_cast<std::uint32_t>(first(l).central.compressedSize - 10));
                      },
                      {"'first.txt'", "compressed data ends before its deflate stream does"}},
        MalformedCase{"LocalExtraFieldPushesTheDataIntoTheNextItem",
                      [](Bytes& b, const ZipLayout& l) { put16(b, first(l).local.at + 28, 64); },
                      {"'first.txt'", "data runs past the start of the next item"}},
        MalformedCase{
            "StoredSizesDisagree",
            [](Bytes& b, const ZipLayout& l) { setBoth32(b, second(l), &HeaderFields::sizeAt, 5); },
            {"'second.txt'", "is stored, yet declares 5 bytes from 28"}},
        MalformedCase{
            "LocalAndCentralNamesDiffer",
            [](Bytes& b, const ZipLayout& l) { patchName(b, second(l).local, "sEcond.txt"); },
            {"'second.txt'", "local header gives another name ('sEcond.txt')"}},
        MalformedCase{"LocalHeaderDisagreesOnTheMethod",
                      [](Bytes& b, const ZipLayout& l) { put16(b, first(l).local.methodAt, 0); },
                      {"'first.txt'", "disagrees with the central directory"}},
        MalformedCase{"OverlappingEntries",
                      [](Bytes& b, const ZipLayout& l) {
                        put32(b, third(l).offsetFieldAt,
                              static_cast<std::uint32_t>(second(l).localOffset + 10));
                      },
                      {"'second.txt'", "overlaps item 'third.txt'"}},
        MalformedCase{"EntryRunsIntoTheDirectory",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(b, third(l), &HeaderFields::compressedAt,
                                  static_cast<std::uint32_t>(third(l).central.compressedSize + 1));
                      },
                      {"'third.txt'", "runs into the central directory"}},
        MalformedCase{"DuplicateNames",
                      [](Bytes& b, const ZipLayout& l) {
                        patchName(b, third(l).local, "first.txt");
                        patchName(b, third(l).central, "first.txt");
                      },
                      {"'first.txt'", "listed twice"}},
        MalformedCase{"UnsupportedMethod",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth16(b, second(l), &HeaderFields::methodAt, 12);
                      },
                      {"'second.txt'", "compression method 12"}},
        MalformedCase{"EncryptionFlag",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth16(b, first(l), &HeaderFields::flagsAt, first(l).central.flags | 1);
                      },
                      {"'first.txt'", "encrypted"}},
        MalformedCase{"NulInAName",
                      [](Bytes& b, const ZipLayout& l) {
                        b.at(second(l).local.nameAt + 3) = 0;
                        b.at(second(l).central.nameAt + 3) = 0;
                      },
                      {"record 2", "NUL byte in its name ('sec...')"}},
        MalformedCase{"AbsurdCompressionRatio",
                      [](Bytes& b, const ZipLayout& l) {
                        setBoth32(
                            b, first(l), &HeaderFields::sizeAt,
                            static_cast<std::uint32_t>(first(l).central.compressedSize * 1033));
                      },
                      {"'first.txt'", "maximum ratio of 1032 to 1"}}),
    [](const ::testing::TestParamInfo<MalformedCase>& row) { return row.param.name; });

TEST_F(ZipTest, AListedButUnreadableItemDoesNotHideTheOthers) {
  writePackage(packagePath(), baseItems());
  Bytes bytes = readBytes(packagePath());
  ZipLayout layout = parseZip(bytes);
  setBoth16(bytes, second(layout), &HeaderFields::methodAt, 14);
  writeBytes(packagePath(), bytes);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  ASSERT_EQ(package.getItems().size(), 3u);
  EXPECT_EQ(package.findItem("second.txt")->method, 14);
  EXPECT_ZIP_ERROR(package.openItem("second.txt"), "'second.txt'", "compression method 14");
  EXPECT_TRUE(readItem(package, "third.txt") == baseItems()[2].content);
}

TEST_F(ZipTest, ACorruptedByteFailsOnlyItsOwnItem) {
  std::vector<TestItem> items = {{"first.txt", sampleBytes(3000, 1), CompressionType::Deflated},
                                 {"stored.txt", sampleBytes(3000, 2), CompressionType::Stored},
                                 {"deflated.txt", sampleBytes(40000, 3), CompressionType::Deflated},
                                 {"last.txt", sampleBytes(3000, 4), CompressionType::Deflated}};
  writePackage(packagePath(), items);
  Bytes bytes = readBytes(packagePath());
  ZipLayout layout = parseZip(bytes);
  for (std::size_t i : {1, 2}) {
    const EntryLayout& e = layout.entries[i];
    bytes.at(e.dataAt + e.central.compressedSize / 2) ^= 0x55;
  }
  writeBytes(packagePath(), bytes);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  EXPECT_ZIP_ERROR(readItem(package, "stored.txt"), "package.zip", "'stored.txt'",
                   "CRC-32 mismatch");
  try {
    readItem(package, "deflated.txt");
    ADD_FAILURE() << "corrupt deflate data was accepted";
  } catch (const std::runtime_error& error) {
    std::string text = error.what();
    EXPECT_NE(text.find("'deflated.txt'"), std::string::npos) << text;
    EXPECT_TRUE(text.find("CRC-32 mismatch") != std::string::npos ||
                text.find("compressed data is corrupt") != std::string::npos ||
                text.find("declared size") != std::string::npos)
        << text;
  }
  EXPECT_TRUE(readItem(package, "first.txt") == items[0].content);
  EXPECT_TRUE(readItem(package, "last.txt") == items[3].content);

  // A failed stream keeps failing the same way instead of pretending to end.
  auto stream = package.openItem("stored.txt");
  char buffer[100000];
  EXPECT_ZIP_ERROR(stream->read(buffer, sizeof buffer), "CRC-32 mismatch");
  EXPECT_ZIP_ERROR(stream->read(buffer, sizeof buffer), "CRC-32 mismatch");
  EXPECT_FALSE(stream->isEOF());
}

}  // namespace
}  // namespace kzftest
