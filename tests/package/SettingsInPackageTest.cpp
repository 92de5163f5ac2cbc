// Settings carried by a package: written at close, loaded by open, read from an extracted folder.
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/String.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/optional/optional_io.hpp>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFSettings;
using Quorlith::kzfpackage::VelmorFunction;
namespace kzf = Quorlith::kzfpackage;

KZFSettings sampleSettings() {
  KZFSettings s;
  s.uuid = u"0f1e2d3c-aaaa-bbbb-cccc-000000000001";
  s.componentName = u"Sample \u00c4pp";
  s.vrtMajorVersion = u"8";
  s.vrtMinorVersion = u"0";
  s.vrtReleaseVersion = u"614";
  s.needJava = true;
  s.needExclusiveVrtProcess = false;
  VelmorFunction main;
  main.location = u"/app/main.m";
  main.name = u"main";
  main.inputs = {u"argv"};
  main.outputs = {u"status"};
  s.publicFunctions = {main};
  s.expires = boost::gregorian::date(2031, 12, 24);
  s.velmorPath = {u"/app/lib", u"/app/toolbox"};
  s.libraryPath = {u"/app/bin/glnxa64"};
  s.runtimeOptions = {u"-nojvm"};
  s.initStartMessage = u"Starting\u2026";
  s.sessionKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("k\xc3\xa9y"));
  return s;
}

void expectSameSettings(const KZFSettings& read, const KZFSettings& written) {
  EXPECT_EQ(read.uuid, written.uuid);
  EXPECT_EQ(read.componentName, written.componentName);
  EXPECT_EQ(read.vrtReleaseVersion, written.vrtReleaseVersion);
  EXPECT_EQ(read.needJava, written.needJava);
  EXPECT_EQ(read.needExclusiveVrtProcess, written.needExclusiveVrtProcess);
  ASSERT_EQ(read.publicFunctions.size(), 1u);
  EXPECT_EQ(read.publicFunctions[0].name, u"main");
  EXPECT_EQ(read.mainFunction.inputs, written.publicFunctions[0].inputs);
  EXPECT_EQ(read.expires, written.expires);
  EXPECT_EQ(read.velmorPath, written.velmorPath);
  EXPECT_EQ(read.libraryPath, written.libraryPath);
  EXPECT_EQ(read.runtimeOptions, written.runtimeOptions);
  EXPECT_EQ(read.prefdir, u".velmor");
  EXPECT_EQ(read.initStartMessage, written.initStartMessage);
  EXPECT_TRUE(read.sessionKey == written.sessionKey);
}

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

TEST_F(SettingsInPackageTest, SettingsRoundTripThroughThePackageAndAnExtractedFolder) {
  const KZFSettings written = sampleSettings();
  writePackage(&written);

  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Read);
  expectSameSettings(package.getKZFSettings(), written);
  package.extract(u(tmp / "out"));
  expectSameSettings(KZFPackage::getKZFSettingsFromExtractedKZFLocation(u(tmp / "out")), written);
  expectSameSettings(KZFPackage::getKZFSettingsFromExtractedKZFLocation(u(tmp / "out") + u"/"),
                     written);
}

TEST_F(SettingsInPackageTest, ManifestIsListedInTheFileManifestUnderTheFileManifestType) {
  const KZFSettings written = sampleSettings();
  writePackage(&written);
  OpcReader reader(packagePath());
  auto part = reader.package().getPart(opc::model::PartName(fl::i18n::ustring(u"/.META/manifest.xml")));
  EXPECT_EQ(part.getContentType().toString(), KZFPackage::FILEMANIFEST_CONTENTTYPE);
  auto entries = loadFileManifest(packagePath()).getEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].getName(), u"/.META/manifest.xml");
  EXPECT_EQ(entries[0].getType(), KZFFileEntryType::File);
}

TEST_F(SettingsInPackageTest, PackageWithoutSettingsReadsDefaults) {
  writePackage(nullptr);
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Read);
  KZFSettings read = package.getKZFSettings();
  EXPECT_TRUE(read.uuid.empty());
  EXPECT_TRUE(read.publicFunctions.empty());
  EXPECT_FALSE(read.expires);
}

TEST_F(SettingsInPackageTest, SettingsAreKeptAcrossStatesAsCopies) {
  KZFPackage package(u(packagePath()), {});
  KZFSettings settings = sampleSettings();
  package.setKZFSettings(settings);
  settings.uuid = u"changed afterwards";
  EXPECT_EQ(package.getKZFSettings().uuid, sampleSettings().uuid);
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
  // The failed open left the object closed: once the file is sound, it opens.
  writePackage(nullptr);
  EXPECT_NO_THROW(malformed.open(kzf::Read));
  malformed.close();

  writeManifestPackage(packagePath(), "<manifest default-config=\"nowhere\"/>");
  KZFPackage dangling(u(packagePath()), {});
  EXPECT_KZF_ERROR(dangling.open(kzf::Read), "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
}

}  // namespace
}  // namespace kzftest
