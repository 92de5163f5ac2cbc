// URI references inside a package: part names, relationship targets, percent-encoding.
#pragma once

#include <opc/Export.hpp>
#include <opc/String.hpp>
#include <string>

namespace opc::model {

/// A URI reference held as its (percent-encoded) text. No validation happens here; a PartName
/// built from it checks the part-name rules.
class OPC_API URI {
 public:
  explicit URI(const ustring& text);

  /// The reference exactly as held.
  const ustring& toString() const { return text_; }
  /// True when the reference starts with a scheme ("http:", "file:").
  bool hasScheme() const;
  /// True when the reference is an absolute path ("/a/b"), as part names are.
  bool isAbsolutePath() const;

  /// Resolves `reference` against this URI taken as the base (for relationship targets, the
  /// source part name, or "/" for the package). A reference with a scheme or an authority is
  /// returned unchanged; paths are merged and "." and ".." segments removed.
  URI resolve(const URI& reference) const;

  /// Percent-encodes `text` for a URI path: the text is converted to UTF-8 (a lone surrogate
  /// is refused with InvalidPartName) and every byte that is not unreserved (ALPHA DIGIT
  /// - . _ ~), a sub-delimiter (! $ & ' ( ) * + , ; =), ":" or "@" becomes %XX with
  /// upper-case hex digits. "%", "[", "]", "#" and "?" are always encoded; the ASCII
  /// characters listed in `keep` (such as "/") are left as they are.
  static ustring encodeComponent(const ustring& text, const std::string& keep);

  /// The path separator of URIs, "/".
  static char16_t getSlash() { return u'/'; }

  friend bool operator==(const URI& a, const URI& b) { return a.text_ == b.text_; }
  friend bool operator!=(const URI& a, const URI& b) { return !(a == b); }

 private:
  ustring text_;
};

}  // namespace opc::model
