// Fuzz target: loads arbitrary bytes as a file manifest into an extraction manager.
#include <cstddef>
#include <cstdint>

#include "FuzzTargets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kzffuzz::loadFileManifest(data, size);
  return 0;
}
