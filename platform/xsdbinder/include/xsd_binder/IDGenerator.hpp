// Generates the ids that tie references to declared elements within one XML document.
#pragma once

#include <cstdint>
#include <string>
#include <xsd_binder/Export.hpp>

namespace xsd_binder {

/// Hands out ids for one document. Every id ends in "_" and a counter that grows with each
/// call, so no two ids of one generator are equal, and every id is an NCName (a valid XML id):
/// what the given prefix holds beyond ASCII letters, digits, "_", "-" and "." is replaced.
class XSDB_API IDGenerator {
 public:
  IDGenerator() = default;
  IDGenerator(const IDGenerator&) = delete;
  IDGenerator& operator=(const IDGenerator&) = delete;

  /// A plain id: "ID_" and the counter.
  std::string generate();

  /// An id that starts with a readable form of `prefix` (narrow text in any encoding): each
  /// run of bytes an NCName cannot hold becomes one "_", a leading character that cannot
  /// start an NCName gets a "_" before it; then "_" and the counter. Distinct calls give
  /// distinct ids even when their prefixes read the same after the replacement.
  std::string generate(const std::string& prefix);

 private:
  std::uint64_t counter_ = 0;
};

}  // namespace xsd_binder
