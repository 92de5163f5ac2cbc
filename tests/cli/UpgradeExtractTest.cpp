// kzf extract into a folder that holds an earlier version (--overwrite), and of named entries.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using UpgradeExtractTest = KzfCliTest;

TEST_F(UpgradeExtractTest, OverwriteGivesExactlyTheNewVersionAndWithoutItNothingIsWritten) {
  makeSampleTree();
  ASSERT_EQ(0, kzf({"create", "v1.kzf", "src"}).status);
  writeFile("src/main.m", "function main2\n");
  writeFile("src/bin/new.sh", "#!/bin/sh\n", 0755);
  fs::remove(tmp / "src/link.m");
  fs::create_symlink("bin/run.sh", tmp / "src/link.m");
  ASSERT_EQ(0, kzf({"create", "v2.kzf", "src"}).status);
  ASSERT_EQ(0, kzf({"extract", "v1.kzf", "out"}).status);
  // A link where v2 has a file, leading out of the folder: replaced, never written through.
  writeFile("secret", "s");
  fs::remove(tmp / "out/bin/run.sh");
  fs::create_symlink("../../secret", tmp / "out/bin/run.sh");
  const std::string before = treeListing(tmp / "out");

  const KzfRun refused = kzf({"extract", "v2.kzf", "out"});
  EXPECT_EQ(1, refused.status);
  EXPECT_EQ(
      "kzf: Could not extract the package into out: 3 of its names exist there already: "
      "bin/run.sh, link.m, main.m [KZFPACKAGE_EXTRACTION_CONFLICT]\n",
      refused.err);
  EXPECT_EQ(before, treeListing(tmp / "out")) << "nothing written";

  const KzfRun upgraded = kzf({"extract", "--overwrite", "v2.kzf", "out"});
  ASSERT_EQ(0, upgraded.status) << describe(upgraded);
  EXPECT_EQ(treeListing(tmp / "src"), treeListing(tmp / "out"));
  EXPECT_EQ("s", readWholeFile(tmp / "secret"));
}

TEST_F(UpgradeExtractTest, NamedEntriesComeWithWhatTheirLinksNeed) {
  makeSampleTree();
  ASSERT_EQ(0, kzf({"create", "app.kzf", "src"}).status);
  const KzfRun some = kzf({"extract", "app.kzf", "out", "bin/", "link.m"});
  ASSERT_EQ(0, some.status) << describe(some);
  EXPECT_EQ(
      "d bin\n"
      "f 0644 1600000000 main.m function main\n\n"
      "f 0755 1600000000 bin/run.sh #!/bin/sh\n\n"
      "l link.m -> main.m\n",
      treeListing(tmp / "out"));

  const KzfRun unknown = kzf({"extract", "app.kzf", "none", "bin", "nope"});
  EXPECT_EQ(1, unknown.status);
  EXPECT_EQ("kzf: The package has no entry nope. [KZFPACKAGE_NO_SUCH_ENTRY]\n", unknown.err);
  EXPECT_FALSE(fs::exists(tmp / "none"));

  writeFile("plain", "x");
  EXPECT_EQ(
      "kzf: Could not create the extraction folder plain/out: Not a directory "
      "[KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR]\n",
      kzf({"extract", "app.kzf", "plain/out"}).err);
}

}  // namespace
}  // namespace kzftest
