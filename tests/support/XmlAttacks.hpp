// Test support: the hostile prologs every XML reader of the project must refuse, put in front of
// a document the reader would otherwise accept.
#pragma once

#include <string>
#include <vector>

namespace kzftest {

/// Ten levels of ten references each: 10^10 expansions of "lol" if the entities were honoured.
inline std::string billionLaughs(const std::string& root) {
  std::string doctype = "<!DOCTYPE " + root + " [<!ENTITY l0 'lol'>";
  for (int level = 1; level <= 10; ++level) {
    doctype += "<!ENTITY l" + std::to_string(level) + " '";
    for (int i = 0; i < 10; ++i) doctype += "&l" + std::to_string(level - 1) + ";";
    doctype += "'>";
  }
  return doctype + "]>";
}

struct XmlAttack {
  std::string label;
  std::string prolog;  ///< put before the document's root element
  std::string reason;  ///< part of every reader's refusal
};

/// The attacks on a document whose root element is named `root`.
inline std::vector<XmlAttack> xmlAttacks(const std::string& root) {
  const std::string doctype = "a DOCTYPE declaration is not allowed";
  return {
      {"Doctype", "<!DOCTYPE " + root + ">", doctype},
      {"EntityBomb", "<?xml version='1.0'?>\n" + billionLaughs(root), doctype},
      {"ExternalEntity", "<!DOCTYPE " + root + " [<!ENTITY e SYSTEM 'file:///etc/passwd'>]>",
       doctype},
      {"ExternalDtd", "<!DOCTYPE " + root + " SYSTEM 'http://127.0.0.1:9/x.dtd'>", doctype},
      // Found by fuzzing: the document object refuses the version with a parser exception
      // that used to escape.
      {"UnsupportedXmlVersion", "<?xml version=\"1.\"?>", "does not support"},
  };
}

}  // namespace kzftest
