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

// Ordinary characters are converted a run at a time: one conversion for a name in the usual
// case, one per character only for a run the process encoding cannot hold whole.
void appendRun(std::string& out, std::u16string_view run) {
  if (run.empty()) return;
  try {
    out += detail::encodeNarrow(ustring(run), detail::OnError::Throw);
  } catch (const std::runtime_error&) {
    for (std::size_t i = 0; i < run.size();) {
      const std::size_t start = i;
      codepoint::nextInUtf16(run, i);
      const std::u16string_view units = run.substr(start, i - start);
      try {
        out += detail::encodeNarrow(ustring(units), detail::OnError::Throw);
      } catch (const std::runtime_error&) {
        appendEscaped(out, units);
      }
    }
  }
}

}  // namespace

std::string describe(std::u16string_view name) {
  std::string out;
  out.reserve(name.size());
  std::size_t run = 0;  // start of the ordinary characters not yet converted
  for (std::size_t i = 0; i < name.size();) {
    const std::size_t start = i;
    if (mustEscape(codepoint::nextInUtf16(name, i))) {
      appendRun(out, name.substr(run, start - run));
      appendEscaped(out, name.substr(start, i - start));
      run = i;
    }
  }
  appendRun(out, name.substr(run));
  return out;
}

}  // namespace fl::i18n
