// Path safety: which entry names and link targets extraction accepts, and its byte budgets. The
// hostile corpus extracts the names and targets every attack uses; these rows are the rest.
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
        NameRow{"InnerEmpty", u"a//b", "empty component", false},
        NameRow{"DotDot", u"a/../../b", "\"..\" component", false},
        NameRow{"Nul", std::u16string(u"a\0b", 3), "NUL", false},
        NameRow{"Escape", u"a\x1b[2Jb", "control character", false},
        NameRow{"C1Control", u"a\x85", "control character", false},
        NameRow{"LoneSurrogate", u"a\xD800", "narrow encoding", false}),
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
        TargetRow{"OneLevelTooFar", "a/l", "../../f", {}, "climbs out"},
        TargetRow{"ThroughDeepLink", "l", "d/../..", {{"d", "x/y"}}, ""},
        TargetRow{"ThroughAbsoluteLink", "l", "a/f", {{"a", "/etc"}}, "whose target is absolute"}),
    [](const ::testing::TestParamInfo<TargetRow>& row) { return std::string(row.param.label); });

/// Extraction budgets, over a package the library writes itself.
class ExtractionBudgetTest : public TempDirTest {
 protected:
  void SetUp() override {
    kzf::KZFPackage package(u(tmp / "p.kzf"), {});
    package.open(kzf::Create);
    std::map<fl::i18n::ustring, kzf::KZFRecordData> files;
    for (const char* name : {"a.bin", "b.bin"}) {
      writeFile(tmp / "src" / name, std::string(1000, name[0]));
      files.emplace(u(tmp / "src" / name), kzf::KZFRecordData(fl::i18n::to_ustring(name), false, ""));
    }
    package.addFileListToKZF(files);
    package.close();
  }
  void extract(const kzf::KZFExtractionBudget& budget) {
    kzf::KZFPackage package(u(tmp / "p.kzf"), {});
    package.open(kzf::Read);
    package.setExtractionBudget(budget);
    package.extract(u(tmp / "root"));
  }
};

TEST_F(ExtractionBudgetTest, ExactLimitsPassAndEachLimitStopsAtTheFileThatPassesIt) {
  extract({2000, 1000});
  EXPECT_EQ(fs::file_size(tmp / "root/b.bin"), 1000u);
  fs::remove_all(tmp / "root");
  EXPECT_KZF_ERROR_WITH(extract({0, 999}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"a.bin\": its content exceeds the per-file budget of 999 bytes");
  EXPECT_TRUE(fs::is_empty(tmp / "root")) << "no temporary file is left";
  EXPECT_KZF_ERROR_WITH(extract({1999, 0}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"b.bin\": it exceeds the extraction's total budget of 1999");
  EXPECT_TRUE(fs::exists(tmp / "root/a.bin"));
  EXPECT_FALSE(fs::exists(tmp / "root/b.bin"));
}

}  // namespace
}  // namespace kzftest
