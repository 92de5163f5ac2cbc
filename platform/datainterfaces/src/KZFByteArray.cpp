// An owned run of raw bytes: key material, and the restored content of a stored part.
#include <algorithm>
#include <kzfdatainterfaces/KZFByteArray.hpp>
#include <utility>

namespace Quorlith::kzfdatainterfaces {

KZFByteArray::KZFByteArray(const char* data, std::size_t count) { append(data, count); }

KZFByteArray::KZFByteArray(const std::string& bytes) : bytes_(bytes.begin(), bytes.end()) {}

KZFByteArray::KZFByteArray(std::vector<char> bytes) : bytes_(std::move(bytes)) {}

void KZFByteArray::append(const char* data, std::size_t count) {
  // A null pointer is only acceptable with a zero count; inserting from it would still be
  // undefined pointer arithmetic, so it is skipped.
  if (count != 0) bytes_.insert(bytes_.end(), data, data + count);
}

void KZFByteArray::append(const KZFByteArray& other) {
  // Grow first and copy from other's storage afterwards: `other` may be this array, whose
  // first `count` bytes are still the original content after the resize.
  const std::size_t old = bytes_.size();
  const std::size_t count = other.bytes_.size();
  bytes_.resize(old + count);
  std::copy_n(other.bytes_.data(), count, bytes_.data() + old);
}

}  // namespace Quorlith::kzfdatainterfaces
