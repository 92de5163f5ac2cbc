// The package's settings: held by the package, loaded from and written to its configuration
// manifest, and read back from an extracted folder.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/String.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using namespace kzf::kzfpackage;

void KZFPackage::setKZFSettings(const KZFSettings& newSettings) {
  settings = std::make_unique<KZFSettings>(newSettings);
}

KZFSettings KZFPackage::getKZFSettings() { return settings ? *settings : KZFSettings(); }

void KZFPackage::initializeKZFSettings() {
  verbose << "Initializing KZFSettings data structure" << std::endl;
  auto relationships = storage->package.getRelationshipsByType(
      opc::toStringFromASCIIStringLiteral(KZF_CONFIGURATION_MANIFEST_RELATIONSHIP));
  // A package without a configuration manifest is valid: its settings stay as they were.
  if (relationships.empty()) return;
  opc::model::Part part = storage->package.getPart(
      opc::model::PartName(relationships.front().getTargetURI(true)));
  auto loaded = std::make_unique<KZFSettings>();
  auto in = part.getInputStream();
  KZFSettingsSerializer().load(*in, *loaded);
  settings = std::move(loaded);
}

void KZFPackage::writeConfigurationManifest() {
  const ustring name = opc::toStringFromASCIIStringLiteral(KZFMANIFEST_PARTNAME);
  // The configuration manifest has always been stored under the file manifest's content type;
  // readers accept it so, and it stays so.
  opc::model::Part part = storage->package.createPart(
      opc::model::PartName(name), opc::model::ContentType(FILEMANIFEST_CONTENTTYPE),
      opc::model::StandardPartInfo(1, 0));
  try {
    KZFSettingsSerializer().save(*part.getOutputStream(), *settings);
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_VALUE_NOT_STORABLE("the settings", e.what()));
  }
  admitOrRefuse(storage->rules, name, name, KZFFileEntryType::File);
  KZFFileEntry entry(name, name, KZFFileEntryType::File);
  addEntryToExtractionManager(name, name, entry);
  storage->package.createInternalRelationship(
      opc::toStringFromASCIIStringLiteral(KZF_CONFIGURATION_MANIFEST_RELATIONSHIP),
      opc::model::URI(name), ustring());
}

KZFSettings KZFPackage::getKZFSettingsFromExtractedKZFLocation(const ustring& directory) {
  // The manifest's name is appended as it stands: a directory given with a trailing "/" gives
  // a doubled slash, which the file system accepts.
  const std::string path = to_string(directory) + KZFMANIFEST_PARTNAME;
  if (!fs::exists(fs::path(path))) {
    throw DeployedException(KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE(path));
  }
  fs::ifstream in(fs::path(path), std::ios::binary);
  opc::StdIStreamAdaptor adaptor(in);
  KZFSettings result;
  try {
    KZFSettingsSerializer().load(adaptor, result);
  } catch (const DeployedException&) {
    throw;
  } catch (const std::exception& e) {
    throw DeployedException(KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES(path + ": " + e.what()));
  }
  return result;
}

}  // namespace Quorlith::kzfpackage
