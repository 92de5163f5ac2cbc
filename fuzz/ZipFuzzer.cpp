// Fuzz target: opens arbitrary bytes as a zip archive and reads every item to its end.
#include <cstddef>
#include <cstdint>

#include "FuzzTargets.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kzffuzz::readZipArchive(data, size);
  return 0;
}
