// kzf create and kzf extract: what goes where, links, replacing packages, and the progress line.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using CreateExtractTest = KzfCliTest;

TEST_F(CreateExtractTest, PrefixPlacesFoldersAndFilesBelowIt) {
  makeSampleTree();
  writeFile("extra/readme.txt", "hi");
  ok({"create", "--prefix", "opt/app/", "app.kzf", "src/bin", "extra/readme.txt"});
  EXPECT_EQ("opt/app/readme.txt\nopt/app/run.sh\n", kzf({"list", "app.kzf"}).out);
  // A package replaced in the folder it is made from does not store itself.
  writeFile("src/app.kzf", "old");
  ok({"create", "--force", "src/app.kzf", "src"});
  EXPECT_EQ("bin\nbin/run.sh\nempty\nlink.m\nmain.m\n", kzf({"list", "src/app.kzf"}).out);
}

TEST_F(CreateExtractTest, ListFileNamesEachDestination) {
  makeSampleTree();
  writeFile("files.txt", "src/main.m\tcode/entry.m\n\nsrc/bin/run.sh\tscripts/start.sh\r\n");
  ok({"create", "--list", "files.txt", "app.kzf", "src/empty"});
  ok({"extract", "app.kzf", "out"});
  EXPECT_EQ(
      "code/\ncode/entry.m mode=100644 links=1 date=1600000000 [function main\n]\n"
      "scripts/\nscripts/start.sh mode=100755 links=1 date=1600000000 [#!/bin/sh\n]\n",
      treeListing(tmp / "out"));
}

TEST_F(CreateExtractTest, BadListIsRefusedNamingTheLine) {
  makeSampleTree();
  const std::string lineFormat = R"(expected "source<TAB>destination" [KZF_LIST_INVALID])";
  const std::pair<const char*, std::string> rows[] = {
      {"src/main.m main.m\n", "files.txt:1: " + lineFormat},
      {"src/main.m\tmain.m\n\nsrc/main.m\ta\tb\n", "files.txt:3: " + lineFormat},
      {"src/main.m\t../main.m\n",
       "files.txt:1: the destination ../main.m is not a relative path inside the package "
       "[KZF_LIST_INVALID]"},
      {"src/gone.m\tgone.m\n", "src/gone.m: no such file or folder [KZF_SOURCE_NOT_FOUND]"},
      {"src/main.m\tx.m\nsrc/bin/run.sh\tx.m\n",
       "src/main.m and src/bin/run.sh would both be stored as x.m [KZF_DUPLICATE_DESTINATION]"},
      // The library would read the backslash as a separator: f\g would come back as f/g.
      {"src/main.m\tcode\\main.m\n",
       "src/main.m: a backslash in the name code\\main.m cannot be stored in a package "
       "[KZF_BACKSLASH_IN_NAME]"}};
  for (const auto& [text, line] : rows) {
    writeFile("files.txt", text);
    expectRefused({"create", "--list", "files.txt", "app.kzf"}, "kzf: " + line + "\n");
  }
}

