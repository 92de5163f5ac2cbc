// The reader of files no handle claims: the file's bytes unchanged, in blocks.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFFileReader.hpp>
#include <opc/core/FileHandle.hpp>
#include <string>

namespace Quorlith::kzfdatainterfaces {

/// Reads a file unchanged. The file is opened at the first read, so that creating a reader
/// (for a link, which is only ever asked for its text) costs no system call.
class PlainFileReader final : public KZFFileReader {
 public:
  explicit PlainFileReader(const fl::i18n::ustring& source) : source_(source) {}

  long read(char* buffer, std::size_t max, KZFMetaData& metaData) override;
  long readLink(char* buffer, std::size_t max, KZFMetaData& metaData) override;

 private:
  /// Puts the source's narrow path into `path`; false (failure recorded) when the path has no
  /// form in the process encoding.
  bool narrowSource(std::string& path);

  fl::i18n::ustring source_;
  opc::core::FileHandle fd_;     ///< read only: closed quietly
  bool pastFirstBlock_ = false;  ///< whether the first block was read (and read-ahead decided)
};

}  // namespace Quorlith::kzfdatainterfaces
