// Test support: a reader handle that stores claimed files with their bytes reversed.
#pragma once

#include <algorithm>
#include <cstring>
#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFFileReader.hpp>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <kzfdatainterfaces/KZFReaderFactoryHandle.hpp>
#include <kzfdatainterfaces/KZFStreamReader.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kzftest {

/// Reads a whole (small) file through the plain reader, reverses it and serves it in blocks.
/// An empty file fails with KZF_READER_ERROR_ZERO_LENGTH, as a reader that cannot transform
/// nothing would. Link texts are read unchanged.
class ReversingFileReader final : public Quorlith::kzfdatainterfaces::KZFFileReader {
 public:
  explicit ReversingFileReader(const fl::i18n::ustring& source)
      : plain_(Quorlith::kzfdatainterfaces::KZFFileReaderFactory().getReader(source)) {}

  long read(char* buffer, std::size_t max,
            Quorlith::kzfdatainterfaces::KZFMetaData& metaData) override {
    if (!loaded_) {
      char block[4096];
      long n;
      while ((n = plain_->read(block, sizeof block, metaData)) > 0) content_.append(block, n);
      if (n < 0) return fail(plain_->getErrorCode());
      if (content_.empty()) return fail(Quorlith::kzfdatainterfaces::KZF_READER_ERROR_ZERO_LENGTH);
      std::reverse(content_.begin(), content_.end());
      loaded_ = true;
    }
    const std::size_t count = std::min(max, content_.size() - served_);
    std::memcpy(buffer, content_.data() + served_, count);
    served_ += count;
    return static_cast<long>(count);
  }

  long readLink(char* buffer, std::size_t max,
                Quorlith::kzfdatainterfaces::KZFMetaData& metaData) override {
    long n = plain_->readLink(buffer, max, metaData);
    return n < 0 ? fail(plain_->getErrorCode()) : n;
  }

 private:
  std::unique_ptr<Quorlith::kzfdatainterfaces::KZFFileReader> plain_;
  std::string content_;
  bool loaded_ = false;
  std::size_t served_ = 0;
};

/// Reads a stored part whole and reverses it back.
class ReversingStreamReader final : public Quorlith::kzfdatainterfaces::KZFStreamReader {
 public:
  ReversingStreamReader(const fl::i18n::ustring& name, opc::InputStream& in)
      : plain_(Quorlith::kzfdatainterfaces::KZFFileReaderFactory().getReader(name, in)) {}

  Quorlith::kzfdatainterfaces::KZFByteArray readAll() override {
    Quorlith::kzfdatainterfaces::KZFByteArray bytes = plain_->readAll();
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
  }

 private:
  std::unique_ptr<Quorlith::kzfdatainterfaces::KZFStreamReader> plain_;
};

/// Claims the names ending in one of its suffixes (".m" and ".p" unless told otherwise) and
/// transforms them by reversing their bytes on the way in and back on the way out, so that a
/// test can tell content that passed through the handle from content that did not.
class ReversingReaderHandle final : public Quorlith::kzfdatainterfaces::KZFReaderFactoryHandle {
 public:
  explicit ReversingReaderHandle(std::vector<fl::i18n::ustring> suffixes = {u".m", u".p"})
      : suffixes_(std::move(suffixes)) {}

  /// A factory whose only handle is a reversing handle with the given suffixes.
  static Quorlith::kzfdatainterfaces::KZFFileReaderFactory factory(
      std::vector<fl::i18n::ustring> suffixes = {u".m", u".p"}) {
    Quorlith::kzfdatainterfaces::KZFFileReaderFactory result;
    result.addHandle(std::make_shared<ReversingReaderHandle>(std::move(suffixes)));
    return result;
  }

  /// The bytes as this handle stores them.
  static std::string reversed(std::string bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
  }

  bool claims(const fl::i18n::ustring& name) const override {
    return std::any_of(suffixes_.begin(), suffixes_.end(), [&name](const fl::i18n::ustring& s) {
      return name.size() >= s.size() && name.compare(name.size() - s.size(), s.size(), s) == 0;
    });
  }
  bool transforms(const fl::i18n::ustring& /*name*/) const override { return true; }

  std::unique_ptr<Quorlith::kzfdatainterfaces::KZFFileReader> createFileReader(
      const fl::i18n::ustring& source) const override {
    return std::make_unique<ReversingFileReader>(source);
  }
  std::unique_ptr<Quorlith::kzfdatainterfaces::KZFStreamReader> createStreamReader(
      const fl::i18n::ustring& name, opc::InputStream& in) const override {
    return std::make_unique<ReversingStreamReader>(name, in);
  }

 private:
  std::vector<fl::i18n::ustring> suffixes_;
};

}  // namespace kzftest
