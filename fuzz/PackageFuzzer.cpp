// Fuzz target: opens arbitrary bytes as a package file and extracts it into a fresh folder.
#include <cstddef>
#include <cstdint>

#include "FuzzTargets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kzffuzz::openAndExtractPackage(data, size);
  return 0;
}
