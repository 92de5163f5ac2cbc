// A small bound document for the runtime's tests: a "shelf" (attributes "name", "owner")
// holding a "title" text, any number of "book"s (attributes "id", "isbn") and one "notes"
// list of opaque "note" items.
#pragma once

#include <tuple>
#include <variant>
#include <vector>
#include <xsd_binder/DOMReadWrite.hpp>
#include <xsd_binder/Element.hpp>

namespace shelf_binding {

using xsd_binder::Element;
using xsd_binder::nil;
using xsd_binder::ustring;

struct book_type {
  using attributes_key = book_type;
  using children_type = nil;
};

}  // namespace shelf_binding

template <>
struct xsd_binder::Attributes<shelf_binding::book_type> {
  ustring id;
  ustring isbn;
  auto tie() const { return std::tie(id, isbn); }
};

namespace shelf_binding {

struct shelf {
  static constexpr const char16_t* tag = u"shelf";
  struct title : xsd_binder::text_content {
    static constexpr const char16_t* tag = u"title";
  };
  struct book : book_type {
    static constexpr const char16_t* tag = u"book";
  };
  struct notes {
    static constexpr const char16_t* tag = u"notes";
    struct note : xsd_binder::opaque_content {
      static constexpr const char16_t* tag = u"note";
    };
    using attributes_key = nil;
    using children_type = std::vector<Element<note>>;
  };
  struct sequence {
    Element<shelf::title> title;
    std::vector<Element<shelf::book>> book;
    Element<shelf::notes> notes;
    friend bool operator==(const sequence& a, const sequence& b) {
      return a.title == b.title && a.book == b.book && a.notes == b.notes;
    }
  };
  using attributes_key = shelf;
  using children_type = sequence;
};

}  // namespace shelf_binding

template <>
struct xsd_binder::Attributes<shelf_binding::shelf> {
  ustring name;
  ustring owner;
  auto tie() const { return std::tie(name, owner); }
};

namespace shelf_binding {

inline void readAttributesFromDOM(const xercesc::DOMElement& node,
                                  xsd_binder::Attributes<shelf>& out) {
  out.name = xsd_binder::readAttribute(node, u"name");
  out.owner = xsd_binder::readAttribute(node, u"owner");
}
inline void readAttributesFromDOM(const xercesc::DOMElement& node,
                                  xsd_binder::Attributes<book_type>& out) {
  out.id = xsd_binder::readAttribute(node, u"id");
  out.isbn = xsd_binder::readAttribute(node, u"isbn");
}
inline void writeAttributesToDOM(const xsd_binder::Attributes<shelf>& in,
                                 xercesc::DOMElement& node) {
  xsd_binder::writeAttribute(node, u"name", in.name);
  xsd_binder::writeAttribute(node, u"owner", in.owner);
}
inline void writeAttributesToDOM(const xsd_binder::Attributes<book_type>& in,
                                 xercesc::DOMElement& node) {
  xsd_binder::writeAttribute(node, u"id", in.id);
  xsd_binder::writeAttribute(node, u"isbn", in.isbn);
}
inline void readChildrenFromDOM(const xercesc::DOMElement& node, shelf::sequence& out) {
  xsd_binder::ChildCursor cursor(node);
  readOne(cursor, out.title);
  readMany(cursor, out.book);
  readOne(cursor, out.notes);
  cursor.finish();
}
inline void writeChildrenToDOM(const shelf::sequence& in, xercesc::DOMElement& node,
                               const ustring& namespaceUri) {
  writeToDOM(in.title, node, namespaceUri);
  writeChildrenToDOM(in.book, node, namespaceUri);
  writeToDOM(in.notes, node, namespaceUri);
}

inline bool id_matches(const Element<shelf::book>& book, const ustring& id) {
  return book.attributes.id == id;
}
template <typename Visitor>
void visitElements(const Element<shelf>& root, Visitor&& visit) {
  for (const auto& book : root.children.book) visit(book);
  visit(root.children.title);
}

/// A shelf with every kind of content filled in.
inline Element<shelf> sampleShelf() {
  Element<shelf> s;
  s.attributes.name = u"Regal \u00fcber Fl\u00fcr";
  s.children.title.children = u"Reading <&> list";
  for (const char16_t* id : {u"b1", u"b2"}) {
    Element<shelf::book> book;
    book.attributes.id = id;
    book.attributes.isbn = ustring(u"isbn-") + id;
    s.children.book.push_back(book);
  }
  Element<shelf::notes::note> note;
  note.children.attributes = {{u"lang", u"de"}};
  note.children.nodes = {{u"", u"see ", {}},
                         {u"em", u"", {{{u"level", u"2"}}, {{u"", u"chapter 4", {}}}}},
                         {u"", u" first", {}}};
  s.children.notes.children.push_back(note);
  return s;
}

}  // namespace shelf_binding
