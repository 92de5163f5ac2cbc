// Conversions between UTF-16 and narrow text: the process encoding, UTF-8 and named encodings.
#include <langinfo.h>
#include <strings.h>

#include <cstring>
#include <fl/i18n/ustring.hpp>
#include <utility>

#include "TextCodec.hpp"

namespace fl::i18n {
namespace detail {
namespace {

// The codeset the C library reports for the C/POSIX locale.
constexpr const char* kCLocaleCodeset = "ANSI_X3.4-1968";

// A program that never called setlocale runs in the C locale, whose codeset is ASCII; treating
// it as UTF-8 lets such a program still round-trip every path. An empty codeset counts alike.
bool countsAsUtf8(const char* codeset) {
  return *codeset == '\0' || isUtf8Name(codeset) || std::strcmp(codeset, kCLocaleCodeset) == 0;
}

// The codeset of the calling thread's LC_CTYPE locale, asked at each conversion because the
// program may call setlocale at any time.
const char* currentCodeset() { return ::nl_langinfo(CODESET); }

}  // namespace

bool isUtf8Name(std::string_view encodingName) {
  return (encodingName.size() == 5 && ::strncasecmp(encodingName.data(), "UTF-8", 5) == 0) ||
         (encodingName.size() == 4 && ::strncasecmp(encodingName.data(), "UTF8", 4) == 0);
}

std::string processEncodingName() {
  const char* codeset = currentCodeset();
  if (*codeset == '\0') return {};
  return countsAsUtf8(codeset) ? "UTF-8" : codeset;
}

ustring decodeNarrow(std::string_view bytes, OnError onError) {
  const char* codeset = currentCodeset();
  if (countsAsUtf8(codeset)) return decodeUtf8(bytes, onError);
  return decodeWithIconv(codeset, bytes, onError);
}

std::string encodeNarrow(const ustring& text, OnError onError) {
  const char* codeset = currentCodeset();
  if (countsAsUtf8(codeset)) return encodeUtf8(text, onError);
  return encodeWithIconv(codeset, text, onError);
}

}  // namespace detail

ustring to_ustring(std::string_view narrow) {
  return detail::decodeNarrow(narrow, detail::OnError::Throw);
}

std::string to_string(const ustring& text) {
  return detail::encodeNarrow(text, detail::OnError::Throw);
}

ustring utf8_to_ustring(std::string_view utf8) {
  return detail::decodeUtf8(utf8, detail::OnError::Throw);
}

std::string ustring_to_utf8(const ustring& text) {
  return detail::encodeUtf8(text, detail::OnError::Throw);
}

Converter::Converter(std::string encodingName)
    : encodingName_(std::move(encodingName)), utf8_(detail::isUtf8Name(encodingName_)) {
  if (!utf8_) detail::requireIconvEncoding(encodingName_);
}

ustring Converter::to_ustring(std::string_view bytes) const {
  return utf8_ ? detail::decodeUtf8(bytes, detail::OnError::Throw)
               : detail::decodeWithIconv(encodingName_, bytes, detail::OnError::Throw);
}

std::string Converter::from_ustring(const ustring& text) const {
  return utf8_ ? detail::encodeUtf8(text, detail::OnError::Throw)
               : detail::encodeWithIconv(encodingName_, text, detail::OnError::Throw);
}

}  // namespace fl::i18n
