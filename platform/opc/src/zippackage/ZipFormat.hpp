// Record layouts of the zip format and little-endian field access.
#pragma once

#include <cstddef>
#include <cstdint>

namespace opc::zippackage::format {

constexpr std::uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr std::uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;

constexpr std::size_t kLocalHeaderSize = 30;
constexpr std::size_t kCentralHeaderSize = 46;
constexpr std::size_t kZip64EndSize = 56;
constexpr std::size_t kZip64LocatorSize = 20;
constexpr std::size_t kEndSize = 22;

constexpr std::uint16_t kZip64ExtraId = 0x0001;
/// The local header's Zip64 block: id, length, uncompressed and compressed size.
constexpr std::size_t kLocalZip64ExtraSize = 20;

/// The value a 32-bit (16-bit) field holds when the real value is in the Zip64 records.
constexpr std::uint32_t kZip64Marker32 = 0xFFFFFFFF;
constexpr std::uint16_t kZip64Marker16 = 0xFFFF;

constexpr std::uint16_t kMethodStored = 0;
constexpr std::uint16_t kMethodDeflated = 8;

constexpr std::uint16_t kFlagEncrypted = 0x0001;
constexpr std::uint16_t kFlagUtf8Name = 0x0800;

/// "Version needed to extract": 2.0 for deflate, 4.5 once any Zip64 field is used.
constexpr std::uint16_t kVersionDeflate = 20;
constexpr std::uint16_t kVersionZip64 = 45;
/// "Version made by": the high byte names the host system, 3 = Unix, so that the high half of
/// the external attributes is read as a Unix mode.
constexpr std::uint16_t kHostUnix = 3;
/// External attributes of every item: a regular file, rw-r--r--.
constexpr std::uint32_t kRegularFileAttributes = 0100644u << 16;

/// A deflate stream cannot expand data by more than this factor; an entry claiming more is
/// damaged or hostile.
constexpr std::uint64_t kMaxDeflateRatio = 1032;

inline void put16(unsigned char* p, std::uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

inline void put32(unsigned char* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

inline void put64(unsigned char* p, std::uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

inline std::uint16_t get16(const unsigned char* p) {
  return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline std::uint32_t get32(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
         (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

inline std::uint64_t get64(const unsigned char* p) {
  return static_cast<std::uint64_t>(get32(p)) | (static_cast<std::uint64_t>(get32(p + 4)) << 32);
}

}  // namespace opc::zippackage::format
