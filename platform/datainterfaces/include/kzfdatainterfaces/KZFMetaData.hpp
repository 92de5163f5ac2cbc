// Free-form properties that travel with a record to every reader that reads it.
#pragma once

#include <kzfdatainterfaces/Export.hpp>
#include <map>
#include <string>

namespace Quorlith::kzfdatainterfaces {

/// String properties a caller attaches to a record (for example the key a transforming reader
/// should use); the package library never interprets them, it hands them to each read.
class KZFDI_API KZFMetaData {
 public:
  KZFMetaData() = default;

  /// Sets `key` to `value`, replacing an earlier value.
  void set(const std::string& key, const std::string& value);
  /// The value of `key`. Throws std::out_of_range naming the key when it was never set.
  const std::string& get(const std::string& key) const;
  /// True when `key` has been set.
  bool has(const std::string& key) const;
  /// True when no property has been set.
  bool empty() const { return properties_.empty(); }

 private:
  std::map<std::string, std::string> properties_;
};

}  // namespace Quorlith::kzfdatainterfaces
