// What create refuses, with the identifier of the rule a tree breaks, and the few trees that only
// the API can build (sources reached through a linked root, a source added again after it
// changed), which must verify and extract to themselves. Trees the file system can hold are
// round-tripped by the property test.
#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>

#include <kzfpackage/KZFPackage.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <functional>
#include <map>
#include <optional>

namespace kzftest {
namespace {

using fl::i18n::ustring;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

/// The tree a row builds below `root` and what it hands to the library.
struct Tree {
  fs::path root, outside;
  std::map<ustring, KZFRecordData> list;
  std::function<void(KZFPackage&)> more;  ///< further calls after the list, if any
  std::optional<kzf::KZFSettings> settings;
  std::vector<fs::path> scratch;  ///< made elsewhere by a row, removed afterwards

  ~Tree() {
    boost::system::error_code ignored;
    for (const fs::path& path : scratch) fs::remove_all(path, ignored);
  }
  void file(const std::string& rel, const std::string& content = "data") {
    writeFile(root / rel, content);
  }
  void link(const std::string& rel, const std::string& target) {
    fs::create_directories((root / rel).parent_path());
    fs::create_symlink(target, root / rel);
  }
  /// Lists `source` (below the root) under the destination `name`.
  void add(const std::string& source, const ustring& name) {
    list.insert_or_assign(u(root / source), KZFRecordData(name, false, ""));
  }
  /// Lists everything below the root under its own relative name, as a packaging tool does.
  void addAll() {
    for (fs::recursive_directory_iterator it(root), end; it != end; ++it)
      add(it->path().lexically_relative(root).string(), u(it->path().lexically_relative(root)));
  }
};

struct Example {
  const char* name;
  const char* refusal;  ///< the identifier create must raise; null: the tree round-trips
  std::function<void(Tree&)> build;
};
void PrintTo(const Example& row, std::ostream* out) { *out << row.name; }

class CreateExtractPromise : public TempDirTest, public ::testing::WithParamInterface<Example> {};

TEST_P(CreateExtractPromise, RefusedAtCreateOrExtractedEqual) {
  Tree tree{tmp / "src", tmp / "outside", {}, {}, {}, {}};
  for (const fs::path& folder : {tree.root, tree.outside}) fs::create_directories(folder);
  GetParam().build(tree);
  if (IsSkipped()) return;
  const fs::path packagePath = tmp / "p.kzf";
  try {
    KZFPackage package(u(packagePath), {});
    package.open(kzf::Create);
    package.addFileListToKZF(tree.list);
    if (tree.more) tree.more(package);
    if (tree.settings) package.setKZFSettings(*tree.settings);
    package.close();
  } catch (const fl::i18n::DeployedException& e) {
    ASSERT_NE(GetParam().refusal, nullptr) << "refused: " << e.what();
    EXPECT_EQ(e.identifier(), std::string(GetParam().refusal)) << e.what();
    EXPECT_FALSE(fs::exists(packagePath)) << "a refused package is not left behind";
    return;
  }
  ASSERT_EQ(GetParam().refusal, nullptr) << "created, though it should be refused";
  KZFPackage package(u(packagePath), {});
  package.open(kzf::Read);
  EXPECT_EQ(package.verify(), std::vector<std::string>());
  package.extract(u(tmp / "out"));
  // Targets outside the tree come along at their mirrored places: only the tree is compared.
  const std::string extracted = treeListing(tmp / "out");
  std::istringstream source(treeListing(tree.root));
  for (std::string line; std::getline(source, line);) {
    EXPECT_NE(extracted.find(line + "\n"), std::string::npos)
        << "missing or different: " << line << "\nextracted:\n" << extracted;
  }
}

/// Sets the modification time of `path` to `seconds`; false when the file system cannot hold it.
bool dateFile(const fs::path& path, std::time_t seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  struct stat status {};
  return ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::lstat(path.c_str(), &status) == 0 && status.st_mtime == seconds;
}

constexpr const char* kEqual = nullptr;
constexpr const char* kName = "KZFPACKAGE_NAME_NOT_STORABLE";
constexpr const char* kTaken = "KZFPACKAGE_NAME_TAKEN";
constexpr const char* kLink = "KZFPACKAGE_LINK_NOT_STORABLE";
constexpr const char* kValue = "KZFPACKAGE_VALUE_NOT_STORABLE";

const Example kExamples[] = {
    {"TabInALinkName", kName, [](Tree& t) { t.file("f"); t.link("a\tb", "f"); t.addAll(); }},
    {"BackslashInAFolderName", kName,
     [](Tree& t) { fs::create_directories(t.root / "a\\b"); t.addAll(); }},
    {"FolderNamedWithLeadingDot", kName,
     [](Tree& t) { fs::create_directories(t.root / "dir"); t.add("dir", u"./dir"); }},
    {"LoopOfTwoLinks", kLink, [](Tree& t) { t.link("a", "b"); t.link("b", "a"); t.addAll(); }},
    {"TwoFilesForOneDestination", kTaken,
     [](Tree& t) { t.file("a", "1"); t.file("b", "2"); t.add("a", u"f"); t.add("b", u"f"); }},
    {"FileUnderAFileName", kTaken,
     [](Tree& t) { t.file("a", "1"); t.file("b", "2"); t.add("a", u"f"); t.add("b", u"f/g"); }},
    {"DateBeforeTheYear1400", kValue, [](Tree& t) {
       // 1200-01-01, which ext4 cannot hold but tmpfs can.
       const fs::path old = fs::unique_path("/dev/shm/kzftest-old-%%%%%%%%"); writeFile(old, "old");
       t.scratch.push_back(old);
       if (!dateFile(old, -24298790400LL)) GTEST_SKIP() << "no file system here holds 1200";
       t.list.emplace(u(old), KZFRecordData(u"old", false, ""));
     }},
    {"LinkTextNotValidInTheEncoding", kValue,
     [](Tree& t) { t.file("f"); t.link("l", "f\xff"); t.addAll(); }},
    {"SettingsTextHoldingNul", kValue, [](Tree& t) {
       t.file("f"); t.addAll();
       t.settings.emplace().sessionKey = kzf::KZFByteArray(std::string("key\0material", 12));
     }},
    {"TreeReachedThroughALinkedRoot", kEqual, [](Tree& t) {
       t.file("lib/libfoo.so.1", "foo"); t.link("lib/libfoo.so", "libfoo.so.1");
       fs::create_symlink(t.root, t.outside / "linked");
       for (const char* name : {"lib", "lib/libfoo.so.1", "lib/libfoo.so"})
         t.list.emplace(u(t.outside / "linked" / name), KZFRecordData(u(name), false, ""));
     }},
    {"DotDotAfterAMissingFolder", kLink,
     [](Tree& t) { t.file("f"); t.link("l", "missing/../f"); t.addAll(); }},
    {"LinkTargetPlaceTakenByAnotherFile", "KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE", [](Tree& t) {
       writeFile(t.outside / "x.txt", "linked"); t.file("other.txt", "another file");
       t.link("l", (t.outside / "x.txt").string()); t.add("l", u"l");
       t.add("other.txt", u((t.outside / "x.txt").relative_path()));
     }},
    {"LinkTargetPlaceTakenByAnotherLink", "KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE", [](Tree& t) {
       writeFile(t.outside / "x.txt", "x"); fs::create_symlink("x.txt", t.outside / "lnk");
       t.file("other.txt", "another file");
       t.link("l", (t.outside / "lnk").string()); t.add("l", u"l");
       t.add("other.txt", u((t.outside / "lnk").relative_path()));
     }},
    {"LinkToALoopOutsideTheTree", kLink, [](Tree& t) {
       fs::create_symlink("oloop", t.outside / "oloop"); t.link("l", "../outside/oloop");
       t.link("sub/deeper/m", (t.outside / "oloop").string()); t.addAll();
     }},
    {"SameSourceAddedAgainAfterItChanged", kEqual, [](Tree& t) {
       t.file("tool", "#!/bin/sh\n"); fs::permissions(t.root / "tool", fs::perms(0644));
       t.add("tool", u"bin/tool");
       t.more = [&t](KZFPackage& package) {
         fs::permissions(t.root / "tool", fs::perms(0755));
         dateFile(t.root / "tool", 1500000000);
         package.addFileToKZF(u(t.root / "tool"), u"tool", "", {});
       };
     }},
};

INSTANTIATE_TEST_SUITE_P(Examples, CreateExtractPromise, ::testing::ValuesIn(kExamples),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace kzftest
