// The hand-written UTF-8 codec: every path passes through it, so ASCII runs take a tight loop.
#include <fl/i18n/CodePoint.hpp>

#include "TextCodec.hpp"

namespace fl::i18n {

const char* codepoint::decodeUtf8(const unsigned char* p, const unsigned char* end,
                                  char32_t& codePoint, std::size_t& length) {
  const unsigned char lead = *p;
  char32_t smallest;
  if (lead < 0x80) {
    length = 1;
    codePoint = lead;
    return nullptr;
  }
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
  if (isSurrogate(codePoint)) return "encoded surrogate";
  if (codePoint > 0x10FFFF) return "code point above U+10FFFF";
  return nullptr;
}

namespace detail {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

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
    if (const char* reason = codepoint::decodeUtf8(p, end, codePoint, length)) {
      if (onError == OnError::Throw) {
        throwInvalidSequence("UTF-8", static_cast<std::size_t>(p - begin), reason);
      }
      *o++ = kReplacement;
      ++p;
      continue;
    }
    o = codepoint::writeUtf16(codePoint, o);
    p += length;
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return out;
}

std::string encodeUtf8(const ustring& text, OnError onError) {
  // At most three bytes per code unit: a surrogate pair gives four bytes for two units.
  std::string out(text.size() * 3, '\0');
  char* o = out.data();
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] < 0x80) {
      *o++ = static_cast<char>(text[i++]);
      continue;
    }
    const std::size_t at = i;
    char32_t c = codepoint::nextInUtf16(text, i);
    if (codepoint::isSurrogate(c)) {
      if (onError == OnError::Throw) throwLoneSurrogate(at, text[at]);
      c = kReplacement;
    }
    o = codepoint::writeUtf8(c, o);
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return out;
}

}  // namespace detail
}  // namespace fl::i18n
