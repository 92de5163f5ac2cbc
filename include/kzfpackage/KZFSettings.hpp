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

  /// Identifier of the deployed component.
  ustring uuid;
  /// Name of the deployed component.
  ustring componentName;
  /// Major, minor and release version of the runtime the component needs.
  ustring vrtMajorVersion;
  ustring vrtMinorVersion;
  ustring vrtReleaseVersion;
  /// Whether the component needs the Java runtime.
  bool needJava;
  /// Whether the component needs a runtime process of its own.
  bool needExclusiveVrtProcess;
  /// Filled when settings are loaded (from the manifest's first main function); on saving,
  /// the first public function is the main function instead.
  VelmorFunction mainFunction;
  /// The functions the component exposes, in order.
  std::vector<VelmorFunction> publicFunctions;
  /// Expiry date of the configuration; unset for none.
  boost::optional<boost::gregorian::date> expires;
  /// Search paths of the runtime, the Java class path and the native library path: directory
  /// paths, in order.
  std::vector<ustring> velmorPath;
  std::vector<ustring> javaClassPath;
  std::vector<ustring> libraryPath;
  /// Filled when settings are loaded; not written when they are saved.
  std::vector<ustring> applicationOptions;
  /// Options of the runtime and warning switches, in order.
  std::vector<ustring> runtimeOptions;
  std::vector<ustring> warningState;
  /// Filled when settings are loaded; saving always writes the directory ".velmor".
  ustring prefdir;
  /// Messages for the start and for the completion of initialisation; empty for none.
  ustring initStartMessage;
  ustring initCompleteMessage;
  /// Key material: raw bytes, carried in the manifest as UTF-8 text, so only bytes that are
  /// UTF-8 text of characters an XML document may hold can be saved.
  KZFByteArray sessionKey;
  KZFByteArray publicKey;
};

/// Writes `settings` to `os` as the complete configuration manifest document, indented. Ids
/// are generated afresh for each call. Returns `os`.
KZF_EXPORT std::ostream& operator<<(std::ostream& os, const KZFSettings& settings);

}  // namespace Quorlith::kzfpackage
