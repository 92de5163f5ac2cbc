// Export macro of libqlkzfpackage: marks what crosses the shared library's boundary.
#pragma once

/// Gives a type, function or variable default visibility so that clients of the shared
/// library can link to it and see its type information; everything else stays hidden.
#define KZF_EXPORT __attribute__((visibility("default")))

/// Keeps a member of an exported class (a private helper) out of the shared library's dynamic
/// symbols: only the library itself calls it.
#define KZF_LOCAL __attribute__((visibility("hidden")))
