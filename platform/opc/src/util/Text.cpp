// Private text helpers of the OPC layer, and the public narrow-to-UTF-16 conversions.
#include "Text.hpp"

#include <fl/i18n/ustring.hpp>
#include <opc/String.hpp>
#include <stdexcept>

namespace opc {

ustring toString(const std::string& narrow) { return fl::i18n::to_ustring(narrow); }

ustring toStringFromASCIIStringLiteral(const char* ascii) {
  if (ascii == nullptr) throw std::runtime_error("toStringFromASCIIStringLiteral: null text");
  ustring out;
  for (const char* p = ascii; *p != '\0'; ++p) {
    auto byte = static_cast<unsigned char>(*p);
    if (byte > 0x7F) {
      throw std::runtime_error("toStringFromASCIIStringLiteral: \"" + std::string(ascii) +
                               "\" has a non-ASCII byte at offset " + std::to_string(p - ascii));
    }
    out.push_back(static_cast<char16_t>(byte));
  }
  return out;
}

namespace detail {

namespace {
template <typename View>
bool equalsFolded(View a, View b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  }
  return true;
}

}  // namespace

bool equalsIgnoreAsciiCase(std::u16string_view a, std::u16string_view b) {
  return equalsFolded(a, b);
}

bool equalsIgnoreAsciiCase(std::string_view a, std::string_view b) { return equalsFolded(a, b); }

std::string asciiLowerCopy(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = asciiLower(c);
  return out;
}

ustring widenAscii(std::string_view text) { return ustring(text.begin(), text.end()); }

}  // namespace detail
}  // namespace opc
