// Private text helpers of the OPC layer: ASCII case folding and texts for error messages.
#pragma once

#include <fl/i18n/Describe.hpp>
#include <opc/String.hpp>
#include <string>
#include <string_view>

namespace opc::detail {

inline char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }
inline char16_t asciiLower(char16_t c) {
  return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
}

/// ASCII case-insensitive equality (other characters compare exactly).
bool equalsIgnoreAsciiCase(std::u16string_view a, std::u16string_view b);
bool equalsIgnoreAsciiCase(std::string_view a, std::string_view b);

/// `text` with ASCII letters lower-cased.
std::string asciiLowerCopy(std::string_view text);

/// Names in the layer's messages are shown as every layer shows them.
using fl::i18n::describe;

/// `text` (ASCII only, as part names and item names are) widened to UTF-16.
ustring widenAscii(std::string_view text);

}  // namespace opc::detail
