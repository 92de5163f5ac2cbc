// The process locale as the i18n layer sees it: its narrow encoding and its messages locale.
#pragma once

#include <fl/i18n/Export.hpp>
#include <string>
#include <variant>

namespace fl::i18n {

/// A snapshot of the process locale (the C library's global locale) taken by global().
class FL_I18N_API QlLocale {
 public:
  /// The process locale as it is set right now (programs may call setlocale at any time).
  static QlLocale global();

  /// The name of the narrow encoding (the LC_CTYPE codeset, e.g. "UTF-8", "ISO-8859-1").
  /// The C/POSIX locale's codeset is reported as "UTF-8", because narrow text under it is
  /// treated as UTF-8. Holds no text if the C library reports no codeset.
  std::variant<std::monostate, std::string> get_encoding_name() const;

  /// The name of the LC_MESSAGES locale ("C", "de_DE.UTF-8", ...), which selects translations.
  std::string name() const;

 private:
  QlLocale(std::string messagesName, std::string encodingName);

  std::string messagesName_;
  std::string encodingName_;  // empty when the C library reports no codeset
};

}  // namespace fl::i18n
