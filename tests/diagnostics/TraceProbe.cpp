// A client of the shared library, run by the trace tests: emits trace lines or prints the
// exported version data, as its one argument says.
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <kzfpackage/Verbose.hpp>
#include <kzfpackage/Version.hpp>

namespace {

void emitTrace() {
  using Quorlith::kzfpackage::verbose;
  verbose << "Create part success." << std::endl;
  verbose << "set file permissions to :" << 420 << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  if (std::strcmp(argv[1], "trace") == 0) {
    emitTrace();
  } else if (std::strcmp(argv[1], "trace-after-setenv") == 0) {
    setenv("DEBUG_KZF_VERBOSE", "", 1);
    emitTrace();
  } else if (std::strcmp(argv[1], "version") == 0) {
    std::cout << libqlkzfpackage_version << '\n' << libqlkzfpackage_build_date << '\n';
  } else {
    return 2;
  }
  return 0;
}
