// URI references: percent-encoding of path text and resolution of relative references.
#include <array>
#include <fl/i18n/CodePoint.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/URI.hpp>
#include <string>
#include <vector>

namespace opc::model {

namespace {

constexpr char16_t kHexDigits[] = u"0123456789ABCDEF";

bool isAsciiAlpha(char32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isAsciiDigit(char32_t c) { return c >= '0' && c <= '9'; }

bool isUnreserved(char32_t c) {
  return isAsciiAlpha(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

bool isSubDelimiter(char32_t c) {
  switch (c) {
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case ';':
    case '=':
      return true;
    default:
      return false;
  }
}

// These have a meaning in any URI (escape, IP literal, fragment, query), so they are encoded
// even when the caller asks to keep them.
bool isAlwaysEncoded(char32_t c) {
  return c == '%' || c == '[' || c == ']' || c == '#' || c == '?';
}

// The scheme of a reference ends at the first ":" that comes before any "/", "?" or "#".
bool startsWithScheme(const ustring& text) {
  if (text.empty() || !isAsciiAlpha(text[0])) return false;
  for (char16_t c : text) {
    if (c == u':') return true;
    if (!(isAsciiAlpha(c) || isAsciiDigit(c) || c == u'+' || c == u'-' || c == u'.')) return false;
  }
  return false;
}

// Removes "." and ".." segments of a path; empty segments are kept.
ustring removeDotSegments(const ustring& path) {
  bool absolute = !path.empty() && path[0] == u'/';
  std::vector<ustring> out;
  std::size_t start = absolute ? 1 : 0;
  while (start <= path.size()) {
    std::size_t slash = path.find(u'/', start);
    bool last = slash == ustring::npos;
    ustring segment = path.substr(start, last ? ustring::npos : slash - start);
    if (segment == u"." || segment == u"..") {
      if (segment == u".." && !out.empty()) out.pop_back();
      if (last) out.emplace_back();  // "a/." and "a/.." name a folder: keep the final "/"
    } else {
      out.push_back(std::move(segment));
    }
    if (last) break;
    start = slash + 1;
  }
  ustring result = absolute ? u"/" : u"";
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (i > 0) result += u'/';
    result += out[i];
  }
  return result;
}

}  // namespace

URI::URI(const ustring& text) : text_(text) {}

bool URI::hasScheme() const { return startsWithScheme(text_); }

bool URI::isAbsolutePath() const { return !text_.empty() && text_[0] == u'/' && !hasScheme(); }

URI URI::resolve(const URI& reference) const {
  const ustring& ref = reference.text_;
  if (startsWithScheme(ref) || ref.compare(0, 2, u"//") == 0) return reference;

  std::size_t suffixAt = ref.find_first_of(u"?#");
  ustring refPath = ref.substr(0, suffixAt);
  ustring suffix = suffixAt == ustring::npos ? ustring() : ref.substr(suffixAt);

  ustring basePath = text_.substr(0, text_.find_first_of(u"?#"));
  if (basePath.empty()) basePath = u"/";

  if (refPath.empty()) return URI(basePath + suffix);
  if (refPath[0] == u'/') return URI(removeDotSegments(refPath) + suffix);
  ustring merged = basePath.substr(0, basePath.rfind(u'/') + 1) + refPath;
  return URI(removeDotSegments(merged) + suffix);
}

ustring URI::encodeComponent(const ustring& text, const std::string& keep) {
  std::array<bool, 128> kept{};
  for (unsigned char c : keep) {
    if (c < 128) kept[c] = true;
  }

  ustring out;
  out.reserve(text.size() + text.size() / 4);
  auto emitByte = [&](unsigned byte) {
    bool literal = byte < 128 && (isUnreserved(byte) ||
                                  (!isAlwaysEncoded(byte) && (isSubDelimiter(byte) || byte == ':' ||
                                                              byte == '@' || kept[byte])));
    if (literal) {
      out.push_back(static_cast<char16_t>(byte));
    } else {
      out.push_back(u'%');
      out.push_back(kHexDigits[byte >> 4]);
      out.push_back(kHexDigits[byte & 0xF]);
    }
  };

  for (std::size_t i = 0; i < text.size();) {
    const std::size_t at = i;
    const char32_t cp = fl::i18n::codepoint::nextInUtf16(text, i);
    if (fl::i18n::codepoint::isSurrogate(cp)) {
      throw InvalidPartName(text, "it has a lone surrogate at offset " + std::to_string(at) +
                                      ", which has no UTF-8 form");
    }
    char bytes[4];
    const char* end = fl::i18n::codepoint::writeUtf8(cp, bytes);
    for (const char* b = bytes; b != end; ++b) emitByte(static_cast<unsigned char>(*b));
  }
  return out;
}

}  // namespace opc::model
