// The debug trace: a stream-like object that writes to standard output when switched on.
#pragma once

#include <ios>
#include <kzfpackage/Export.hpp>
#include <ostream>

namespace Quorlith::kzfpackage {

/// The trace. Used like a stream, one chain of insertions per line ending with std::endl:
///   verbose << "Create part success." << std::endl;
/// Every insertion tests `enabled` and forwards the value to `stream` only when it is set.
class KZF_EXPORT Verbose {
 public:
  /// A trace that writes to `out` when `on` is true.
  Verbose(bool on, std::ostream& out);
  virtual ~Verbose();

  Verbose(const Verbose&) = delete;
  Verbose& operator=(const Verbose&) = delete;

  /// Forwards any value a std::ostream accepts (texts, strings, numbers, std::setw(...)).
  template <typename T>
  Verbose& operator<<(const T& value) {
    if (enabled) *stream << value;
    return *this;
  }

  /// Forwards stream manipulators such as std::endl, std::hex, std::boolalpha.
  Verbose& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    if (enabled) manipulator(*stream);
    return *this;
  }
  Verbose& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
    if (enabled) manipulator(*stream);
    return *this;
  }

  /// Whether insertions reach the stream.
  bool enabled;
  /// The stream that receives trace text.
  std::ostream* stream;
};

/// The library's one trace, writing to std::cout. It is switched on when the environment
/// variable DEBUG_KZF_VERBOSE is present (with any value, also empty) as the library is
/// loaded; later changes of the environment have no effect.
extern KZF_EXPORT Verbose verbose;

}  // namespace Quorlith::kzfpackage
