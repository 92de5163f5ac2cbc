// The usual storage hints for a new part: a compression type and an expected size.
#pragma once

#include <cstdint>
#include <opc/Export.hpp>
#include <opc/interfaces/IPhysicalPartInfo.hpp>

namespace opc::model {

/// Storage hints given by value.
class OPC_API StandardPartInfo : public interfaces::IPhysicalPartInfo {
 public:
  StandardPartInfo(interfaces::CompressionType compression, std::uint64_t size);
  /// `compressionType` 1 is deflated, 0 stored; any other value throws std::runtime_error.
  StandardPartInfo(int compressionType, std::uint64_t size);

  interfaces::CompressionType getCompressionType() const override { return compression_; }
  std::uint64_t getSize() const override { return size_; }
  std::optional<std::int64_t> getModificationTime() const override { return time_; }
  /// Dates the part (seconds since the epoch).
  StandardPartInfo& setModificationTime(std::int64_t time) {
    time_ = time;
    return *this;
  }

 private:
  interfaces::CompressionType compression_;
  std::uint64_t size_;
  std::optional<std::int64_t> time_;
};

}  // namespace opc::model
