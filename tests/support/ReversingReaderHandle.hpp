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

namespace kdi = Quorlith::kzfdatainterfaces;

/// Claims the names ending in one of its suffixes (".m" and ".p" unless told otherwise) and
/// transforms them by reversing their bytes on the way in and back on the way out, so that a
/// test can tell content that passed through the handle from content that did not. An empty
/// file fails with KZF_READER_ERROR_ZERO_LENGTH, as a reader that cannot transform nothing would.
class ReversingReaderHandle final : public kdi::KZFReaderFactoryHandle {
 public:
  explicit ReversingReaderHandle(std::vector<fl::i18n::ustring> suffixes = {u".m", u".p"})
      : suffixes_(std::move(suffixes)) {}

  /// A factory whose only handle is a reversing handle for ".m" and ".p".
  static kdi::KZFFileReaderFactory factory() {
    kdi::KZFFileReaderFactory result;
    result.addHandle(std::make_shared<ReversingReaderHandle>());
    return result;
  }
  /// The bytes as this handle stores them.
  static std::string reversed(const std::string& bytes) { return {bytes.rbegin(), bytes.rend()}; }

  bool claims(const fl::i18n::ustring& name) const override {
    return std::any_of(suffixes_.begin(), suffixes_.end(), [&name](const fl::i18n::ustring& s) {
      return name.size() >= s.size() && name.compare(name.size() - s.size(), s.size(), s) == 0;
    });
  }
  bool transforms(const fl::i18n::ustring&) const override { return true; }

  std::unique_ptr<kdi::KZFFileReader> createFileReader(
      const fl::i18n::ustring& source) const override {
    struct Reader final : kdi::KZFFileReader {
      explicit Reader(const fl::i18n::ustring& source)
          : plain(kdi::KZFFileReaderFactory().getReader(source)) {}
      long read(char* buffer, std::size_t max, kdi::KZFMetaData& meta) override {
        if (!loaded) {
          char block[4096];
          long n;
          while ((n = plain->read(block, sizeof block, meta)) > 0) content.append(block, n);
          if (n < 0) return fail(plain->getErrorCode());
          if (content.empty()) return fail(kdi::KZF_READER_ERROR_ZERO_LENGTH);
          content = reversed(content);
          loaded = true;
        }
        const std::size_t count = std::min(max, content.size() - served);
        std::memcpy(buffer, content.data() + served, count);
        served += count;
        return static_cast<long>(count);
      }
      long readLink(char* buffer, std::size_t max, kdi::KZFMetaData& meta) override {
        const long n = plain->readLink(buffer, max, meta);
        return n < 0 ? fail(plain->getErrorCode()) : n;
      }
      std::unique_ptr<kdi::KZFFileReader> plain;
      std::string content;
      bool loaded = false;
      std::size_t served = 0;
    };
    return std::make_unique<Reader>(source);
  }

  std::unique_ptr<kdi::KZFStreamReader> createStreamReader(const fl::i18n::ustring& name,
                                                           opc::InputStream& in) const override {
    struct Reader final : kdi::KZFStreamReader {
      Reader(const fl::i18n::ustring& name, opc::InputStream& in)
          : plain(kdi::KZFFileReaderFactory().getReader(name, in)) {}
      kdi::KZFByteArray readAll() override {
        kdi::KZFByteArray bytes = plain->readAll();
        std::reverse(bytes.begin(), bytes.end());
        return bytes;
      }
      std::unique_ptr<kdi::KZFStreamReader> plain;
    };
    return std::make_unique<Reader>(name, in);
  }

 private:
  std::vector<fl::i18n::ustring> suffixes_;
};

}  // namespace kzftest