// Each --skip flag leaves out its own kind, with a warning; without it, nothing is written.
TEST_F(CreateExtractTest, DanglingLinksSpecialAndExcludedFilesAreRefusedOrLeftOut) {
  makeSampleTree();
  fs::create_symlink("gone.m", tmp / "src/dangling.m");
  fs::create_symlink("dangling.m", tmp / "src/bin/chain.m");  // ends at the same missing file
  ASSERT_EQ(0, ::mkfifo((tmp / "src/pipe").c_str(), 0644));
  writeFile("src/bin/run.o", "object");
  writeFile("src/.git/HEAD", "ref");
  writeFile("src/pad.txt", std::string(1000, 'x'));
  const std::string special =
      "kzf: FIFO, socket or device file (--skip-special leaves it out): src/pipe "
      "[KZF_SPECIAL_FILES]\n";
  expectRefused({"create", "app.kzf", "src"}, special);
  expectRefused({"create", "--skip-dangling-links", "app.kzf", "src"}, special);
  expectRefused({"create", "--skip-special", "app.kzf", "src"},
                "kzf: symbolic links without a target (--skip-dangling-links leaves them out): "
                "src/bin/chain.m -> dangling.m, src/dangling.m -> gone.m [KZF_DANGLING_LINKS]\n");
  const KzfRun skipped =
      kzf({"create", "--skip-special", "--skip-dangling-links", "--exclude", "*.o", "--exclude",
           ".git", "--exclude", "bin/x*", "-0", "app.kzf", "src"});
  EXPECT_EQ(
      "kzf: warning: leaving out src/pipe (a FIFO, socket or device file)\n"
      "kzf: warning: leaving out the symbolic link src/bin/chain.m (its target dangling.m does "
      "not exist)\nkzf: warning: leaving out the symbolic link src/dangling.m (its target "
      "gone.m does not exist)\n",
      skipped.err);
  EXPECT_EQ("bin\nbin/run.sh\nempty\nlink.m\nmain.m\npad.txt\n", kzf({"list", "app.kzf"}).out);
  // -0 stores: the compressed size is the size and the deflate block headers.
  EXPECT_GE(parseJson(kzf({"list", "--json", "app.kzf"}))[5]["compressedSize"].get<int>(), 1000);
}

// A link leaving the tree brings its target, a folder with its contents, and says so.
TEST_F(CreateExtractTest, LinksLeavingTheTreeAreReportedBoundedOrRefused) {
  makeSampleTree();
  writeFile("zoneinfo/Europe/Paris", "CET");
  writeFile("zoneinfo/Europe/Rome", "CET");
  fs::create_symlink("../zoneinfo/Europe", tmp / "src/zone");
  const std::string target = fs::canonical(tmp / "zoneinfo/Europe").string();
  EXPECT_EQ("kzf: stored from outside the tree: src/zone -> " + target + " (3 entries, 6 bytes)\n",
            kzf({"create", "app.kzf", "src"}).err);
  ok({"extract", "app.kzf", "out"});
  EXPECT_EQ("CET", readFile(tmp / "out/zone/Rome"));
  EXPECT_EQ("", kzf({"create", "--quiet", "--force", "app.kzf", "src"}).err);

  const std::string leaves =
      "kzf: The symbolic link " + (tmp / "src/zone").string() + " leads outside the packed tree: ";
  expectRefused({"create", "--outside-limit", "2", "b.kzf", "src"},
                leaves + "what it brings in from " + target +
                    " passes the bound on what links bring in from outside, all together "
                    "(entries: 2, bytes: 1073741824) (--outside-limit and --outside-size-limit "
                    "raise the bound, --no-outside-limit lifts it) [KZFPACKAGE_LINK_LEAVES_TREE]\n",
                "b.kzf");
  expectRefused({"create", "--no-outside", "b.kzf", "src"},
                leaves + "it leads to " + target +
                    ", and links that leave the tree are refused [KZFPACKAGE_LINK_LEAVES_TREE]\n",
                "b.kzf");
}

TEST_F(CreateExtractTest, ProgressLineOnlyOnATerminalAndNotWhenQuiet) {
  makeSampleTree();
  writeFile("src/pad.txt", std::string(2000, 'x'));  // sizes past 1 KiB show in KiB
  const KzfRun create = kzf({"create", "app.kzf", "src"}, {}, true);
  // The last redraw shows every entry; the line is ended once (the terminal adds the "\r").
  EXPECT_NE(std::string::npos, create.err.find("\r6/6 entries, 2.0 KiB, ")) << describe(create);
  EXPECT_TRUE(boost::algorithm::ends_with(create.err, "/s\033[K\r\n")) << create.err;
  const KzfRun extract = kzf({"extract", "app.kzf", "out"}, {}, true);
  EXPECT_NE(std::string::npos, extract.err.find("\r6/6 entries, 2.0 KiB, ")) << describe(extract);
  const KzfRun quiet = kzf({"extract", "--quiet", "app.kzf", "again"}, {}, true);
  EXPECT_EQ(0, quiet.status) << describe(quiet);
  EXPECT_EQ("", quiet.err);
}

}  // namespace
}  // namespace kzftest
