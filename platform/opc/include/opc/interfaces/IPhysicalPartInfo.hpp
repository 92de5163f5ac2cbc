// How the bytes of a part that is being created are to be stored in the container.
#pragma once

#include <cstdint>
#include <opc/Export.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <optional>

namespace opc::interfaces {

/// Storage hints for a new part, handed to IPhysicalPackage::createItem.
class OPC_API IPhysicalPartInfo {
 public:
  virtual ~IPhysicalPartInfo();
  /// How the part's bytes are stored.
  virtual CompressionType getCompressionType() const = 0;
  /// The expected uncompressed size in bytes; 0 when unknown.
  virtual std::uint64_t getSize() const = 0;
  /// The part's own modification time (seconds since the epoch), when it has one; the
  /// container then dates the item by it rather than by its rule for undated items.
  virtual std::optional<std::int64_t> getModificationTime() const { return std::nullopt; }
};

}  // namespace opc::interfaces
