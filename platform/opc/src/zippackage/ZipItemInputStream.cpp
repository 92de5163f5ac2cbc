// Item streams of a zip archive: positioned reads, raw inflate, size and CRC-32 checks.
#include "ZipItemInputStream.hpp"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ZipFormat.hpp"

namespace opc::zippackage {

namespace {
constexpr std::size_t kInputChunk = 64 * 1024;

std::string hex32(std::uint32_t value) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08x", value);
  return text;
}
}  // namespace

/// A raw inflate stream, ended when destroyed. Not movable: zlib keeps a pointer back to it.
class Inflater {
 public:
  Inflater() : rc_(inflateInit2(&stream_, -MAX_WBITS)) {}
  ~Inflater() {
    if (rc_ == Z_OK) inflateEnd(&stream_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  int initResult() const { return rc_; }
  z_stream& stream() { return stream_; }

 private:
  z_stream stream_{};
  int rc_;
};

ZipItemInputStream::ZipItemInputStream(std::shared_ptr<const core::FileHandle> file,
                                       std::string label, std::uint64_t dataOffset,
                                       const interfaces::PhysicalItem& item)
    : file_(std::move(file)),
      label_(std::move(label)),
      position_(dataOffset),
      storedLeft_(item.compressedSize),
      declaredSize_(item.size),
      declaredCrc_(item.crc32),
      deflated_(item.method == format::kMethodDeflated),
      crc_(static_cast<std::uint32_t>(crc32_z(0, nullptr, 0))) {}

ZipItemInputStream::~ZipItemInputStream() = default;

std::size_t ZipItemInputStream::read(char* buffer, std::size_t max) {
  if (!failure_.empty()) throw std::runtime_error(failure_);
  if (finished_ || max == 0) return 0;
  auto* out = reinterpret_cast<unsigned char*>(buffer);
  return deflated_ ? readDeflated(out, max) : readStored(out, max);
}

bool ZipItemInputStream::isEOF() const { return finished_; }

std::size_t ZipItemInputStream::readFile(unsigned char* out, std::size_t max) {
  auto want = static_cast<std::size_t>(std::min<std::uint64_t>(max, storedLeft_));
  std::size_t got = 0;
  try {
    got = file_->readAt(position_, out, want);
  } catch (const std::system_error& error) {
    fail("read error: " + error.code().message());
  }
  if (got == 0) fail("the file ends inside the item's data");
  position_ += got;
  storedLeft_ -= got;
  return got;
}

std::size_t ZipItemInputStream::readStored(unsigned char* out, std::size_t max) {
  std::size_t got = storedLeft_ == 0 ? 0 : readFile(out, max);
  account(out, got);
  if (storedLeft_ == 0) finish();
  return got;
}

std::size_t ZipItemInputStream::readDeflated(unsigned char* out, std::size_t max) {
  if (!inflater_) {
    inflater_ = std::make_unique<Inflater>();
    if (inflater_->initResult() != Z_OK) {
      fail(std::string("cannot set up the inflater: ") + zError(inflater_->initResult()));
    }
    input_.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(kInputChunk, std::max<std::uint64_t>(storedLeft_, 1))));
  }
  z_stream& z = inflater_->stream();
  auto offered = static_cast<unsigned>(std::min<std::size_t>(max, UINT_MAX));
  z.next_out = out;
  z.avail_out = offered;
  bool ended = false;
  while (z.avail_out > 0) {
    if (z.avail_in == 0 && storedLeft_ > 0) {
      z.avail_in = static_cast<unsigned>(readFile(input_.data(), input_.size()));
      z.next_in = input_.data();
    }
    int rc = inflate(&z, Z_NO_FLUSH);
    if (rc == Z_STREAM_END) {
      ended = true;
      break;
    }
    if (rc == Z_BUF_ERROR && z.avail_in == 0 && storedLeft_ == 0) {
      fail("its compressed data ends before its deflate stream does");
    }
    if (rc != Z_OK && rc != Z_BUF_ERROR) {
      fail(std::string("its compressed data is corrupt (inflate: ") +
           (z.msg != nullptr ? z.msg : zError(rc)) + ")");
    }
  }
  std::size_t got = offered - z.avail_out;
  account(out, got);
  if (ended) {
    if (z.avail_in > 0 || storedLeft_ > 0)
      fail("has stored bytes after the end of its deflate stream");
    finish();
  }
  return got;
}

void ZipItemInputStream::account(const unsigned char* data, std::size_t count) {
  produced_ += count;
  if (produced_ > declaredSize_) {
    fail("holds more than its declared size of " + std::to_string(declaredSize_) + " bytes");
  }
  crc_ = static_cast<std::uint32_t>(crc32_z(crc_, data, count));
}

void ZipItemInputStream::finish() {
  if (produced_ != declaredSize_) {
    fail("holds " + std::to_string(produced_) + " bytes, fewer than its declared size of " +
         std::to_string(declaredSize_));
  }
  if (crc_ != declaredCrc_) {
    fail("CRC-32 mismatch: the data gives " + hex32(crc_) + ", the directory declares " +
         hex32(declaredCrc_));
  }
  finished_ = true;
}

void ZipItemInputStream::fail(const std::string& reason) {
  failure_ = label_ + ": " + reason;
  throw std::runtime_error(failure_);
}

}  // namespace opc::zippackage
