// Conversions between UTF-16 and the encodings other than UTF-8, through iconv.
#include <iconv.h>

#include <cerrno>
#include <cstring>
#include <fl/i18n/CodePoint.hpp>

#include "TextCodec.hpp"

namespace fl::i18n::detail {
namespace {

// iconv names UTF-16 without a byte-order mark by its byte order; ustring holds native units.
constexpr const char* kNativeUtf16 =
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? "UTF-16LE" : "UTF-16BE";

/// Owns one iconv conversion descriptor.
class IconvHandle {
 public:
  IconvHandle(const char* to, const char* from, std::string_view encodingName)
      : cd_(iconv_open(to, from)) {
    if (cd_ == reinterpret_cast<iconv_t>(-1)) throwUnsupportedEncoding(encodingName, errno);
  }
  ~IconvHandle() { iconv_close(cd_); }
  IconvHandle(const IconvHandle&) = delete;
  IconvHandle& operator=(const IconvHandle&) = delete;

  iconv_t get() const { return cd_; }

 private:
  iconv_t cd_;
};

/// What to do where iconv stopped: bytes to put in the output, input bytes to skip.
struct Recovery {
  std::string_view replacement;
  std::size_t skip;
};

// Converts all of `input`, then returns the output to its initial shift state. Where iconv
// stops at input it cannot convert, `recover(offset, truncated)` throws or says how to go on.
template <typename Recover>
std::string runIconv(const IconvHandle& cd, std::string_view input, Recover recover) {
  std::string out(input.size() + 16, '\0');
  std::size_t used = 0;
  // iconv's interface is not const-correct; it never writes through the input pointer.
  char* in = const_cast<char*>(input.data());
  std::size_t inLeft = input.size();
  bool flushing = false;
  for (;;) {
    char* outPtr = out.data() + used;
    std::size_t outLeft = out.size() - used;
    const std::size_t result = flushing ? iconv(cd.get(), nullptr, nullptr, &outPtr, &outLeft)
                                        : iconv(cd.get(), &in, &inLeft, &outPtr, &outLeft);
    const int error = errno;
    used = static_cast<std::size_t>(outPtr - out.data());
    if (result != static_cast<std::size_t>(-1)) {
      if (flushing) break;
      flushing = true;
      continue;
    }
    if (error == E2BIG) {
      out.resize(out.size() * 2);
      continue;
    }
    // EILSEQ: input iconv cannot convert; EINVAL: input that ends inside a sequence.
    const Recovery recovery = recover(static_cast<std::size_t>(in - input.data()), error == EINVAL);
    if (out.size() - used < recovery.replacement.size()) out.resize(out.size() * 2 + 16);
    std::memcpy(out.data() + used, recovery.replacement.data(), recovery.replacement.size());
    used += recovery.replacement.size();
    in += recovery.skip;
    inLeft -= recovery.skip;
  }
  out.resize(used);
  return out;
}

std::string_view nativeReplacementCharacter() {
  static const char16_t replacement = 0xFFFD;
  return {reinterpret_cast<const char*>(&replacement), sizeof replacement};
}

}  // namespace

void requireIconvEncoding(const std::string& encodingName) {
  const IconvHandle decoder(kNativeUtf16, encodingName.c_str(), encodingName);
  const IconvHandle encoder(encodingName.c_str(), kNativeUtf16, encodingName);
}

ustring decodeWithIconv(const std::string& encodingName, std::string_view bytes, OnError onError) {
  const IconvHandle cd(kNativeUtf16, encodingName.c_str(), encodingName);
  const std::string utf16 =
      runIconv(cd, bytes, [&](std::size_t offset, bool truncated) -> Recovery {
        if (onError == OnError::Throw) {
          throwInvalidSequence(encodingName, offset,
                               truncated ? "truncated sequence" : "not valid in this encoding");
        }
        return {nativeReplacementCharacter(), truncated ? bytes.size() - offset : 1};
      });
  ustring out(utf16.size() / sizeof(char16_t), u'\0');
  std::memcpy(out.data(), utf16.data(), out.size() * sizeof(char16_t));
  return out;
}

std::string encodeWithIconv(const std::string& encodingName, const ustring& text, OnError onError) {
  // Lone surrogates are refused (or replaced) here, so that iconv stops only at characters
  // the encoding lacks and the error can say which.
  ustring checked;
  const ustring* source = &text;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t at = i;
    if (!codepoint::isSurrogate(codepoint::nextInUtf16(text, i))) continue;
    if (onError == OnError::Throw) throwLoneSurrogate(at, text[at]);
    if (source == &text) checked = text;
    checked[at] = 0xFFFD;
    source = &checked;
  }

  const IconvHandle cd(encodingName.c_str(), kNativeUtf16, encodingName);
  const std::string_view input(reinterpret_cast<const char*>(source->data()),
                               source->size() * sizeof(char16_t));
  return runIconv(cd, input, [&](std::size_t offset, bool) -> Recovery {
    std::size_t unit = offset / sizeof(char16_t);
    const std::size_t at = unit;
    const char32_t codePoint = codepoint::nextInUtf16(*source, unit);
    if (onError == OnError::Throw) throwUnrepresentable(encodingName, codePoint, at);
    return {"?", (unit - at) * sizeof(char16_t)};
  });
}

}  // namespace fl::i18n::detail
