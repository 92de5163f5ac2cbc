// The library's version and build date.
#include <kzfpackage/Version.hpp>

// Fixed texts rather than __DATE__: the build date names the release, not this compilation.
const char* const libqlkzfpackage_version = "8.0.0.614";
const char* const libqlkzfpackage_build_date = "Jul 24 2012";
