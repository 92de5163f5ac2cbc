// Storage hints of new parts.
#include <opc/model/StandardPartInfo.hpp>
#include <stdexcept>
#include <string>

namespace opc {
namespace interfaces {
IPhysicalPartInfo::~IPhysicalPartInfo() = default;
}

namespace model {

namespace {
interfaces::CompressionType compressionFromNumber(int number) {
  switch (number) {
    case 0:
      return interfaces::CompressionType::Stored;
    case 1:
      return interfaces::CompressionType::Deflated;
    default:
      throw std::runtime_error("unknown compression type " + std::to_string(number) +
                               " (0 stored, 1 deflated)");
  }
}
}  // namespace

StandardPartInfo::StandardPartInfo(interfaces::CompressionType compression, std::uint64_t size)
    : compression_(compression), size_(size) {}

StandardPartInfo::StandardPartInfo(int compressionType, std::uint64_t size)
    : compression_(compressionFromNumber(compressionType)), size_(size) {}

}  // namespace model
}  // namespace opc
