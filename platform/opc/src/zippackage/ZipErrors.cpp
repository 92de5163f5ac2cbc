// Error texts of the zip container.
#include "ZipErrors.hpp"

#include <stdexcept>

namespace opc::zippackage {

std::string itemLabel(const std::string& archive, const std::string& item) {
  return archive + ": item '" + item + "'";
}

void throwArchiveError(const std::string& archive, const std::string& reason) {
  throw std::runtime_error(archive + ": " + reason);
}

void throwItemError(const std::string& archive, const std::string& item,
                    const std::string& reason) {
  throw std::runtime_error(itemLabel(archive, item) + ": " + reason);
}

}  // namespace opc::zippackage
