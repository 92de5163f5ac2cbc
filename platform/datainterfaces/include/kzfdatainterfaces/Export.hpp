// Symbol export macro of the data-interfaces layer: its types cross the shared library's boundary.
#pragma once

/// Gives a data-interfaces type default visibility so that the package library's clients can
/// use it and see its type information.
#define KZFDI_API __attribute__((visibility("default")))
