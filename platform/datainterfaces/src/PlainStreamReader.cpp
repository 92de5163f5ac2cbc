// The reader of stored parts no handle claims: the part's bytes unchanged.
#include "PlainStreamReader.hpp"

#include <utility>
#include <vector>

namespace Quorlith::kzfdatainterfaces {

KZFByteArray PlainStreamReader::readAll() {
  constexpr std::size_t kBlock = 64 * 1024;
  // Read straight into the growing buffer and hand it over whole: no block is copied twice.
  std::vector<char> bytes;
  for (;;) {
    const std::size_t filled = bytes.size();
    bytes.resize(filled + kBlock);
    const std::size_t n = in_.read(bytes.data() + filled, kBlock);
    bytes.resize(filled + n);
    if (n == 0) return KZFByteArray(std::move(bytes));
  }
}

}  // namespace Quorlith::kzfdatainterfaces
