// The UTF-16 text type of every path and name, and its conversions to narrow text.
#pragma once

#include <fl/i18n/Export.hpp>

#include <string>
#include <string_view>

namespace fl::i18n {

/// Text of 16-bit UTF-16 code units: every path, name, part name and XML text.
using ustring = std::u16string;

/// Narrow text in the process encoding (the codeset of the current LC_CTYPE locale; the
/// C/POSIX locale counts as UTF-8) to UTF-16. Throws std::runtime_error naming the byte
/// offset of an invalid sequence.
FL_I18N_API ustring to_ustring(std::string_view narrow);

/// UTF-16 to narrow text in the process encoding. Throws std::runtime_error naming the
/// code-unit offset of a lone surrogate or of a character the encoding cannot represent.
FL_I18N_API std::string to_string(const ustring& text);

/// Strict UTF-8 to UTF-16 (overlong forms, surrogates and values above U+10FFFF refused).
FL_I18N_API ustring utf8_to_ustring(std::string_view utf8);

/// Strict UTF-16 to UTF-8 (lone surrogates refused).
FL_I18N_API std::string ustring_to_utf8(const ustring& text);

/// A converter between UTF-16 and the encoding it was built from by name ("UTF-8",
/// "ISO-8859-1", ...). Errors as for to_ustring / to_string.
class FL_I18N_API Converter {
 public:
  explicit Converter(std::string encodingName);
  ustring to_ustring(std::string_view bytes) const;
  std::string from_ustring(const ustring& text) const;
  const std::string& encodingName() const { return encodingName_; }

 private:
  std::string encodingName_;
  bool utf8_;
};

}  // namespace fl::i18n
