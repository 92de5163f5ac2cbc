// Generates the ids that tie references to declared elements within one XML document.
#include <xsd_binder/IDGenerator.hpp>

namespace xsd_binder {

namespace {

bool isNameStartByte(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isNameByte(char c) {
  return isNameStartByte(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

}  // namespace

std::string IDGenerator::generate() { return generate("ID"); }

std::string IDGenerator::generate(const std::string& prefix) {
  // Prefixes are directory paths and function names in the process encoding. Only ASCII name
  // characters are kept, whatever that encoding is; the counter suffix, which holds no "_",
  // is what keeps ids apart once different prefixes have been flattened to the same text.
  std::string id;
  if (prefix.empty() || !isNameStartByte(prefix.front())) id += '_';
  bool replacing = false;
  for (char c : prefix) {
    if (isNameByte(c)) {
      id += c;
      replacing = false;
    } else if (!replacing) {
      id += '_';
      replacing = true;
    }
  }
  id += '_';
  id += std::to_string(++counter_);
  return id;
}

}  // namespace xsd_binder
