// Test support for the zip container: writing and reading packages, and a small independent
// parser of zip records for checking the writer's output and patching archives byte by byte.
#pragma once

#include <gtest/gtest.h>

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

using opc::interfaces::CompressionType;
using opc::interfaces::OpenMode;
using opc::zippackage::Zip64Limits;
using opc::zippackage::ZipPhysicalPackage;

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

/// The whole content of one item, read in blocks of `block` bytes.
inline std::string readItem(ZipPhysicalPackage& package, const std::string& name,
                            std::size_t block = 65536) {
  auto stream = package.openItem(name);
  std::string content;
  std::vector<char> buffer(block);
  for (;;) {
    std::size_t n = stream->read(buffer.data(), buffer.size());
    if (n == 0) break;
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
  data.reserve(size);
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
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    c = static_cast<char>(state >> 24);
  }
  return data;
}

inline std::vector<unsigned char> readBytes(const boost::filesystem::path& path) {
  std::ifstream in(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const boost::filesystem::path& path,
                       const std::vector<unsigned char>& bytes) {
  std::ofstream out(path.string(), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
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

/// The fields that a local header and its central directory record share.
struct HeaderFields {
  std::size_t at = 0;  ///< offset of the record in the file
  std::uint16_t version = 0;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t dosTime = 0;
  std::uint32_t crc = 0;
  std::uint64_t compressedSize = 0;  ///< resolved through the Zip64 block when there is one
  std::uint64_t size = 0;
  std::string name;
  bool zip64Block = false;

  // Where the fields sit, for patching.
  std::size_t crcAt = 0, compressedAt = 0, sizeAt = 0, methodAt = 0, flagsAt = 0, nameAt = 0;
};

struct EntryLayout {
  HeaderFields local;
  HeaderFields central;
  std::uint64_t localOffset = 0;
  std::size_t offsetFieldAt = 0;  ///< the central record's local header offset field
  std::size_t dataAt = 0;
};

struct ZipLayout {
  std::vector<EntryLayout> entries;
  bool zip64End = false;
  std::uint64_t directoryOffset = 0;
};

/// Parses the end records, every central record and every local header. Independent of the
/// code under test, so it can judge the writer.
inline ZipLayout parseZip(const std::vector<unsigned char>& b) {
  ZipLayout layout;
  std::size_t end = b.size() < 22 ? throw std::runtime_error("too short") : b.size() - 22;
  while (get32(b, end) != 0x06054b50) {
    if (end == 0) throw std::runtime_error("no end record");
    --end;
  }
  std::uint64_t count = get16(b, end + 10);
  layout.directoryOffset = get32(b, end + 16);
  if (end >= 20 && get32(b, end - 20) == 0x07064b50) {
    layout.zip64End = true;
    auto record = static_cast<std::size_t>(get64(b, end - 20 + 8));
    if (get32(b, record) != 0x06064b50) throw std::runtime_error("bad Zip64 end record");
    count = get64(b, record + 32);
    layout.directoryOffset = get64(b, record + 48);
  }
  auto p = static_cast<std::size_t>(layout.directoryOffset);
  for (std::uint64_t i = 0; i < count; ++i) {
    if (get32(b, p) != 0x02014b50) throw std::runtime_error("bad central record");
    EntryLayout e;
    HeaderFields& c = e.central;
    c.at = p;
    c.version = get16(b, p + 6);
    c.flags = get16(b, p + 8);
    c.method = get16(b, p + 10);
    c.dosTime = get32(b, p + 12);
    c.crc = get32(b, p + 16);
    c.compressedSize = get32(b, p + 20);
    c.size = get32(b, p + 24);
    c.crcAt = p + 16, c.compressedAt = p + 20, c.sizeAt = p + 24, c.methodAt = p + 10;
    c.flagsAt = p + 8, c.nameAt = p + 46;
    std::size_t n = get16(b, p + 28), m = get16(b, p + 30), k = get16(b, p + 32);
    c.name.assign(b.begin() + static_cast<long>(p + 46), b.begin() + static_cast<long>(p + 46 + n));
    e.localOffset = get32(b, p + 42);
    e.offsetFieldAt = p + 42;
    for (std::size_t x = p + 46 + n; x + 4 <= p + 46 + n + m;) {
      std::size_t length = get16(b, x + 2);
      if (get16(b, x) == 1) {
        c.zip64Block = true;
        std::size_t f = x + 4;
        if (c.size == 0xFFFFFFFF) c.size = get64(b, f), f += 8;
        if (c.compressedSize == 0xFFFFFFFF) c.compressedSize = get64(b, f), f += 8;
        if (e.localOffset == 0xFFFFFFFF) e.localOffset = get64(b, f), f += 8;
      }
      x += 4 + length;
    }
    p += 46 + n + m + k;

    auto q = static_cast<std::size_t>(e.localOffset);
    if (get32(b, q) != 0x04034b50) throw std::runtime_error("bad local header");
    HeaderFields& l = e.local;
    l.at = q;
    l.version = get16(b, q + 4);
    l.flags = get16(b, q + 6);
    l.method = get16(b, q + 8);
    l.dosTime = get32(b, q + 10);
    l.crc = get32(b, q + 14);
    l.compressedSize = get32(b, q + 18);
    l.size = get32(b, q + 22);
    l.crcAt = q + 14, l.compressedAt = q + 18, l.sizeAt = q + 22, l.methodAt = q + 8;
    l.flagsAt = q + 6, l.nameAt = q + 30;
    std::size_t ln = get16(b, q + 26), lm = get16(b, q + 28);
    l.name.assign(b.begin() + static_cast<long>(q + 30),
                  b.begin() + static_cast<long>(q + 30 + ln));
    for (std::size_t x = q + 30 + ln; x + 4 <= q + 30 + ln + lm;) {
      if (get16(b, x) == 1) {
        l.zip64Block = true;
        l.size = get64(b, x + 4);
        l.compressedSize = get64(b, x + 12);
      }
      x += 4 + get16(b, x + 2);
    }
    e.dataAt = q + 30 + ln + lm;
    layout.entries.push_back(e);
  }
  return layout;
}

/// Fixture: a fresh folder, and the path of a package inside it.
/// The entry of that name; throws if there is none.
inline const EntryLayout& entryNamed(const ZipLayout& layout, const std::string& name) {
  for (const EntryLayout& e : layout.entries) {
    if (e.central.name == name) return e;
  }
  throw std::runtime_error("no entry " + name);
}

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

/// Expects `statement` to throw a std::runtime_error whose text contains every one of the
/// given fragments.
#define EXPECT_ZIP_ERROR(statement, ...)                                              \
  do {                                                                                \
    try {                                                                             \
      statement;                                                                      \
      ADD_FAILURE() << "no exception from: " #statement;                              \
    } catch (const std::runtime_error& zipError_) {                                   \
      for (const std::string& fragment : std::vector<std::string>{__VA_ARGS__}) {     \
        EXPECT_NE(std::string(zipError_.what()).find(fragment), std::string::npos)    \
            << "message \"" << zipError_.what() << "\" lacks \"" << fragment << "\""; \
      }                                                                               \
    }                                                                                 \
  } while (false)

}  // namespace kzftest
