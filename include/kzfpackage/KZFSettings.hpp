// KZFSettings and VelmorFunction: the settings a deployed application is started with.
#pragma once

#include <boost/date_time/gregorian/greg_date.hpp>
#include <boost/optional.hpp>
#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFByteArray.hpp>
#include <kzfpackage/Export.hpp>
#include <ostream>
#include <vector>

namespace Quorlith::kzfpackage {

using fl::i18n::ustring;
using kzfdatainterfaces::KZFByteArray;

/// One function of the deployed application.
class KZF_EXPORT VelmorFunction {
 public:
  VelmorFunction();
  VelmorFunction(const VelmorFunction& other);
  VelmorFunction& operator=(const VelmorFunction& other);
  ~VelmorFunction();

  /// Identifies the function while a manifest is built: functions of equal location are
  /// declared once. Never written to or read from the manifest.
  ustring location;
  /// The function's name.
  ustring name;
  /// Names of its inputs, in order.
  std::vector<ustring> inputs;
  /// Names of its outputs, in order.
  std::vector<ustring> outputs;
};

/// Everything a runtime needs to start a deployed application: the in-memory form of a
/// package's configuration manifest. A plain value: copies are deep, member by member.
class KZF_EXPORT KZFSettings {
 public:
  /// Empty texts and lists, both flags false, no expiry date.
  KZFSettings();
  KZFSettings(const KZFSettings& other);
  KZFSettings& operator=(const KZFSettings& other);
  ~KZFSettings();

  ustring uuid;
  ustring componentName;
  ustring vrtMajorVersion;
  ustring vrtMinorVersion;
  ustring vrtReleaseVersion;
  bool needJava;
  bool needExclusiveVrtProcess;
  /// Filled when settings are loaded (from the manifest's first main function); on saving,
  /// the first public function is the main function instead.
  VelmorFunction mainFunction;
  std::vector<VelmorFunction> publicFunctions;
  boost::optional<boost::gregorian::date> expires;
  /// Directory paths.
  std::vector<ustring> velmorPath;
  std::vector<ustring> javaClassPath;
  std::vector<ustring> libraryPath;
  /// Filled when settings are loaded; not written when they are saved.
  std::vector<ustring> applicationOptions;
  std::vector<ustring> runtimeOptions;
  std::vector<ustring> warningState;
  /// Filled when settings are loaded; saving always writes the directory ".velmor".
  ustring prefdir;
  ustring initStartMessage;
  ustring initCompleteMessage;
  /// Key material: raw bytes, carried in the manifest as UTF-8 text.
  KZFByteArray sessionKey;
  KZFByteArray publicKey;
};

/// Writes `settings` to `os` as the complete configuration manifest document, indented. Ids
/// are generated afresh for each call. Returns `os`.
KZF_EXPORT std::ostream& operator<<(std::ostream& os, const KZFSettings& settings);

}  // namespace Quorlith::kzfpackage
