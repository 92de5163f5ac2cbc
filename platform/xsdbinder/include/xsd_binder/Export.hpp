// Symbol export macro of the data-binding runtime: its types cross the shared library's boundary.
#pragma once

/// Gives a data-binding type or function default visibility so that the package library's
/// clients can use it and see its type information.
#define XSDB_API __attribute__((visibility("default")))
