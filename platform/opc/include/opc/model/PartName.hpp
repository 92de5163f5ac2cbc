// Part names: validated absolute URI paths, compared by the ASCII case-insensitive equivalence.
#pragma once

#include <cstddef>
#include <opc/Export.hpp>
#include <opc/String.hpp>
#include <opc/model/URI.hpp>
#include <string>

namespace opc::model {

/// The name of a part: an absolute, percent-encoded path such as "/app/f.m". Construction
/// validates it and throws InvalidPartName with the reason: empty, "/" alone, not starting
/// with "/", ending with "/", an empty segment, a "." or ".." segment, a character that must
/// be percent-encoded (anything outside unreserved, sub-delimiters, ":", "@" and "/", so also
/// every non-ASCII character), a malformed %XX, or the reserved "/[Content_Types].xml".
/// An encoded backslash ("%5C") and a segment ending in "." are accepted.
class OPC_API PartName {
 public:
  explicit PartName(const URI& uri);
  explicit PartName(const ustring& name);

  const URI& getURI() const { return uri_; }
  ustring toString() const { return uri_.toString(); }
  /// The zip item name: the part name without its leading "/" (ASCII, still encoded).
  std::string getItemName() const;
  /// The equivalence key: the item name with ASCII letters lower-cased. Two part names are
  /// equivalent exactly when their keys are equal.
  std::string getEquivalenceKey() const;

  /// True for a name of the form ".../_rels/<name>.rels" (the package keeps those itself).
  bool isRelationshipPartName() const;

  /// The name of the relationship part that holds this part's relationships:
  /// "/a/b.xml" gives "/a/_rels/b.xml.rels".
  PartName getRelationshipPartName() const;

  /// Equivalence: ASCII case-insensitive comparison of the encoded names.
  friend OPC_API bool operator==(const PartName& a, const PartName& b);
  friend bool operator!=(const PartName& a, const PartName& b) { return !(a == b); }

 private:
  URI uri_;
};

/// Hash consistent with PartName equality (for unordered containers).
struct OPC_API PartNameHash {
  std::size_t operator()(const PartName& name) const;
};

}  // namespace opc::model
