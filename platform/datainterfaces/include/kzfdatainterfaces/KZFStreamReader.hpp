// The reader through which a stored part's content leaves a package, restored.
#pragma once

#include <kzfdatainterfaces/Export.hpp>
#include <kzfdatainterfaces/KZFByteArray.hpp>

namespace Quorlith::kzfdatainterfaces {

/// Reads the whole content of one stored part and undoes whatever transformation the matching
/// file reader applied when the part was written.
class KZFDI_API KZFStreamReader {
 public:
  virtual ~KZFStreamReader();
  KZFStreamReader(const KZFStreamReader&) = delete;
  KZFStreamReader& operator=(const KZFStreamReader&) = delete;

  /// The part's whole content, restored. Errors of the underlying stream propagate as the
  /// std::runtime_error it throws; a reader that cannot restore the content throws
  /// std::runtime_error naming the part.
  virtual KZFByteArray readAll() = 0;

 protected:
  KZFStreamReader() = default;
};

}  // namespace Quorlith::kzfdatainterfaces
