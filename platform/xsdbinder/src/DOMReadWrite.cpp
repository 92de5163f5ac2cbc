// Reading and writing bound elements on Xerces-C DOM nodes.
#include <opc/util/XercesHelper.hpp>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsd_binder/DOMReadWrite.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include <stdexcept>

namespace xsd_binder {

namespace x = xercesc;

namespace {

// Narrow text for error messages; never fails, whatever the process encoding can hold.
std::string narrow(const ustring& text) {
  std::string out;
  for (char16_t c : text) out += (c >= 0x20 && c < 0x7f) ? static_cast<char>(c) : '?';
  return out;
}

std::string narrow(const XMLCh* text) { return text != nullptr ? narrow(ustring(text)) : ""; }

ustring localName(const x::DOMNode& node) {
  const XMLCh* name = node.getLocalName() != nullptr ? node.getLocalName() : node.getNodeName();
  return name != nullptr ? ustring(name) : ustring();
}

ustring namespaceOf(const x::DOMNode& node) {
  return node.getNamespaceURI() != nullptr ? ustring(node.getNamespaceURI()) : ustring();
}

bool isWhitespace(const XMLCh* text) {
  for (; text != nullptr && *text != 0; ++text) {
    if (*text != u' ' && *text != u'\t' && *text != u'\r' && *text != u'\n') return false;
  }
  return true;
}

bool isCharacterData(const x::DOMNode& node) {
  return node.getNodeType() == x::DOMNode::TEXT_NODE ||
         node.getNodeType() == x::DOMNode::CDATA_SECTION_NODE;
}

bool isIgnorable(const x::DOMNode& node) {
  return node.getNodeType() == x::DOMNode::COMMENT_NODE ||
         node.getNodeType() == x::DOMNode::PROCESSING_INSTRUCTION_NODE;
}

x::DOMDocument& documentOf(x::DOMNode& node) {
  if (node.getNodeType() == x::DOMNode::DOCUMENT_NODE) return static_cast<x::DOMDocument&>(node);
  return *node.getOwnerDocument();
}

}  // namespace

std::string describeNode(const x::DOMNode& node) {
  return opc::util::XercesHelper::describeNode(node);
}

void throwMalformed(const x::DOMNode& node, const std::string& reason) {
  throw MalformedDocumentError(describeNode(node) + ": " + reason);
}

void expectName(const x::DOMElement& element, const char16_t* tag) {
  if (localName(element) != tag) {
    throwMalformed(element, "expected the element \"" + narrow(tag) + "\"");
  }
}

ustring readAttribute(const x::DOMElement& element, const char16_t* name) {
  // getAttribute gives the empty string for an absent attribute.
  return ustring(element.getAttribute(name));
}

// The DOM takes texts as terminated strings: a U+0000 inside one would cut it there, silently.
// No XML document can hold that character, so such a text is refused instead.
void refuseNul(const x::DOMElement& element, const ustring& text) {
  if (text.find(u'\0') != ustring::npos) {
    throw std::runtime_error(describeNode(element) +
                             ": the text holds the character U+0000, which XML cannot carry");
  }
}

void writeAttribute(x::DOMElement& element, const char16_t* name, const ustring& value) {
  refuseNul(element, value);
  element.setAttribute(name, value.c_str());
}

ustring readText(const x::DOMElement& element) {
  ustring text;
  for (const x::DOMNode* n = element.getFirstChild(); n != nullptr; n = n->getNextSibling()) {
    if (isCharacterData(*n)) {
      text += n->getNodeValue();
    } else if (!isIgnorable(*n)) {
      throwMalformed(*n, "a text-only element holds the element \"" + narrow(localName(*n)) + "\"");
    }
  }
  return text;
}

void writeText(x::DOMElement& element, const ustring& text) {
  if (text.empty()) return;
  refuseNul(element, text);
  element.appendChild(documentOf(element).createTextNode(text.c_str()));
}

x::DOMElement& appendElement(x::DOMNode& parent, const char16_t* tag, const ustring& namespaceUri) {
  x::DOMElement* element = documentOf(parent).createElementNS(
      namespaceUri.empty() ? nullptr : namespaceUri.c_str(), tag);
  parent.appendChild(element);
  return *element;
}

ChildCursor::ChildCursor(const x::DOMElement& parent) : parent_(parent) {
  advanceFrom(parent.getFirstChild());
}

void ChildCursor::advanceFrom(const x::DOMNode* node) {
  next_ = nullptr;
  for (; node != nullptr; node = node->getNextSibling()) {
    if (node->getNodeType() == x::DOMNode::ELEMENT_NODE) {
      if (namespaceOf(*node) != namespaceOf(parent_)) {
        throwMalformed(*node, "the element is in the namespace \"" + narrow(namespaceOf(*node)) +
                                  "\", not in its parent's");
      }
      next_ = static_cast<const x::DOMElement*>(node);
      return;
    }
    if (isCharacterData(*node) && !isWhitespace(node->getNodeValue())) {
      throwMalformed(parent_, "text where only elements may stand");
    }
    if (!isCharacterData(*node) && !isIgnorable(*node)) {
      throwMalformed(parent_, "a node of unexpected kind among the child elements");
    }
  }
}

bool ChildCursor::nextIs(const char16_t* tag) const {
  return next_ != nullptr && localName(*next_) == tag;
}

const x::DOMElement& ChildCursor::take(const char16_t* tag) {
  if (next_ == nullptr) {
    throwMalformed(parent_, "the required element \"" + narrow(tag) + "\" is missing");
  }
  if (!nextIs(tag)) {
    throwMalformed(*next_, "found where the element \"" + narrow(tag) + "\" was expected");
  }
  const x::DOMElement& taken = *next_;
  advanceFrom(taken.getNextSibling());
  return taken;
}

void ChildCursor::finish() const {
  if (next_ != nullptr) throwMalformed(*next_, "an element the tree does not allow here");
}

void readChildrenFromDOM(const x::DOMElement& node, nil&) { ChildCursor(node).finish(); }

void readChildrenFromDOM(const x::DOMElement& node, ustring& text) { text = readText(node); }

void readChildrenFromDOM(const x::DOMElement& node, Opaque& content) {
  // One stack frame per level: the parser's nesting limit keeps the recursion shallow.
  const x::DOMNamedNodeMap* attributes = node.getAttributes();
  for (XMLSize_t i = 0; attributes != nullptr && i < attributes->getLength(); ++i) {
    const x::DOMNode& attribute = *attributes->item(i);
    // Namespace declarations are the parser's bookkeeping, not content.
    if (namespaceOf(attribute) == x::XMLUni::fgXMLNSURIName) continue;
    content.attributes.emplace_back(attribute.getNodeName(), attribute.getNodeValue());
  }
  for (const x::DOMNode* n = node.getFirstChild(); n != nullptr; n = n->getNextSibling()) {
    if (isCharacterData(*n)) {
      content.nodes.push_back(OpaqueNode{u"", n->getNodeValue(), {}});
    } else if (n->getNodeType() == x::DOMNode::ELEMENT_NODE) {
      OpaqueNode child{localName(*n), u"", {}};
      readChildrenFromDOM(static_cast<const x::DOMElement&>(*n), child.content);
      content.nodes.push_back(std::move(child));
    }
  }
}

void writeChildrenToDOM(const ustring& text, x::DOMElement& node, const ustring&) {
  writeText(node, text);
}

void writeChildrenToDOM(const Opaque& content, x::DOMElement& node, const ustring& namespaceUri) {
  for (const auto& [name, value] : content.attributes) {
    refuseNul(node, value);
    node.setAttribute(name.c_str(), value.c_str());
  }
  for (const OpaqueNode& child : content.nodes) {
    if (child.name.empty()) {
      writeText(node, child.text);
    } else {
      writeChildrenToDOM(child.content, appendElement(node, child.name.c_str(), namespaceUri),
                         namespaceUri);
    }
  }
}

}  // namespace xsd_binder
