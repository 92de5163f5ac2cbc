// Private DOM walking helpers: element children, names and attributes.
#pragma once

#include <opc/String.hpp>
#include <string_view>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace opc::detail {

inline xercesc::DOMElement* nextElement(xercesc::DOMNode* node) {
  for (; node != nullptr; node = node->getNextSibling()) {
    if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
      return static_cast<xercesc::DOMElement*>(node);
    }
  }
  return nullptr;
}

/// The first element child of `parent`, or null.
inline xercesc::DOMElement* firstChildElement(const xercesc::DOMNode* parent) {
  return nextElement(parent->getFirstChild());
}

/// The element after `element` among its siblings, or null.
inline xercesc::DOMElement* nextSiblingElement(const xercesc::DOMElement* element) {
  return nextElement(element->getNextSibling());
}

inline std::u16string_view view(const XMLCh* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

/// True when `element` is `localName` in `namespaceUri`.
inline bool isElement(const xercesc::DOMElement* element, std::u16string_view namespaceUri,
                      std::u16string_view localName) {
  return view(element->getNamespaceURI()) == namespaceUri &&
         view(element->getLocalName()) == localName;
}

/// The value of an unqualified attribute, or null when it is absent.
inline const XMLCh* attributeOrNull(const xercesc::DOMElement* element, const char16_t* name) {
  const xercesc::DOMAttr* attribute = element->getAttributeNode(name);
  return attribute == nullptr ? nullptr : attribute->getValue();
}

}  // namespace opc::detail
