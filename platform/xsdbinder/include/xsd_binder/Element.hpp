// Bound XML elements: an attributes record and the ordered children of one element type.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <tuple>
#include <utility>
#include <vector>

namespace xsd_binder {

using fl::i18n::ustring;

/// The attributes record of the element types whose attributes are described by `T`. A
/// binding specialises it once per attribute-bearing type, with one ustring per attribute.
template <typename T>
struct Attributes;

/// Key of the empty attributes record, and the children of an element that has none.
struct nil {
  friend bool operator==(const nil&, const nil&) { return true; }
  friend bool operator!=(const nil&, const nil&) { return false; }
};

/// The record of an element type without attributes.
template <>
struct Attributes<nil> {
  auto tie() const { return std::tie(); }
};

/// Records compare attribute by attribute.
template <typename T>
bool operator==(const Attributes<T>& a, const Attributes<T>& b) {
  return a.tie() == b.tie();
}
template <typename T>
bool operator!=(const Attributes<T>& a, const Attributes<T>& b) {
  return !(a == b);
}

/// Content kind of an element with no attributes whose only content is character data; the
/// element's children are its text.
struct text_content {
  using attributes_key = nil;
  using children_type = ustring;
};

struct OpaqueNode;

/// Content of an element kept as read, without interpretation: its attributes in document
/// order and its child nodes.
struct Opaque {
  std::vector<std::pair<ustring, ustring>> attributes;
  std::vector<OpaqueNode> nodes;
};

/// One child of opaque content: an element (non-empty `name`) with its own content, or a run
/// of character data (empty `name`, text in `text`).
struct OpaqueNode {
  ustring name;
  ustring text;
  Opaque content;
};

inline bool operator==(const Opaque& a, const Opaque& b);
inline bool operator==(const OpaqueNode& a, const OpaqueNode& b) {
  return a.name == b.name && a.text == b.text && a.content == b.content;
}
inline bool operator==(const Opaque& a, const Opaque& b) {
  return a.attributes == b.attributes && a.nodes == b.nodes;
}
inline bool operator!=(const Opaque& a, const Opaque& b) { return !(a == b); }

/// Content kind of an element whose structure the binding does not interpret.
struct opaque_content {
  using attributes_key = nil;
  using children_type = Opaque;
};

/// One element of type `T`: its attributes record and its children. `T` names the element
/// (`T::tag`) and, through its content kind, the record (`T::attributes_key`) and the
/// children (`T::children_type`: a sequence record, a list of items, text, or nil).
template <typename T>
struct Element {
  Attributes<typename T::attributes_key> attributes;
  typename T::children_type children;

  friend bool operator==(const Element& a, const Element& b) {
    return a.attributes == b.attributes && a.children == b.children;
  }
  friend bool operator!=(const Element& a, const Element& b) { return !(a == b); }
};

}  // namespace xsd_binder
