// Symbolic links packed from a source tree and re-created on extraction.
#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <TempDir.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/model/Package.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

namespace kzftest {
namespace {

namespace fs = boost::filesystem;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

void link(const std::string& target, const fs::path& at) {
  fs::create_directories(at.parent_path());
  fs::create_symlink(target, at);
}

class LinksInPackageTest : public TempDirTest {
 protected:
  fs::path src() const { return tmp / "src"; }
  fs::path outside() const { return tmp / "outside"; }
  fs::path out() const { return tmp / "out"; }
  fs::path packagePath() const { return tmp / "app.kzf"; }

  void pack(const std::map<fl::i18n::ustring, KZFRecordData>& list) {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    package.addFileListToKZF(list);
    package.close();
  }

  void extract() {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Read);
    package.extract(u(out()));
  }

  std::size_t partsNamed(const std::string& suffix) {
    opc::zippackage::ZipPhysicalPackage physical(u(packagePath()), true, false);
    opc::model::Package package(physical, true);
    package.open(opc::interfaces::OpenMode::Read);
    std::size_t count = 0;
    for (const auto& part : package.getParts()) {
      std::string name = fl::i18n::to_string(part.getName().toString());
      if (name.size() >= suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) ++count;
    }
    return count;
  }
};

TEST_F(LinksInPackageTest, TreeReachedThroughALinkedRootMapsInsideIt) {
  writeFile(src() / "app/lib/libfoo.so.1", "foo");
  link("libfoo.so.1", src() / "app/lib/libfoo.so");
  fs::create_symlink(src(), tmp / "linked-src");
  std::map<fl::i18n::ustring, KZFRecordData> list;
  for (const char* name : {"app", "app/lib", "app/lib/libfoo.so.1", "app/lib/libfoo.so"}) {
    list.emplace(u(tmp / "linked-src" / name), KZFRecordData(fl::i18n::to_ustring(name), false, ""));
  }
  pack(list);
  extract();
  EXPECT_EQ(fs::read_symlink(out() / "app/lib/libfoo.so").string(), "libfoo.so.1");
  EXPECT_EQ(partsNamed("libfoo.so.1"), 1u);
}

TEST_F(LinksInPackageTest, LinkTargetPlaceTakenByAnotherFileIsRefused) {
  writeFile(outside() / "x.txt", "linked");
  writeFile(src() / "other.txt", "another file");
  link((outside() / "x.txt").string(), src() / "app/l");
  // The link's target maps to its absolute path mirrored below the package root; put a
  // different file there first.
  std::string mirrored = (outside() / "x.txt").relative_path().string();
  std::map<fl::i18n::ustring, KZFRecordData> list;
  list.emplace(u(src() / "app/l"), KZFRecordData(u"app/l", false, ""));
  list.emplace(u(src() / "other.txt"), KZFRecordData(fl::i18n::to_ustring(mirrored), false, ""));
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  EXPECT_KZF_ERROR(package.addFileListToKZF(list), "KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE");
}

TEST_F(LinksInPackageTest, ConflictingLinksAreRefused) {
  link("somewhere-else", outside() / "lnk");
  writeFile(src() / "other.txt", "another file");
  link((outside() / "lnk").string(), src() / "app/l");
  std::string mirrored = (outside() / "lnk").relative_path().string();
  std::map<fl::i18n::ustring, KZFRecordData> list;
  list.emplace(u(src() / "app/l"), KZFRecordData(u"app/l", false, ""));
  list.emplace(u(src() / "other.txt"), KZFRecordData(fl::i18n::to_ustring(mirrored), false, ""));
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  EXPECT_KZF_ERROR(package.addFileListToKZF(list), "KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE");
}

}  // namespace
}  // namespace kzftest
