// KZFSettingsSerializer: writes settings as the configuration manifest and reads them back.
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <xsd_binder/DocumentIO.hpp>

#include "ManifestMapping.hpp"
#include "kzf_manifest_dom.hpp"

namespace Quorlith::kzfpackage {

KZFSettingsSerializer::KZFSettingsSerializer() = default;
KZFSettingsSerializer::~KZFSettingsSerializer() = default;

void KZFSettingsSerializer::save(opc::OutputStream& stream, const KZFSettings& settings) {
  xsd_binder::writeToStream(buildManifestTree(settings), stream, false, u"");
}

void KZFSettingsSerializer::load(opc::InputStream& stream, KZFSettings& settings) {
  fillSettingsFromTree(xsd_binder::parseStream<kzf_manifest::manifest>(stream, u"", u""), settings);
}

}  // namespace Quorlith::kzfpackage
