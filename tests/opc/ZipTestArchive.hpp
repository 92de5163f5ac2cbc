// Test support for the zip container: writing and reading packages, and a small independent
// parser of zip records for checking the writer's output and patching archives byte by byte.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "TempDir.hpp"
#include "ZipCheck.hpp"

namespace kzftest {

using namespace opc::interfaces;
using namespace opc::zippackage;

inline fl::i18n::ustring upath(const boost::filesystem::path& path) {
  return fl::i18n::to_ustring(path.string());
}

/// One item to write: name, content, storage and the size announced when it is created.
struct TestItem {
  std::string name;
  std::string content;
  CompressionType compression = CompressionType::Deflated;
  std::uint64_t sizeHint = 0;
};

/// Writes a package of `items` at `path` (at compression `level`) and closes it.
inline void writePackage(const boost::filesystem::path& path, const std::vector<TestItem>& items,
                         const Zip64Limits& limits = {}, int level = -1) {
  ZipPhysicalPackage package(upath(path), false, false, limits);
  package.setCompressionLevel(level);
  package.open(OpenMode::Create);
  for (const TestItem& item : items) {
    auto stream = package.createItem(item.name, item.compression, item.sizeHint);
    // Several writes per item, so that item boundaries inside the writer's buffer are crossed.
    const std::size_t piece = 7000;
    for (std::size_t at = 0; at < item.content.size(); at += piece) {
      std::size_t n = std::min(piece, item.content.size() - at);
      EXPECT_EQ(stream->write(item.content.data() + at, n), n);
    }
  }
  package.close(false);
}

/// The whole content of one item.
inline std::string readItem(ZipPhysicalPackage& package, const std::string& name) {
  auto stream = package.openItem(name);
  std::string content;
  std::vector<char> buffer(65536);
  for (std::size_t n; (n = stream->read(buffer.data(), buffer.size())) > 0;) {
    content.append(buffer.data(), n);
  }
  EXPECT_TRUE(stream->isEOF());
  return content;
}

/// Every item of the package at `path`, by name, read through a fresh package object.
inline std::map<std::string, std::string> readPackage(const boost::filesystem::path& path) {
  ZipPhysicalPackage package(upath(path), false, false);
  package.open(OpenMode::Read);
  std::map<std::string, std::string> contents;
  for (const auto& item : package.getItems()) contents[item.name] = readItem(package, item.name);
  package.close(false);
  return contents;
}

/// The items' contents by name, as readPackage gives them back.
inline std::map<std::string, std::string> contentsOf(const std::vector<TestItem>& items) {
  std::map<std::string, std::string> contents;
  for (const auto& item : items) contents[item.name] = item.content;
  return contents;
}

/// Deterministic, mildly compressible bytes: words from a small vocabulary mixed with noise.
inline std::string sampleBytes(std::size_t size, std::uint32_t seed = 1) {
  std::string data;
  std::uint32_t state = seed * 2654435761u + 1;
  static const char* kWords[] = {"package ", "part ", "zip ", "deflate ", "item ", "\n"};
  while (data.size() < size) {
    state = state * 1664525u + 1013904223u;
    if ((state >> 28) < 3) {
      data.push_back(static_cast<char>(state >> 16));
    } else {
      data += kWords[(state >> 8) % 6];
    }
  }
  data.resize(size);
  return data;
}

/// Deterministic bytes that no compressor can shrink.
inline std::string randomBytes(std::size_t size, std::uint64_t seed = 1) {
  std::string data(size, '\0');
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
  for (char& c : data) {
    state ^= state << 13, state ^= state >> 7, state ^= state << 17;
    c = static_cast<char>(state >> 24);
  }
  return data;
}

inline std::vector<unsigned char> readBytes(const boost::filesystem::path& path) {
  std::ifstream in(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const boost::filesystem::path& path, const std::vector<unsigned char>& b) {
  std::ofstream(path.string(), std::ios::binary)
      .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

inline std::uint16_t get16(const std::vector<unsigned char>& b, std::size_t at) {
  return static_cast<std::uint16_t>(b.at(at) | b.at(at + 1) << 8);
}
inline std::uint32_t get32(const std::vector<unsigned char>& b, std::size_t at) {
  return get16(b, at) | static_cast<std::uint32_t>(get16(b, at + 2)) << 16;
}
inline std::uint64_t get64(const std::vector<unsigned char>& b, std::size_t at) {
  return get32(b, at) | static_cast<std::uint64_t>(get32(b, at + 4)) << 32;
}
inline void put16(std::vector<unsigned char>& b, std::size_t at, std::uint16_t v) {
  b.at(at) = static_cast<unsigned char>(v);
  b.at(at + 1) = static_cast<unsigned char>(v >> 8);
}
inline void put32(std::vector<unsigned char>& b, std::size_t at, std::uint32_t v) {
  put16(b, at, static_cast<std::uint16_t>(v));
  put16(b, at + 2, static_cast<std::uint16_t>(v >> 16));
}

/// The fields that a local header and its central directory record share, and where they sit.
struct HeaderFields {
  std::size_t at = 0;  ///< offset of the record in the file
  std::uint16_t version = 0, flags = 0, method = 0;
  std::uint32_t dosTime = 0, crc = 0;
  std::uint64_t compressedSize = 0, size = 0;  ///< resolved through the Zip64 block if any
  std::string name;
  bool zip64Block = false;
  std::size_t crcAt = 0, compressedAt = 0, sizeAt = 0, methodAt = 0, flagsAt = 0, nameAt = 0;
};

struct EntryLayout {
  HeaderFields local, central;
  std::uint64_t localOffset = 0;
  std::size_t offsetFieldAt = 0;  ///< the central record's local header offset field
  std::size_t dataAt = 0;
};

struct ZipLayout {
  std::vector<EntryLayout> entries;
  bool zip64End = false;
};

/// Reads the header at `at`: a central record's fields sit two bytes further than a local
/// header's, its name sixteen. Returns where the header ends.
inline std::size_t parseHeader(const std::vector<unsigned char>& b, std::size_t at, bool central,
                               HeaderFields& h, std::uint64_t* localOffset = nullptr) {
  const std::size_t s = central ? 2 : 0;
  h.at = at, h.flagsAt = at + 6 + s, h.methodAt = at + 8 + s, h.crcAt = at + 14 + s;
  h.compressedAt = at + 18 + s, h.sizeAt = at + 22 + s, h.nameAt = at + 30 + 8 * s;
  h.version = get16(b, at + 4 + s), h.flags = get16(b, h.flagsAt), h.method = get16(b, h.methodAt);
  h.dosTime = get32(b, at + 10 + s), h.crc = get32(b, h.crcAt);
  h.compressedSize = get32(b, h.compressedAt), h.size = get32(b, h.sizeAt);
  std::size_t n = get16(b, at + 26 + s), m = get16(b, at + 28 + s);
  h.name.assign(b.begin() + static_cast<long>(h.nameAt),
                b.begin() + static_cast<long>(h.nameAt + n));
  for (std::size_t x = h.nameAt + n; x + 4 <= h.nameAt + n + m; x += 4 + get16(b, x + 2)) {
    if (get16(b, x) != 1) continue;
    // A local block holds both sizes; a central one only the fields that overflowed.
    h.zip64Block = true;
    std::size_t f = x + 4;
    if (!central || h.size == 0xFFFFFFFF) h.size = get64(b, f), f += 8;
    if (!central || h.compressedSize == 0xFFFFFFFF) h.compressedSize = get64(b, f), f += 8;
    if (central && *localOffset == 0xFFFFFFFF) *localOffset = get64(b, f);
  }
  return h.nameAt + n + m + (central ? get16(b, at + 32) : 0);
}

/// Parses the end records, every central record and every local header. Independent of the
/// code under test, so it can judge the writer.
inline ZipLayout parseZip(const std::vector<unsigned char>& b) {
  ZipLayout layout;
  std::size_t end = b.size() < 22 ? throw std::runtime_error("too short") : b.size() - 22;
  while (get32(b, end) != 0x06054b50) {
    if (end-- == 0) throw std::runtime_error("no end record");
  }
  std::uint64_t count = get16(b, end + 10), directory = get32(b, end + 16);
  if (end >= 20 && get32(b, end - 20) == 0x07064b50) {
    layout.zip64End = true;
    auto record = static_cast<std::size_t>(get64(b, end - 20 + 8));
    if (get32(b, record) != 0x06064b50) throw std::runtime_error("bad Zip64 end record");
    count = get64(b, record + 32), directory = get64(b, record + 48);
  }
  auto p = static_cast<std::size_t>(directory);
  for (std::uint64_t i = 0; i < count; ++i) {
    EntryLayout e;
    if (get32(b, p) != 0x02014b50) throw std::runtime_error("bad central record");
    e.localOffset = get32(b, p + 42), e.offsetFieldAt = p + 42;
    p = parseHeader(b, p, true, e.central, &e.localOffset);
    if (get32(b, e.localOffset) != 0x04034b50) throw std::runtime_error("bad local header");
    e.dataAt = parseHeader(b, static_cast<std::size_t>(e.localOffset), false, e.local);
    layout.entries.push_back(e);
  }
  return layout;
}

/// The entry of that name; throws if there is none.
inline const EntryLayout& entryNamed(const ZipLayout& layout, const std::string& name) {
  for (const EntryLayout& e : layout.entries) {
    if (e.central.name == name) return e;
  }
  throw std::runtime_error("no entry " + name);
}

/// Fixture: a fresh folder, and the path of a package inside it.
class ZipTest : public TempDirTest {
 protected:
  boost::filesystem::path packagePath() const { return tmp / "package.zip"; }

  /// Names in the folder other than the package itself.
  std::vector<std::string> strayFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : boost::filesystem::directory_iterator(tmp.path())) {
      if (entry.path() != packagePath()) names.push_back(entry.path().filename().string());
    }
    return names;
  }
};

/// Matches a text that contains every one of `fragments`.
inline ::testing::Matcher<std::string> containsAll(const std::vector<std::string>& fragments) {
  std::vector<::testing::Matcher<std::string>> all;
  for (const std::string& fragment : fragments) all.push_back(::testing::HasSubstr(fragment));
  return ::testing::AllOfArray(all);
}

/// Expects `statement` to throw a std::runtime_error whose text contains every one of the
/// given fragments.
#define EXPECT_ZIP_ERROR(statement, ...) \
  EXPECT_THAT([&] { statement; },        \
              ::testing::ThrowsMessage<std::runtime_error>(::kzftest::containsAll({__VA_ARGS__})))

}  // namespace kzftest
