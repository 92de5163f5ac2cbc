// Showing names in messages: readable in the locale, escaped where a reader would be misled.
#include <fl/i18n/CodePoint.hpp>
#include <fl/i18n/Describe.hpp>
#include <stdexcept>

#include "TextCodec.hpp"

namespace fl::i18n {
namespace {

bool mustEscape(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029 || c == u'\\' ||
         codepoint::isSurrogate(c);
}

void appendEscaped(std::string& out, std::u16string_view units) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (const char16_t unit : units) {
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += kHex[(unit >> shift) & 0xF];
  }
}

}  // namespace

std::string describe(std::u16string_view name) {
  std::string out;
  out.reserve(name.size());
  for (std::size_t i = 0; i < name.size();) {
    const std::size_t start = i;
    const char32_t c = codepoint::nextInUtf16(name, i);
    const std::u16string_view units = name.substr(start, i - start);
    if (mustEscape(c)) {
      appendEscaped(out, units);
    } else if (c < 0x80) {
      out += static_cast<char>(c);
    } else {
      try {
        out += detail::encodeNarrow(ustring(units), detail::OnError::Throw);
      } catch (const std::runtime_error&) {
        appendEscaped(out, units);
      }
    }
  }
  return out;
}

}  // namespace fl::i18n
