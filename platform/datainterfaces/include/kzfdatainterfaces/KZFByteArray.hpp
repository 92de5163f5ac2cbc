// An owned run of raw bytes: key material, and the restored content of a stored part.
#pragma once

#include <cstddef>
#include <kzfdatainterfaces/Export.hpp>
#include <string>
#include <vector>

namespace Quorlith::kzfdatainterfaces {

/// Raw bytes owned by value; copies are deep and equality compares the bytes.
class KZFDI_API KZFByteArray {
 public:
  KZFByteArray() = default;
  /// Copies `count` bytes from `data` (which may be null when `count` is 0).
  KZFByteArray(const char* data, std::size_t count);
  /// Copies the bytes of `bytes`, embedded NULs included.
  explicit KZFByteArray(const std::string& bytes);
  /// Takes over the bytes of `bytes` without copying them.
  explicit KZFByteArray(std::vector<char> bytes);

  char* begin() { return bytes_.data(); }
  const char* begin() const { return bytes_.data(); }
  char* end() { return bytes_.data() + bytes_.size(); }
  const char* end() const { return bytes_.data() + bytes_.size(); }
  std::size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }

  /// Appends `count` bytes from `data`.
  void append(const char* data, std::size_t count);
  /// Appends the bytes of `other`.
  void append(const KZFByteArray& other);

  friend bool operator==(const KZFByteArray& a, const KZFByteArray& b) {
    return a.bytes_ == b.bytes_;
  }
  friend bool operator!=(const KZFByteArray& a, const KZFByteArray& b) { return !(a == b); }

 private:
  std::vector<char> bytes_;
};

}  // namespace Quorlith::kzfdatainterfaces
