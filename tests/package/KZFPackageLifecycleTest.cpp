// The package object's lifecycle: state checks, the file it replaces, and destruction without
// close.
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/model/CoreProperties.hpp>

#include <sys/stat.h>

#include <set>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
namespace kzf = Quorlith::kzfpackage;

class KZFPackageLifecycleTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "app.kzf"; }

  /// Names of everything in the temporary folder, to see what a failure left behind.
  std::set<std::string> folderListing() const {
    std::set<std::string> names;
    for (const auto& item : fs::directory_iterator(tmp.path()))
      names.insert(item.path().filename().string());
    return names;
  }
};

TEST_F(KZFPackageLifecycleTest, StateChecksReportTheirIdentifiers) {
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  package.close();
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

TEST_F(KZFPackageLifecycleTest, UnclosedCreateRestoresOrLeavesNothingAndReadOnlyIsRefused) {
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
  }
  EXPECT_TRUE(folderListing().empty());
  writeFile(packagePath(), "old");
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    EXPECT_FALSE(fs::exists(packagePath())) << "the old file is moved aside while creating";
  }
  EXPECT_EQ(readFile(packagePath()), "old");
  // A read-only previous file is refused before anything moves.
  ::chmod(packagePath().c_str(), 0444);
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR(package.open(kzf::Create), "KZFPACKAGE_OPEN_EXISTING_FILE_ERROR");
  EXPECT_EQ(readFile(packagePath()), "old");
  EXPECT_EQ(folderListing(), std::set<std::string>{"app.kzf"});
}

}  // namespace
}  // namespace kzftest
