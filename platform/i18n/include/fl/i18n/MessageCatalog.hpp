// The message catalog: the localized text of a message identifier with its arguments filled in.
#pragma once

#include <fl/i18n/Export.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/ustring.hpp>
#include <resource_core/BaseMsgID.hpp>
#include <string>

namespace fl::i18n {

/// Looks message texts up by identifier and translates them through gettext (domain
/// "qlkzfpackage", catalogs under $KZF_LOCALEDIR or the installed locale folder).
class FL_I18N_API MessageCatalog {
 public:
  MessageCatalog() = delete;

  /// The text of `id` in the messages locale of `locale`, with {0}, {1}, {2} replaced by the
  /// identifier's arguments (narrow ones read in the process encoding). An identifier the
  /// catalog does not know gives its identifier text followed by its arguments. Never throws
  /// because of the content of the arguments or of a translation: undecodable bytes become
  /// U+FFFD.
  static ustring get_message(const resource_core::BaseMsgID& id, const QlLocale& locale);

  /// The folder the catalogs are read from: $KZF_LOCALEDIR when set; else the locale folder
  /// beside the library file that holds this code (found where the library is, so that an
  /// installed prefix moved elsewhere keeps its translations); else the folder of the install
  /// the library was built for.
  static std::string localeFolder();
};

}  // namespace fl::i18n
