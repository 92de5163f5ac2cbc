// Symbolic links packed from a source tree and re-created on extraction.
#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <TempDir.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/model/Package.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

#include <boost/filesystem/fstream.hpp>

#include <iterator>
#include <sstream>

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

  /// Every entry below the source root (not following links), keyed by path, named by its
  /// path relative to the root, as a packaging tool lists a tree.
  std::map<fl::i18n::ustring, KZFRecordData> listTree() {
    std::map<fl::i18n::ustring, KZFRecordData> list;
    for (fs::recursive_directory_iterator it(src()), end; it != end; ++it) {
      std::string relative = it->path().string().substr(src().string().size() + 1);
      list.emplace(u(it->path()), KZFRecordData(fl::i18n::to_ustring(relative), false, ""));
    }
    return list;
  }

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

TEST_F(LinksInPackageTest, EveryKindOfLinkReachesTheSameContentAfterExtraction) {
  writeFile(src() / "app/lib/libfoo.so.1", "foo library");
  writeFile(src() / "app/bin/tool", "tool");
  writeFile(src() / "app/data/table.csv", "a,b\n");
  writeFile(src() / "app/real.txt", "real");
  writeFile(outside() / "ext.txt", "outside the tree");
  writeFile(outside() / "chain-end.txt", "end of the chain");
  link("libfoo.so.1", src() / "app/lib/libfoo.so");                  // beside it
  link("../../bin/tool", src() / "app/lib/x/tool-link");             // another folder
  link("data", src() / "app/share");                                 // a folder
  link("real.txt", src() / "app/twin1");                             // two links to one
  link("real.txt", src() / "app/twin2");                             //   directly added file
  link((outside() / "ext.txt").string(), src() / "app/ext1");        // absolute, outside
  link((outside() / "ext.txt").string(), src() / "app/ext2");        //   twice: queued once
  link((outside() / "chain-a").string(), src() / "app/chain");       // a chain of three links
  link("chain-b", outside() / "chain-a");
  link("chain-c", outside() / "chain-b");
  link("chain-end.txt", outside() / "chain-c");

  std::ostringstream trace;
  kzf::verbose.stream = &trace;
  kzf::verbose.enabled = true;
  pack(listTree());
  kzf::verbose.enabled = false;
  kzf::verbose.stream = &std::cout;
  expectValidZip(packagePath());
  EXPECT_NE(trace.str().find("addLinkedFileToList: Symbolic link target already in source list."),
            std::string::npos);
  EXPECT_EQ(partsNamed("/ext.txt"), 1u) << "the outside target is stored once";
  EXPECT_EQ(partsNamed("/chain-end.txt"), 1u);

  extract();
  for (const char* name : {"app/lib/libfoo.so", "app/lib/x/tool-link", "app/share", "app/twin1",
                           "app/twin2", "app/ext1", "app/ext2", "app/chain"}) {
    SCOPED_TRACE(name);
    const fs::path extracted = out() / name, original = src() / name;
    ASSERT_TRUE(fs::is_symlink(fs::symlink_status(extracted)));
    const fs::path reached = fs::canonical(extracted);
    EXPECT_EQ(reached.string().rfind(fs::canonical(out()).string(), 0), 0u)
        << "the link must resolve inside the extracted tree: " << reached;
    if (fs::is_directory(reached)) {
      EXPECT_TRUE(fs::exists(reached / "table.csv"));
    } else {
      EXPECT_EQ(readFile(reached), readFile(fs::canonical(original)));
    }
  }
  EXPECT_EQ(fs::read_symlink(out() / "app/lib/libfoo.so").string(), "libfoo.so.1");
  EXPECT_EQ(fs::read_symlink(out() / "app/lib/x/tool-link").string(), "../../bin/tool");
}

TEST_F(LinksInPackageTest, RelativeLinkLeavingTheTreeIsStoredAtItsMirroredPlace) {
  writeFile(outside() / "ext.txt", "outside the tree");
  link("../../outside/ext.txt", src() / "app/up");
  pack(listTree());
  extract();
  const fs::path reached = fs::canonical(out() / "app/up");
  EXPECT_EQ(reached.string().rfind(fs::canonical(out()).string(), 0), 0u) << reached;
  EXPECT_EQ(readFile(reached), "outside the tree");
}

TEST_F(LinksInPackageTest, TargetReachedThroughAFolderLinkIsTheFileAtItsRealPlace) {
  writeFile(src() / "data/samples/f.mat", "samples");
  link("../data/samples", src() / "examples/data");
  link("../examples/data/f.mat", src() / "other/l");
  pack(listTree());
  extract();
  EXPECT_TRUE(fs::is_symlink(fs::symlink_status(out() / "examples/data")));
  EXPECT_EQ(fs::read_symlink(out() / "other/l").string(), "../data/samples/f.mat");
  EXPECT_EQ(readFile(out() / "other/l"), "samples");
}

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

TEST_F(LinksInPackageTest, DanglingLinkFailsAtCloseAndLeavesNoPackage) {
  writeFile(src() / "app/f.txt", "f");
  link("missing.txt", src() / "app/dangling");
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  package.addFileListToKZF(listTree());
  EXPECT_KZF_ERROR_WITH(package.close(), "KZFPACKAGE_FILE_ENTRY_NOT_EXIST", "missing.txt");
  EXPECT_FALSE(fs::exists(packagePath()));
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
