// Free-form properties that travel with a record to every reader that reads it.
#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <stdexcept>

namespace Quorlith::kzfdatainterfaces {

void KZFMetaData::set(const std::string& key, const std::string& value) {
  properties_[key] = value;
}

const std::string& KZFMetaData::get(const std::string& key) const {
  auto it = properties_.find(key);
  if (it == properties_.end()) {
    throw std::out_of_range("metadata property '" + key + "' is not set");
  }
  return it->second;
}

bool KZFMetaData::has(const std::string& key) const { return properties_.count(key) != 0; }

}  // namespace Quorlith::kzfdatainterfaces
