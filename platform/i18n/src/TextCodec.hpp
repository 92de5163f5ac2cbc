// Conversion internals of the i18n layer: the UTF-8 codec, the iconv codec and the process
// encoding, each strict (throwing) or lossy (replacing).
#pragma once

#include <cstddef>
#include <fl/i18n/ustring.hpp>
#include <string>
#include <string_view>

namespace fl::i18n::detail {

/// What a conversion does with input it cannot convert.
enum class OnError {
  Throw,    ///< std::runtime_error naming the offset
  Replace,  ///< U+FFFD in its place ('?' where the target encoding lacks U+FFFD), and go on
};

/// True for the names of UTF-8 ("UTF-8", "utf8", any case).
bool isUtf8Name(std::string_view encodingName);

/// The narrow process encoding: the current codeset, with the C/POSIX locale's ASCII counted as
/// UTF-8 so that programs that never call setlocale still round-trip every path. Empty if the
/// C library reports no codeset.
std::string processEncodingName();

/// Strict UTF-8 (no overlong forms, surrogates or values above U+10FFFF) to UTF-16 and back.
ustring decodeUtf8(std::string_view bytes, OnError onError);
std::string encodeUtf8(const ustring& text, OnError onError);

/// Throws std::runtime_error unless iconv converts between `encodingName` and UTF-16.
void requireIconvEncoding(const std::string& encodingName);

/// Conversions through iconv between `encodingName` and UTF-16. Throw std::runtime_error for an
/// encoding iconv does not know, whatever `onError` says.
ustring decodeWithIconv(const std::string& encodingName, std::string_view bytes, OnError onError);
std::string encodeWithIconv(const std::string& encodingName, const ustring& text, OnError onError);

/// The one place each conversion error is raised (as std::runtime_error).
[[noreturn]] void throwInvalidSequence(std::string_view encodingName, std::size_t byteOffset,
                                       std::string_view reason);
[[noreturn]] void throwLoneSurrogate(std::size_t unitOffset, char16_t unit);
[[noreturn]] void throwUnrepresentable(std::string_view encodingName, char32_t codePoint,
                                       std::size_t unitOffset);
[[noreturn]] void throwUnsupportedEncoding(std::string_view encodingName, int error);

/// Narrow text in the process encoding to UTF-16 and back.
ustring decodeNarrow(std::string_view bytes, OnError onError);
std::string encodeNarrow(const ustring& text, OnError onError);

}  // namespace fl::i18n::detail
