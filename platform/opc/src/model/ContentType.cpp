// Media types: validation of type/subtype and parameters.
#include <cstring>
#include <opc/model/ContentType.hpp>
#include <opc/model/Exceptions.hpp>
#include <string>

namespace opc::model {

namespace {

bool isTokenCharacter(char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  return c != '\0' && std::strchr("!#$%&'*+-.^_`|~", c) != nullptr;
}

// Reads a token starting at `pos`; returns the position after it.
std::size_t readToken(const std::string& text, std::size_t pos, const char* what) {
  std::size_t start = pos;
  while (pos < text.size() && isTokenCharacter(text[pos])) ++pos;
  if (pos == start) {
    std::string reason = std::string("expected ") + what + " at offset " + std::to_string(start);
    if (start < text.size()) reason += ", found '" + std::string(1, text[start]) + "'";
    throw InvalidContentType(text, reason);
  }
  return pos;
}

std::size_t readQuotedString(const std::string& text, std::size_t pos) {
  for (++pos; pos < text.size(); ++pos) {
    if (text[pos] == '\\') {
      ++pos;
    } else if (text[pos] == '"') {
      return pos + 1;
    }
  }
  throw InvalidContentType(text, "a quoted parameter value is not closed");
}

// type "/" subtype *( ";" name "=" ( token / quoted-string ) ), with no white space: a
// package's content types must not use linear white space.
void validate(const std::string& text) {
  if (text.empty()) throw InvalidContentType(text, "it is empty");
  std::size_t pos = readToken(text, 0, "a type");
  if (pos >= text.size() || text[pos] != '/') {
    throw InvalidContentType(text, "the type is not followed by '/'");
  }
  pos = readToken(text, pos + 1, "a subtype");
  while (pos < text.size()) {
    if (text[pos] != ';') {
      throw InvalidContentType(
          text, "unexpected '" + std::string(1, text[pos]) + "' at offset " + std::to_string(pos));
    }
    pos = readToken(text, pos + 1, "a parameter name");
    if (pos >= text.size() || text[pos] != '=') {
      throw InvalidContentType(text, "a parameter has no '='");
    }
    ++pos;
    pos = (pos < text.size() && text[pos] == '"') ? readQuotedString(text, pos)
                                                  : readToken(text, pos, "a parameter value");
  }
}

}  // namespace

ContentType::ContentType(const std::string& text) : text_(text) { validate(text_); }

}  // namespace opc::model
