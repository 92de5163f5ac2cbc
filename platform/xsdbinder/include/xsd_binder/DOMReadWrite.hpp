// Reading and writing bound elements on Xerces-C DOM nodes: attribute and text strings,
// ordered child elements, and the generic forms of each content kind.
#pragma once

#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xsd_binder/Element.hpp>

namespace xsd_binder {

/// Where `node` sits, for error texts: the document's URI when it has one, then the path of
/// element names from the root, e.g. "opcistream: /manifest/configuration/prefdir".
std::string describeNode(const xercesc::DOMNode& node);

/// Reports that the element `node` does not fit the bound tree: throws MalformedDocumentError
/// naming the node and `reason`.
[[noreturn]] void throwMalformed(const xercesc::DOMNode& node, const std::string& reason);

/// Checks that `element` is named `tag` (its local name; otherwise malformed).
void expectName(const xercesc::DOMElement& element, const char16_t* tag);

/// The value of attribute `name`; an absent attribute reads as the empty string.
ustring readAttribute(const xercesc::DOMElement& element, const char16_t* name);

/// Sets attribute `name` to `value`. An empty value is written too: bound documents carry
/// every attribute of their records.
void writeAttribute(xercesc::DOMElement& element, const char16_t* name, const ustring& value);

/// The character data of `element`: its text and CDATA children joined in order. Comments
/// and processing instructions are skipped; a child element is malformed.
ustring readText(const xercesc::DOMElement& element);

/// Appends `text` as one text child; an empty text adds nothing.
void writeText(xercesc::DOMElement& element, const ustring& text);

/// Appends a new element named `tag` in `namespaceUri` (empty: no namespace) to `parent`, a
/// document or an element, and returns it.
xercesc::DOMElement& appendElement(xercesc::DOMNode& parent, const char16_t* tag,
                                   const ustring& namespaceUri);

/// Walks, in document order, the child elements of an element whose content is elements
/// only. Whitespace, comments and processing instructions between them are skipped; other
/// character data is malformed, and so is a child outside its parent's namespace.
class ChildCursor {
 public:
  explicit ChildCursor(const xercesc::DOMElement& parent);
  ChildCursor(const ChildCursor&) = delete;
  ChildCursor& operator=(const ChildCursor&) = delete;

  /// True when a child element is left and it is named `tag`.
  bool nextIs(const char16_t* tag) const;
  /// True when no child element is left.
  bool atEnd() const { return next_ == nullptr; }
  /// The next child element, which must be named `tag` (otherwise malformed).
  const xercesc::DOMElement& take(const char16_t* tag);
  /// Checks that no child element is left (otherwise malformed).
  void finish() const;

 private:
  void advanceFrom(const xercesc::DOMNode* node);

  const xercesc::DOMElement& parent_;
  const xercesc::DOMElement* next_ = nullptr;
};

// Reading. Bindings add, for their own types and found by argument-dependent lookup,
// readAttributesFromDOM(node, Attributes<X>&) and readChildrenFromDOM(node, sequence&).

/// Reads `node`, which must be named `T::tag`, into `out`: attributes, then children.
template <typename T>
void readFromDOM(const xercesc::DOMElement& node, Element<T>& out);

inline void readAttributesFromDOM(const xercesc::DOMElement&, Attributes<nil>&) {}
/// No child elements and no character data but whitespace.
void readChildrenFromDOM(const xercesc::DOMElement& node, nil& children);
/// Character data only.
void readChildrenFromDOM(const xercesc::DOMElement& node, ustring& text);
/// Anything, kept as read.
void readChildrenFromDOM(const xercesc::DOMElement& node, Opaque& content);
/// Any number of items named `Item::tag` and nothing else.
template <typename Item>
void readChildrenFromDOM(const xercesc::DOMElement& node, std::vector<Element<Item>>& items);

/// Reads the required next child, named `T::tag`.
template <typename T>
void readOne(ChildCursor& cursor, Element<T>& out) {
  readFromDOM(cursor.take(T::tag), out);
}

/// Reads every next child named `T::tag` (none or more), in order.
template <typename T>
void readMany(ChildCursor& cursor, std::vector<Element<T>>& out) {
  while (cursor.nextIs(T::tag)) {
    out.emplace_back();
    readFromDOM(cursor.take(T::tag), out.back());
  }
}

template <typename T>
void readFromDOM(const xercesc::DOMElement& node, Element<T>& out) {
  expectName(node, T::tag);
  readAttributesFromDOM(node, out.attributes);
  readChildrenFromDOM(node, out.children);
}

template <typename Item>
void readChildrenFromDOM(const xercesc::DOMElement& node, std::vector<Element<Item>>& items) {
  ChildCursor cursor(node);
  while (!cursor.atEnd()) {
    items.emplace_back();
    readFromDOM(cursor.take(Item::tag), items.back());
  }
}

// Writing. Bindings add writeAttributesToDOM(Attributes<X> const&, node) and
// writeChildrenToDOM(sequence const&, node, namespaceUri) for their own types.

/// Appends `element` to `parent` (a document or an element) as an element named `T::tag` in
/// `namespaceUri`, with all its attributes and children, and returns the new node.
template <typename T>
xercesc::DOMElement& writeToDOM(const Element<T>& element, xercesc::DOMNode& parent,
                                const ustring& namespaceUri);

inline void writeAttributesToDOM(const Attributes<nil>&, xercesc::DOMElement&) {}
inline void writeChildrenToDOM(const nil&, xercesc::DOMElement&, const ustring&) {}
void writeChildrenToDOM(const ustring& text, xercesc::DOMElement& node, const ustring&);
void writeChildrenToDOM(const Opaque& content, xercesc::DOMElement& node,
                        const ustring& namespaceUri);
template <typename Item>
void writeChildrenToDOM(const std::vector<Element<Item>>& items, xercesc::DOMElement& node,
                        const ustring& namespaceUri) {
  for (const auto& item : items) writeToDOM(item, node, namespaceUri);
}

template <typename T>
xercesc::DOMElement& writeToDOM(const Element<T>& element, xercesc::DOMNode& parent,
                                const ustring& namespaceUri) {
  xercesc::DOMElement& node = appendElement(parent, T::tag, namespaceUri);
  writeAttributesToDOM(element.attributes, node);
  writeChildrenToDOM(element.children, node, namespaceUri);
  return node;
}

}  // namespace xsd_binder
