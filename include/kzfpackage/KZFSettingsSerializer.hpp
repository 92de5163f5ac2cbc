// KZFSettingsSerializer: writes settings as the configuration manifest and reads them back.
#pragma once

#include <kzfpackage/Export.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <opc/Stream.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

namespace Quorlith::kzfpackage {

/// Saves settings as the configuration manifest document and loads them back. Directories
/// and functions are declared once each and referred to by generated ids.
class KZF_EXPORT KZFSettingsSerializer {
 public:
  KZFSettingsSerializer();
  virtual ~KZFSettingsSerializer();

  /// Writes `settings` to `stream` as one compact manifest document. Not written, by design:
  /// the application options, the prefdir (".velmor" is written instead), the main function
  /// (the first public function is written as main function), function locations. Empty
  /// start and complete messages are left out. Write errors of the stream pass unchanged;
  /// key bytes that are not UTF-8, or a text XML cannot carry, throw std::runtime_error
  /// naming the field or element.
  void save(opc::OutputStream& stream, const KZFSettings& settings);

  /// Reads a manifest document from `stream` into `settings`, meant to be freshly
  /// constructed: texts and flags are overwritten, lists appended to. An empty start message
  /// in the document loads as " ". A document that is not well-formed or does not fit the
  /// manifest tree throws xsd_binder::MalformedDocumentError before any field is touched. A
  /// missing default configuration or a reference to an undeclared directory or function
  /// throws DeployedException KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES; a flag other than
  /// "0" or "1" or an unreadable expiry date throws boost::bad_lexical_cast. Fields filled
  /// before a failure keep their new values.
  void load(opc::InputStream& stream, KZFSettings& settings);
};

}  // namespace Quorlith::kzfpackage
