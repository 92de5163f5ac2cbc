// The package object's lifecycle: open modes, state checks, backups, close and destruction.
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PackageHelper.hpp>

#include <sys/stat.h>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
namespace kzf = Quorlith::kzfpackage;

class KZFPackageLifecycleTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "app.kzf"; }

  /// Names of everything in the temporary folder, to see what a failure left behind.
  std::vector<std::string> folderListing() const {
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(tmp.path())) {
      names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void writeEmptyPackage(const fs::path& path) {
    KZFPackage package(u(path), {});
    package.open(kzf::Create);
    package.close();
  }
};

TEST_F(KZFPackageLifecycleTest, CloseOnANeverOpenedPackageDoesNothing) {
  KZFPackage package(u(packagePath()), {});
  EXPECT_NO_THROW(package.close());
  EXPECT_FALSE(fs::exists(packagePath()));
}

TEST_F(KZFPackageLifecycleTest, EmptyCreatedPackageIsAValidZipWithoutManifests) {
  writeEmptyPackage(packagePath());
  expectValidZip(packagePath());
  OpcReader reader(packagePath());
  EXPECT_FALSE(reader.hasPart(u"/.META/filemanifest.xml"));
  EXPECT_FALSE(reader.hasPart(u"/.META/manifest.xml"));
  EXPECT_TRUE(reader.package().getParts().empty());
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
}

TEST_F(KZFPackageLifecycleTest, StateChecksReportTheirIdentifiers) {
  writeEmptyPackage(packagePath());
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR(package.addFileListToKZF({}), "KZFPACKAGE_NOT_OPEN");
  EXPECT_KZF_ERROR(package.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN");

  package.open(kzf::Read);
  EXPECT_KZF_ERROR(package.open(kzf::Read), "KZFPACKAGE_ALREADY_OPENED");
  EXPECT_KZF_ERROR(package.addFileListToKZF({}), "KZFPACKAGE_NOT_FOR_CREATE");
  EXPECT_KZF_ERROR(package.setOPCCoreProperties(opc::model::CoreProperties()),
                   "KZFPACKAGE_NOT_FOR_CREATE");
  package.close();

  KZFPackage created(u(tmp / "other.kzf"), {});
  created.open(kzf::Create);
  EXPECT_KZF_ERROR(created.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN_FOR_READ");
  created.close();
}

TEST_F(KZFPackageLifecycleTest, MissingArchiveIsNamedByItsAbsolutePath) {
  fs::path saved = fs::current_path();
  fs::current_path(tmp.path());
  KZFPackage package(u"missing.kzf", {});
  EXPECT_KZF_ERROR_WITH(package.open(kzf::Read), "KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE",
                        (tmp / "missing.kzf").string());
  fs::current_path(saved);
}

TEST_F(KZFPackageLifecycleTest, ReadingAFileThatIsNotAZipFailsToOpen) {
  writeFile(packagePath(), "not a zip at all");
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR_WITH(package.open(kzf::Read), "KZFPACKAGE_OPEN_FAILED", "not a zip archive");
  EXPECT_KZF_ERROR(package.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN");
}

TEST_F(KZFPackageLifecycleTest, ReadOnlyExistingFileIsRefusedBeforeAnythingMoves) {
  writeFile(packagePath(), "old");
  ::chmod(packagePath().c_str(), 0444);
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR(package.open(kzf::Create), "KZFPACKAGE_OPEN_EXISTING_FILE_ERROR");
  EXPECT_EQ(readFile(packagePath()), "old");
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
}

TEST_F(KZFPackageLifecycleTest, DestructionWithoutCloseRestoresThePreviousFile) {
  writeFile(packagePath(), "old");
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    EXPECT_FALSE(fs::exists(packagePath())) << "the old file is moved aside while creating";
  }
  EXPECT_EQ(readFile(packagePath()), "old");
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
}

TEST_F(KZFPackageLifecycleTest, NeverClosedNewPackageLeavesNothing) {
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
  }
  EXPECT_TRUE(folderListing().empty());
}

TEST_F(KZFPackageLifecycleTest, ClosedPackageCanBeOpenedAgain) {
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  package.close();
  package.open(kzf::Read);
  package.close();
  package.open(kzf::Create);
  package.close();
  expectValidZip(packagePath());
}

TEST_F(KZFPackageLifecycleTest, CorePropertiesAreWrittenIntoThePackage) {
  opc::model::CoreProperties properties;
  properties.title = u"Sample Äpp";
  properties.creator = u"packager";
  properties.created = boost::posix_time::ptime(boost::gregorian::date(2024, 3, 1),
                                                boost::posix_time::hours(12));
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    package.setOPCCoreProperties(properties);
    package.close();
  }
  expectValidZip(packagePath());
  OpcReader reader(packagePath());
  opc::model::CoreProperties read = opc::model::PackageHelper::getCoreProperties(reader.package());
  EXPECT_EQ(read.title, properties.title);
  EXPECT_EQ(read.creator, properties.creator);
  EXPECT_EQ(read.created, properties.created);
}

}  // namespace
}  // namespace kzftest
