// Part names: validation, zip item names, equivalence keys and relationship-part names.
#include <cstdio>
#include <opc/model/Exceptions.hpp>
#include <opc/model/PartName.hpp>
#include <string>

#include "../util/Text.hpp"

namespace opc::model {

namespace {

bool isHexDigit(char16_t c) {
  return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

// pchar of a path segment, apart from "%" which starts an escape.
bool isSegmentCharacter(char16_t c) {
  if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9')) {
    return true;
  }
  switch (c) {
    case u'-':
    case u'.':
    case u'_':
    case u'~':
    case u'!':
    case u'$':
    case u'&':
    case u'\'':
    case u'(':
    case u')':
    case u'*':
    case u'+':
    case u',':
    case u';':
    case u'=':
    case u':':
    case u'@':
      return true;
    default:
      return false;
  }
}

std::string describeCharacter(char16_t c) {
  char text[16];
  if (c >= 0x20 && c < 0x7F) {
    std::snprintf(text, sizeof text, "'%c'", static_cast<char>(c));
  } else {
    std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(c));
  }
  return text;
}

void checkSegment(const ustring& name, std::size_t begin, std::size_t end) {
  std::size_t length = end - begin;
  if (length == 0) {
    throw InvalidPartName(
        name, end == name.size() ? "it ends with '/'" : "it has an empty segment ('//')");
  }
  if ((length == 1 && name[begin] == u'.') ||
      (length == 2 && name[begin] == u'.' && name[begin + 1] == u'.')) {
    throw InvalidPartName(name, "it has a '.' or '..' segment");
  }
}

void validate(const ustring& name) {
  if (name.empty()) throw InvalidPartName(name, "it is empty");
  if (name[0] != u'/') throw InvalidPartName(name, "it does not start with '/'");
  if (name.size() == 1) throw InvalidPartName(name, "it names the package root, not a part");
  if (detail::equalsIgnoreAsciiCase(name, u"/[Content_Types].xml")) {
    throw InvalidPartName(name, "it is reserved for the content types of the package");
  }
  std::size_t segmentStart = 1;
  for (std::size_t i = 1; i < name.size(); ++i) {
    char16_t c = name[i];
    if (c == u'/') {
      checkSegment(name, segmentStart, i);
      segmentStart = i + 1;
    } else if (c == u'%') {
      if (i + 2 >= name.size() || !isHexDigit(name[i + 1]) || !isHexDigit(name[i + 2])) {
        throw InvalidPartName(name,
                              "it has a malformed percent-encoding at offset " + std::to_string(i));
      }
      i += 2;
    } else if (!isSegmentCharacter(c)) {
      throw InvalidPartName(name, "the character " + describeCharacter(c) + " at offset " +
                                      std::to_string(i) + " must be percent-encoded");
    }
  }
  checkSegment(name, segmentStart, name.size());
}

}  // namespace

PartName::PartName(const URI& uri) : uri_(uri) { validate(uri_.toString()); }

PartName::PartName(const ustring& name) : uri_(name) { validate(name); }

std::string PartName::getItemName() const {
  const ustring& name = uri_.toString();
  // Validation guarantees ASCII, so each code unit is one byte of the item name.
  return std::string(name.begin() + 1, name.end());
}

std::string PartName::getEquivalenceKey() const {
  const ustring& name = uri_.toString();
  std::string key;
  key.reserve(name.size() - 1);
  for (auto it = name.begin() + 1; it != name.end(); ++it) {
    key.push_back(detail::asciiLower(static_cast<char>(*it)));
  }
  return key;
}

bool PartName::isRelationshipPartName() const {
  const ustring& name = uri_.toString();
  std::size_t lastSlash = name.rfind(u'/');
  std::u16string_view last(name.data() + lastSlash + 1, name.size() - lastSlash - 1);
  constexpr std::u16string_view kSuffix = u".rels";
  if (lastSlash == 0 || last.size() < kSuffix.size() ||
      !detail::equalsIgnoreAsciiCase(last.substr(last.size() - kSuffix.size()), kSuffix)) {
    return false;
  }
  std::size_t folderSlash = name.rfind(u'/', lastSlash - 1);
  std::u16string_view folder(name.data() + folderSlash + 1, lastSlash - folderSlash - 1);
  return detail::equalsIgnoreAsciiCase(folder, u"_rels");
}

PartName PartName::getRelationshipPartName() const {
  if (isRelationshipPartName()) {
    throw InvalidPartName(uri_.toString(), "a relationship part cannot have relationships");
  }
  const ustring& name = uri_.toString();
  std::size_t lastSlash = name.rfind(u'/');
  return PartName(name.substr(0, lastSlash + 1) + u"_rels/" + name.substr(lastSlash + 1) +
                  u".rels");
}

bool operator==(const PartName& a, const PartName& b) {
  return detail::equalsIgnoreAsciiCase(a.uri_.toString(), b.uri_.toString());
}

std::size_t PartNameHash::operator()(const PartName& name) const {
  // FNV-1a over the case-folded code units, so equivalent names hash alike.
  std::size_t hash = 14695981039346656037ull;
  for (char16_t c : name.getURI().toString()) {
    hash = (hash ^ detail::asciiLower(c)) * 1099511628211ull;
  }
  return hash;
}

}  // namespace opc::model
