// The library's version and build date, exported as C data for the loader's clients.
#pragma once

#include <kzfpackage/Export.hpp>

extern "C" {

/// The library's version text, "8.0.0.614".
extern KZF_EXPORT const char* const libqlkzfpackage_version;
/// The library's build date text in the compiler's date form, "Jul 24 2012".
extern KZF_EXPORT const char* const libqlkzfpackage_build_date;
}
