// Private text helpers of the OPC layer, and the public narrow-to-UTF-16 conversions.
#include "Text.hpp"

#include <cstdio>
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

void appendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
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

std::string describe(const ustring& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t unit = text[i];
    bool high = unit >= 0xD800 && unit <= 0xDBFF;
    bool low = unit >= 0xDC00 && unit <= 0xDFFF;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00));
      ++i;
    } else if (high || low) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(unit));
      out += escaped;
    } else {
      appendUtf8(out, unit);
    }
  }
  return out;
}

ustring widenAscii(std::string_view text) { return ustring(text.begin(), text.end()); }

}  // namespace detail
}  // namespace opc
