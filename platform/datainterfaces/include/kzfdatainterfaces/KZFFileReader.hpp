// The reader through which a source file's bytes (or a symbolic link's text) enter a package.
#pragma once

#include <cstddef>
#include <kzfdatainterfaces/Export.hpp>
#include <kzfdatainterfaces/KZFMetaData.hpp>

namespace Quorlith::kzfdatainterfaces {

/// Error code of a reader that was given an empty input it cannot process (a transforming
/// reader has nothing to transform). Every other error code is a negated errno value.
inline constexpr int KZF_READER_ERROR_ZERO_LENGTH = -1004;

/// Reads one source file, possibly transforming its bytes on the way into the package.
/// Failures are reported as -1 with an error code rather than thrown, because the package
/// library maps the codes to its own messages (an empty input is a different error from an
/// unreadable one).
class KZFDI_API KZFFileReader {
 public:
  virtual ~KZFFileReader();
  KZFFileReader(const KZFFileReader&) = delete;
  KZFFileReader& operator=(const KZFFileReader&) = delete;

  /// Reads up to `max` bytes of (possibly transformed) content into `buffer`. Returns the
  /// count, 0 at the end, or -1 on failure (see getErrorCode). `metaData` is the record's.
  virtual long read(char* buffer, std::size_t max, KZFMetaData& metaData) = 0;

  /// Reads the text of the source as a symbolic link (the link itself, not followed) into
  /// `buffer`, unterminated. Returns the count or -1 on failure (see getErrorCode).
  virtual long readLink(char* buffer, std::size_t max, KZFMetaData& metaData) = 0;

  /// The code of the last failure: KZF_READER_ERROR_ZERO_LENGTH or a negated errno value;
  /// 0 before any failure. Meaningful after read or readLink returned -1.
  int getErrorCode() const { return errorCode_; }

 protected:
  KZFFileReader() = default;
  /// Records `errorCode` as the reader's failure and returns -1, the failing result.
  long fail(int errorCode) {
    errorCode_ = errorCode;
    return -1;
  }

 private:
  int errorCode_ = 0;
};

}  // namespace Quorlith::kzfdatainterfaces
