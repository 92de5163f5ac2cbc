// Settings carried by a package: where the manifest is listed, and broken or missing manifests in
// a package or an extracted folder (the kzf tool's tests carry settings through both).
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>
#include <SettingsFixture.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/String.hpp>
#include <opc/model/StandardPartInfo.hpp>


namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFSettings;
namespace kzf = Quorlith::kzfpackage;

class SettingsInPackageTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "app.kzf"; }
  void writePackage(const KZFSettings* settings) {
    KZFPackage package(u(packagePath()), {});
    if (settings) package.setKZFSettings(*settings);
    package.open(kzf::Create);
    package.close();
    expectValidZip(packagePath());
  }
};

TEST_F(SettingsInPackageTest, ManifestIsListedInTheFileManifestUnderTheFileManifestType) {
  const KZFSettings written = fullSettings();
  writePackage(&written);
  OpcReader reader(packagePath());
  auto part = reader.package().getPart(opc::model::PartName(fl::i18n::ustring(u"/.META/manifest.xml")));
  EXPECT_EQ(part.getContentType().toString(), KZFPackage::FILEMANIFEST_CONTENTTYPE);
  auto entries = loadFileManifest(packagePath()).getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getName(), u"/.META/manifest.xml");
  EXPECT_EQ(entries[0].getType(), KZFFileEntryType::File);
}

TEST_F(SettingsInPackageTest, MissingOrBrokenManifestInAnExtractedFolderIsReported) {
  EXPECT_KZF_ERROR_WITH(KZFPackage::getKZFSettingsFromExtractedKZFLocation(u(tmp.path())),
                        "KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE", ".META/manifest.xml");
  writeFile(tmp / ".META/manifest.xml", "<manifest><unclosed></manifest>");
  EXPECT_KZF_ERROR_WITH(KZFPackage::getKZFSettingsFromExtractedKZFLocation(u(tmp.path())),
                        "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES", ".META/manifest.xml");
}

/// A package whose configuration manifest is the given text.
void writeManifestPackage(const fs::path& path, const std::string& xml) {
  opc::zippackage::ZipPhysicalPackage physical(u(path), true, false);
  opc::model::Package package(physical, true);
  package.open(opc::interfaces::OpenMode::Create);
  auto part = package.createPart(opc::model::PartName(fl::i18n::ustring(u"/.META/manifest.xml")),
                                 opc::model::ContentType(KZFPackage::FILEMANIFEST_CONTENTTYPE),
                                 opc::model::StandardPartInfo(1, 0));
  part.getOutputStream()->write(xml.data(), xml.size());
  package.createInternalRelationship(
      opc::toString(KZFPackage::KZF_CONFIGURATION_MANIFEST_RELATIONSHIP), part.getName().getURI(),
      u"");
  package.close(false);
}

TEST_F(SettingsInPackageTest, BrokenManifestsFailTheOpen) {
  writeManifestPackage(packagePath(), "<manifest><unclosed></manifest>");
  KZFPackage malformed(u(packagePath()), {});
  EXPECT_KZF_ERROR(malformed.open(kzf::Read), "KZFPACKAGE_OPEN_FAILED");
  // The failed open left the object closed: once the file is sound, it opens, and a package
  // without settings reads the defaults.
  writePackage(nullptr);
  EXPECT_NO_THROW(malformed.open(kzf::Read));
  EXPECT_TRUE(malformed.getKZFSettings().uuid.empty());
  EXPECT_TRUE(malformed.getKZFSettings().publicFunctions.empty());
  malformed.close();

  writeManifestPackage(packagePath(), "<manifest default-config=\"nowhere\"/>");
  KZFPackage dangling(u(packagePath()), {});
  EXPECT_KZF_ERROR(dangling.open(kzf::Read), "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
}

}  // namespace
}  // namespace kzftest
