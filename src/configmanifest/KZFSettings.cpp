// KZFSettings and VelmorFunction: the settings a deployed application is started with.
#include <kzfpackage/KZFSettings.hpp>
#include <xsd_binder/DocumentIO.hpp>

#include "ManifestMapping.hpp"
#include "kzf_manifest_dom.hpp"

namespace Quorlith::kzfpackage {

VelmorFunction::VelmorFunction() = default;
VelmorFunction::VelmorFunction(const VelmorFunction& other) = default;
VelmorFunction& VelmorFunction::operator=(const VelmorFunction& other) = default;
VelmorFunction::~VelmorFunction() = default;

KZFSettings::KZFSettings() : needJava(false), needExclusiveVrtProcess(false) {}
KZFSettings::KZFSettings(const KZFSettings& other) = default;
KZFSettings& KZFSettings::operator=(const KZFSettings& other) = default;
KZFSettings::~KZFSettings() = default;

std::ostream& operator<<(std::ostream& os, const KZFSettings& settings) {
  xsd_binder::writeToStream(buildManifestTree(settings), os, true, u"");
  return os;
}

}  // namespace Quorlith::kzfpackage
