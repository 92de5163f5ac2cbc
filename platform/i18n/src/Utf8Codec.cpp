// The hand-written UTF-8 codec: every path passes through it, so ASCII runs take a tight loop.
#include "TextCodec.hpp"

namespace fl::i18n::detail {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

// Decodes the multi-byte sequence that starts at p (p < end, *p >= 0x80). On success stores its
// code point and length and returns nullptr; otherwise returns why the sequence is invalid.
const char* decodeSequence(const unsigned char* p, const unsigned char* end, char32_t& codePoint,
                           std::size_t& length) {
  const unsigned char lead = *p;
  char32_t smallest;
  if (lead < 0xC0) return "unexpected continuation byte";
  if (lead < 0xE0) {
    length = 2;
    codePoint = lead & 0x1F;
    smallest = 0x80;
  } else if (lead < 0xF0) {
    length = 3;
    codePoint = lead & 0x0F;
    smallest = 0x800;
  } else if (lead < 0xF8) {
    length = 4;
    codePoint = lead & 0x07;
    smallest = 0x10000;
  } else {
    return "invalid lead byte";
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (p + i == end || (p[i] & 0xC0) != 0x80) return "truncated sequence";
    codePoint = (codePoint << 6) | (p[i] & 0x3F);
  }
  if (codePoint < smallest) return "overlong encoding";
  if (codePoint >= 0xD800 && codePoint <= 0xDFFF) return "encoded surrogate";
  if (codePoint > 0x10FFFF) return "code point above U+10FFFF";
  return nullptr;
}

}  // namespace

ustring decodeUtf8(std::string_view bytes, OnError onError) {
  // UTF-16 never needs more code units than UTF-8 has bytes, so one allocation suffices.
  ustring out(bytes.size(), u'\0');
  char16_t* o = out.data();
  const auto* const begin = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto* const end = begin + bytes.size();
  const unsigned char* p = begin;
  while (p != end) {
    if (*p < 0x80) {
      *o++ = *p++;
      continue;
    }
    char32_t codePoint = 0;
    std::size_t length = 0;
    if (const char* reason = decodeSequence(p, end, codePoint, length)) {
      if (onError == OnError::Throw) {
        throwInvalidSequence("UTF-8", static_cast<std::size_t>(p - begin), reason);
      }
      *o++ = kReplacement;
      ++p;
      continue;
    }
    if (codePoint >= 0x10000) {
      codePoint -= 0x10000;
      *o++ = static_cast<char16_t>(0xD800 + (codePoint >> 10));
      *o++ = static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
    } else {
      *o++ = static_cast<char16_t>(codePoint);
    }
    p += length;
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return out;
}

std::string encodeUtf8(const ustring& text, OnError onError) {
  // At most three bytes per code unit: a surrogate pair gives four bytes for two units.
  std::string out(text.size() * 3, '\0');
  char* o = out.data();
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n; ++i) {
    char32_t c = text[i];
    if (c < 0x80) {
      *o++ = static_cast<char>(c);
      continue;
    }
    if (c < 0x800) {
      *o++ = static_cast<char>(0xC0 | (c >> 6));
      *o++ = static_cast<char>(0x80 | (c & 0x3F));
      continue;
    }
    if (isHighSurrogate(c) && i + 1 < n && isLowSurrogate(text[i + 1])) {
      const char32_t codePoint = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      *o++ = static_cast<char>(0xF0 | (codePoint >> 18));
      *o++ = static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
      *o++ = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
      *o++ = static_cast<char>(0x80 | (codePoint & 0x3F));
      ++i;
      continue;
    }
    if (isHighSurrogate(c) || isLowSurrogate(c)) {
      if (onError == OnError::Throw) throwLoneSurrogate(i, text[i]);
      c = kReplacement;
    }
    *o++ = static_cast<char>(0xE0 | (c >> 12));
    *o++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *o++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return out;
}

}  // namespace fl::i18n::detail
