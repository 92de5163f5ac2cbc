// Test support: opc streams over memory. An input over text that counts what it hands
// out, and outputs that collect or fail.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <opc/Stream.hpp>
#include <stdexcept>
#include <string>

namespace kzftest {

/// Reads `text`, at most `chunk` bytes per read; counts the bytes.
class TextInputStream : public opc::InputStream {
 public:
  explicit TextInputStream(std::string text, std::size_t chunk = 4096)
      : text_(std::move(text)), chunk_(chunk) {}

  std::size_t read(char* buffer, std::size_t max) override {
    std::size_t n = std::min({max, chunk_, text_.size() - position_});
    std::memcpy(buffer, text_.data() + position_, n);
    position_ += n;
    eof_ = n == 0;
    bytesRead += n;
    return n;
  }
  bool isEOF() const override { return eof_; }

  std::size_t bytesRead = 0;

 private:
  std::string text_;
  std::size_t chunk_;
  std::size_t position_ = 0;
  bool eof_ = false;
};

/// Collects what is written.
class StringOutputStream : public opc::OutputStream {
 public:
  std::size_t write(const char* data, std::size_t count) override {
    text.append(data, count);
    return count;
  }
  void flush() override {}

  std::string text;
};

/// Fails every write as a full disk would, with kFullDiskMessage.
class FailingOutputStream : public opc::OutputStream {
 public:
  static constexpr const char* kFullDiskMessage =
      "/pkg.kzf: /.META/manifest.xml: no space left on device";
  std::size_t write(const char*, std::size_t) override {
    throw std::runtime_error(kFullDiskMessage);
  }
  void flush() override {}
};

}  // namespace kzftest
