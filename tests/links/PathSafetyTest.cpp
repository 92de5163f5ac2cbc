// Path safety: which entry names and link targets extraction accepts, and its byte budgets.
#include <fcntl.h>
#include <sys/stat.h>

#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <TempDir.hpp>
#include <boost/filesystem/fstream.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <map>
#include <stdexcept>
#include <string>

#include "PathSafety.hpp"

namespace kzftest {
namespace {

namespace fs = boost::filesystem;
namespace kzf = Quorlith::kzfpackage;
namespace pathsafety = Quorlith::kzfpackage::pathsafety;

struct NameRow {
  const char* label;
  std::u16string name;
  std::string expected;  ///< the relative path, or the refusal's reason fragment
  bool accepted;
};

void PrintTo(const NameRow& row, std::ostream* out) { *out << row.label; }

class EntryNameTest : public ::testing::TestWithParam<NameRow> {};

TEST_P(EntryNameTest, AcceptedBelowTheRootOrRefusedWithItsReason) {
  const NameRow& row = GetParam();
  if (row.accepted) {
    EXPECT_EQ(pathsafety::checkEntryName(row.name).relative(), row.expected);
    return;
  }
  try {
    pathsafety::checkEntryName(row.name);
    ADD_FAILURE() << "accepted";
  } catch (const pathsafety::EntryRefusal& e) {
    EXPECT_NE(std::string(e.what()).find(row.expected), std::string::npos) << e.what();
    EXPECT_EQ(e.rule, pathsafety::Rule::Name) << "creation reports it under the name rule";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Names, EntryNameTest,
    ::testing::Values(
        NameRow{"Plain", u"a/b.txt", "a/b.txt", true},
        NameRow{"LeadingSlashIsTheRoot", u"/.META/manifest.xml", ".META/manifest.xml", true},
        NameRow{"DotsInsideAComponent", u"a/..b/c..", "a/..b/c..", true},
        NameRow{"LongestComponent", std::u16string(255, u'x'), std::string(255, 'x'), true},
        NameRow{"Empty", u"", "is empty", false}, NameRow{"OnlySlash", u"/", "only \"/\"", false},
        NameRow{"DoubleLeadingSlash", u"//etc", "empty component", false},
        NameRow{"InnerEmpty", u"a//b", "empty component", false},
        NameRow{"TrailingSlash", u"a/", "ends in \"/\"", false},
        NameRow{"DotDot", u"a/../../b", "\"..\" component", false},
        NameRow{"Dot", u"./a", "\".\" component", false},
        NameRow{"Backslash", u"a\\b", "backslash", false},
        NameRow{"Nul", std::u16string(u"a\0b", 3), "NUL", false},
        NameRow{"Escape", u"a\x1b[2Jb", "control character", false},
        NameRow{"C1Control", u"a\x85", "control character", false},
        NameRow{"LoneSurrogate", u"a\xD800", "narrow encoding", false},
        NameRow{"ComponentOver255", std::u16string(256, u'x'), "longer than 255", false},
        NameRow{"PathOver4095",
                [] {
                  std::u16string name;
                  for (int i = 0; i < 20; ++i) name += std::u16string(205, u'd') + u"/";
                  return name + u"f";
                }(),
                "longer than 4095", false}),
    [](const ::testing::TestParamInfo<NameRow>& row) { return std::string(row.param.label); });

struct TargetRow {
  const char* label;
  const char* link;
  const char* target;
  std::map<std::string, std::string> otherLinks;
  const char* refusal;  ///< "" when accepted
};

void PrintTo(const TargetRow& row, std::ostream* out) { *out << row.label; }

class LinkTargetTest : public ::testing::TestWithParam<TargetRow> {};

TEST_P(LinkTargetTest, StaysInsideTheRoot) {
  const TargetRow& row = GetParam();
  const pathsafety::EntryPath link = pathsafety::checkEntryName(fl::i18n::to_ustring(row.link));
  std::map<std::string, std::string> links = row.otherLinks;
  links[link.relative()] = row.target;
  if (*row.refusal == '\0') {
    EXPECT_NO_THROW(pathsafety::checkLinkTarget(link, row.target, links));
    return;
  }
  try {
    pathsafety::checkLinkTarget(link, row.target, links);
    ADD_FAILURE() << "accepted";
  } catch (const pathsafety::EntryRefusal& e) {
    EXPECT_NE(std::string(e.what()).find(row.refusal), std::string::npos) << e.what();
    EXPECT_EQ(e.rule, pathsafety::Rule::Link);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Targets, LinkTargetTest,
    ::testing::Values(
        TargetRow{"Sibling", "lib/libx.so", "libx.so.1", {}, ""},
        TargetRow{"UpToTheRootExactly", "a/b/l", "../../f", {}, ""},
        TargetRow{"DownAndBack", "l", "a/b/../c", {}, ""},
        TargetRow{"Absolute", "l", "/etc", {}, "is absolute"},
        TargetRow{"OneLevelTooFar", "a/l", "../../f", {}, "climbs out"},
        TargetRow{"ThroughDotLink", "par", "cur/..", {{"cur", "."}}, "climbs out"},
        TargetRow{"ThroughDeepLink", "l", "d/../..", {{"d", "x/y"}}, ""},
        TargetRow{"ThroughAbsoluteLink", "l", "a/f", {{"a", "/etc"}}, "whose target is absolute"},
        TargetRow{"Loop", "x", "y/..", {{"y", "x/.."}}, "loop of links"}),
    [](const ::testing::TestParamInfo<TargetRow>& row) { return std::string(row.param.label); });

/// A file written into a folder: under its final name when that is free, under a temporary
/// name renamed over it when something is there already.
class StagedFileTest : public TempDirTest {
 protected:
  void SetUp() override {
    folder = opc::core::FileHandle(::open(tmp.path().c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_GE(folder.get(), 0);
  }
  /// The names in the folder, sorted, with the content of each.
  std::string contents() const {
    std::map<std::string, std::string> found;
    for (fs::directory_iterator it(tmp.path()), end; it != end; ++it) {
      found[it->path().filename().string()] = readFile(it->path());
    }
    std::string out;
    for (const auto& [name, content] : found) out += name + "=" + content + ";";
    return out;
  }

  opc::core::FileHandle folder;
  const std::string free = "free";
  const std::string taken = "taken";
};

TEST_F(StagedFileTest, WithoutCommitNothingStays) {
  writeFile(tmp / taken, "earlier");
  {
    pathsafety::StagedFile file(folder, free, free);
    file.write("partial", 7);
    EXPECT_EQ(contents(), "free=partial;taken=earlier;") << "written under the final name";
  }
  {
    pathsafety::StagedFile file(folder, taken, taken);
    file.write("partial", 7);
  }
  EXPECT_EQ(contents(), "taken=earlier;");
}

TEST_F(StagedFileTest, CommitReplacesWhatWasThereWithoutWritingThroughIt) {
  writeFile(tmp / "elsewhere", "kept");
  fs::create_hard_link(tmp / "elsewhere", tmp / taken);
  fs::create_symlink("elsewhere", tmp / free);
  for (const std::string* name : {&free, &taken}) {
    pathsafety::StagedFile file(folder, *name, *name);
    file.write("new", 3);
    file.setModificationTime(1000000000);
    EXPECT_TRUE(file.setPermission(0640));
    file.commit();
  }
  EXPECT_EQ(contents(), "elsewhere=kept;free=new;taken=new;");
  for (const std::string* name : {&free, &taken}) {
    struct stat st {};
    ASSERT_EQ(::lstat((tmp / *name).c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode)) << *name;
    EXPECT_EQ(st.st_nlink, 1u) << *name;
    EXPECT_EQ(st.st_mode & 07777, 0640u) << *name;
    EXPECT_EQ(st.st_mtime, 1000000000) << *name;
  }
}

/// Extraction budgets, over a package the library writes itself.
class ExtractionBudgetTest : public TempDirTest {
 protected:
  void SetUp() override {
    fs::create_directories(tmp / "src");
    fs::ofstream(tmp / "src/a.bin") << std::string(1000, 'a');
    fs::ofstream(tmp / "src/b.bin") << std::string(1000, 'b');
    kzf::KZFPackage package(fl::i18n::to_ustring((tmp / "p.kzf").string()), {});
    package.open(kzf::Create);
    std::map<fl::i18n::ustring, kzf::KZFRecordData> files;
    for (const char* name : {"a.bin", "b.bin"}) {
      files.emplace(fl::i18n::to_ustring((tmp / "src" / name).string()),
                    kzf::KZFRecordData(fl::i18n::to_ustring(name), false, ""));
    }
    package.addFileListToKZF(files);
    package.close();
  }
  void extract(const kzf::KZFExtractionBudget& budget) {
    kzf::KZFPackage package(fl::i18n::to_ustring((tmp / "p.kzf").string()), {});
    package.open(kzf::Read);
    package.setExtractionBudget(budget);
    package.extract(fl::i18n::to_ustring((tmp / "root").string()));
  }
};

TEST_F(ExtractionBudgetTest, ExactLimitsPass) {
  extract({2000, 1000});
  EXPECT_EQ(fs::file_size(tmp / "root/b.bin"), 1000u);
}

TEST_F(ExtractionBudgetTest, PerFileLimitRefusesTheFileAndLeavesNoTemporary) {
  EXPECT_KZF_ERROR_WITH(extract({0, 999}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"a.bin\": its content exceeds the per-file budget of 999 bytes");
  EXPECT_FALSE(fs::exists(tmp / "root/a.bin"));
  EXPECT_TRUE(fs::is_empty(tmp / "root"));
}

TEST_F(ExtractionBudgetTest, TotalLimitStopsAtTheFileThatPassesIt) {
  EXPECT_KZF_ERROR_WITH(extract({1999, 0}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"b.bin\": it exceeds the extraction's total budget of 1999");
  EXPECT_TRUE(fs::exists(tmp / "root/a.bin"));
  EXPECT_FALSE(fs::exists(tmp / "root/b.bin"));
}

}  // namespace
}  // namespace kzftest
