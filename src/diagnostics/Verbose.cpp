// The trace object and the library's one instance of it.
#include <cstdlib>
#include <iostream>
#include <kzfpackage/Verbose.hpp>

namespace Quorlith::kzfpackage {

Verbose::Verbose(bool on, std::ostream& out) : enabled(on), stream(&out) {}

Verbose::~Verbose() = default;

// Decided once, while the library's static objects are built; only the variable's presence
// counts, so an empty value switches the trace on too.
Verbose verbose(std::getenv("DEBUG_KZF_VERBOSE") != nullptr, std::cout);

}  // namespace Quorlith::kzfpackage
