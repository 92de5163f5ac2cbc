// kzf extract into a folder that holds an earlier version (--overwrite), and of named entries.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using UpgradeExtractTest = KzfCliTest;

TEST_F(UpgradeExtractTest, OverwriteGivesExactlyTheNewVersionAndWithoutItNothingIsWritten) {
  makeSampleTree();
  ok({"create", "v1.kzf", "src"});
  writeFile("src/main.m", "function main2\n");
  writeFile("src/bin/new.sh", "#!/bin/sh\n", 0755);
  fs::remove(tmp / "src/link.m");
  fs::create_symlink("bin/run.sh", tmp / "src/link.m");
  ok({"create", "v2.kzf", "src"});
  ok({"extract", "v1.kzf", "out"});
  // A link where v2 has a file, leading out of the folder: replaced, never written through.
  writeFile("secret", "s");
  fs::remove(tmp / "out/bin/run.sh");
  fs::create_symlink("../../secret", tmp / "out/bin/run.sh");
  const std::string before = treeListing(tmp / "out");

  expectRefused({"extract", "v2.kzf", "out"},
                "kzf: Could not extract the package into out: 3 of its names exist there "
                "already: bin/run.sh, link.m, main.m [KZFPACKAGE_EXTRACTION_CONFLICT]\n");
  EXPECT_EQ(before, treeListing(tmp / "out")) << "nothing written";
  ok({"extract", "--overwrite", "v2.kzf", "out"});
  EXPECT_EQ(treeListing(tmp / "src"), treeListing(tmp / "out"));
  EXPECT_EQ("s", readFile(tmp / "secret"));
}

TEST_F(UpgradeExtractTest, NamedEntriesComeWithWhatTheirLinksNeed) {
  makeSampleTree();
  ok({"create", "app.kzf", "src"});
  ok({"extract", "app.kzf", "out", "bin/", "link.m"});
  EXPECT_EQ(
      "bin/\nbin/run.sh mode=100755 links=1 date=1600000000 [#!/bin/sh\n]\nlink.m -> main.m\n"
      "main.m mode=100644 links=1 date=1600000000 [function main\n]\n",
      treeListing(tmp / "out"));
  expectRefused({"extract", "app.kzf", "none", "bin", "nope"},
                "kzf: The package has no entry nope. [KZFPACKAGE_NO_SUCH_ENTRY]\n", "none");

  writeFile("plain", "x");
  EXPECT_EQ(
      "kzf: Could not create the extraction folder plain/out: Not a directory "
      "[KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR]\n",
      kzf({"extract", "app.kzf", "plain/out"}).err);
}

}  // namespace
}  // namespace kzftest
