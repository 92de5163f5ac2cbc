// How the bytes of a part that is being created are to be stored in the container.
#pragma once

#include <cstdint>
#include <opc/Export.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>

namespace opc::interfaces {

/// Storage hints for a new part, handed to IPhysicalPackage::createItem.
class OPC_API IPhysicalPartInfo {
 public:
  virtual ~IPhysicalPartInfo();
  /// How the part's bytes are stored.
  virtual CompressionType getCompressionType() const = 0;
  /// The expected uncompressed size in bytes; 0 when unknown.
  virtual std::uint64_t getSize() const = 0;
};

}  // namespace opc::interfaces
