// The reader of stored parts no handle claims: the part's bytes unchanged.
#pragma once

#include <kzfdatainterfaces/KZFStreamReader.hpp>
#include <opc/Stream.hpp>

namespace Quorlith::kzfdatainterfaces {

/// Reads a part's whole stream unchanged.
class PlainStreamReader final : public KZFStreamReader {
 public:
  /// Reads from `in`, which must outlive the reader.
  explicit PlainStreamReader(opc::InputStream& in) : in_(in) {}

  KZFByteArray readAll() override;

 private:
  opc::InputStream& in_;
};

}  // namespace Quorlith::kzfdatainterfaces
