// Fuzz target: loads arbitrary bytes as a configuration manifest into settings.
#include <cstddef>
#include <cstdint>

#include "FuzzTargets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kzffuzz::loadConfigManifest(data, size);
  return 0;
}
