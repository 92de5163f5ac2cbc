// Unicode code points in UTF-16 and UTF-8: the one place every layer decodes and encodes them.
#pragma once

#include <cstddef>
#include <string_view>

namespace fl::i18n::codepoint {

constexpr bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
constexpr bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

/// The code point that starts at text[i], moving `i` past it (one or two units). A surrogate
/// without its partner comes back as itself, so callers that refuse it test isSurrogate.
inline char32_t nextInUtf16(std::u16string_view text, std::size_t& i) {
  const char32_t unit = text[i++];
  if (isHighSurrogate(unit) && i < text.size() && isLowSurrogate(text[i])) {
    return 0x10000 + ((unit - 0xD800) << 10) + (text[i++] - 0xDC00);
  }
  return unit;
}

/// Writes the UTF-16 form of `c` (at most U+10FFFF) at `out`; returns the end of what it wrote.
inline char16_t* writeUtf16(char32_t c, char16_t* out) {
  if (c < 0x10000) {
    *out++ = static_cast<char16_t>(c);
  } else {
    c -= 0x10000;
    *out++ = static_cast<char16_t>(0xD800 + (c >> 10));
    *out++ = static_cast<char16_t>(0xDC00 + (c & 0x3FF));
  }
  return out;
}

/// Writes the UTF-8 form of `c` (at most U+10FFFF; a surrogate gets its three-byte shape) at
/// `out`, at most four bytes; returns the end of what it wrote.
inline char* writeUtf8(char32_t c, char* out) {
  if (c < 0x80) {
    *out++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *out++ = static_cast<char>(0xC0 | (c >> 6));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out++ = static_cast<char>(0xE0 | (c >> 12));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out++ = static_cast<char>(0xF0 | (c >> 18));
    *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}

/// Strictly decodes the UTF-8 sequence that starts at `p` (p < end; one byte for ASCII): no
/// overlong forms, surrogates or values above U+10FFFF. On success stores the code point and
/// the sequence's length in bytes and returns nullptr; otherwise returns why the sequence is
/// invalid ("truncated sequence", "overlong encoding", ...), as conversion errors show it.
const char* decodeUtf8(const unsigned char* p, const unsigned char* end, char32_t& codePoint,
                       std::size_t& length);

}  // namespace fl::i18n::codepoint
