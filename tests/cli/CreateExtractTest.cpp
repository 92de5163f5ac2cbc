// kzf create and kzf extract: what goes where, links, replacing packages, and the progress line.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using CreateExtractTest = KzfCliTest;

TEST_F(CreateExtractTest, PrefixPlacesFoldersAndFilesBelowIt) {
  makeSampleTree();
  writeFile("extra/readme.txt", "hi");
  const KzfRun create =
      kzf({"create", "--prefix", "opt/app/", "app.kzf", "src/bin", "extra/readme.txt"});
  ASSERT_EQ(0, create.status) << describe(create);
  const KzfRun list = kzf({"list", "app.kzf"});
  EXPECT_EQ("opt/app/readme.txt\nopt/app/run.sh\n", list.out) << describe(list);
}

TEST_F(CreateExtractTest, ListFileNamesEachDestination) {
  makeSampleTree();
  writeFile("files.txt", "src/main.m\tcode/entry.m\n\nsrc/bin/run.sh\tscripts/start.sh\r\n");
  const KzfRun create = kzf({"create", "--list", "files.txt", "app.kzf", "src/empty"});
  ASSERT_EQ(0, create.status) << describe(create);
  ASSERT_EQ(0, kzf({"extract", "app.kzf", "out"}).status);
  EXPECT_EQ(
      "d code\n"
      "d scripts\n"
      "f 0644 1600000000 code/entry.m function main\n\n"
      "f 0755 1600000000 scripts/start.sh #!/bin/sh\n\n",
      treeListing(tmp / "out"));
}

struct BadList {
  const char* name;
  const char* text;
  const char* line;  // standard error
};

// Rows print as their names in test listings.
void PrintTo(const BadList& row, std::ostream* out) { *out << row.name; }

class BadListTest : public KzfCliTest, public ::testing::WithParamInterface<BadList> {};

TEST_P(BadListTest, IsRefusedNamingTheLine) {
  makeSampleTree();
  writeFile("files.txt", GetParam().text);
  const KzfRun run = kzf({"create", "--list", "files.txt", "app.kzf"});
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_EQ(std::string(GetParam().line) + "\n", run.err);
  EXPECT_FALSE(fs::exists(tmp / "app.kzf"));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BadListTest,
    ::testing::Values(
        BadList{"NoTab", "src/main.m main.m\n",
                R"(kzf: files.txt:1: expected "source<TAB>destination" [KZF_LIST_INVALID])"},
        BadList{"TwoTabs", "src/main.m\tmain.m\n\nsrc/main.m\ta\tb\n",
                R"(kzf: files.txt:3: expected "source<TAB>destination" [KZF_LIST_INVALID])"},
        BadList{"ClimbingDestination", "src/main.m\t../main.m\n",
                "kzf: files.txt:1: the destination ../main.m is not a relative path inside the "
                "package [KZF_LIST_INVALID]"},
        BadList{"AbsoluteDestination", "src/main.m\t/main.m\n",
                "kzf: files.txt:1: the destination /main.m is not a relative path inside the "
                "package [KZF_LIST_INVALID]"},
        BadList{"MissingSource", "src/gone.m\tgone.m\n",
                "kzf: src/gone.m: no such file or folder [KZF_SOURCE_NOT_FOUND]"},
        BadList{"SameDestinationTwice", "src/main.m\tx.m\nsrc/bin/run.sh\tx.m\n",
                "kzf: src/main.m and src/bin/run.sh would both be stored as x.m "
                "[KZF_DUPLICATE_DESTINATION]"},
        BadList{"BackslashInDestination", "src/main.m\tcode\\main.m\n",
                "kzf: src/main.m: a backslash in the name code\\main.m cannot be stored in a "
                "package [KZF_BACKSLASH_IN_NAME]"}),
    [](const ::testing::TestParamInfo<BadList>& row) { return row.param.name; });

TEST_F(CreateExtractTest, PackageReplacedInTheFolderItIsMadeFromDoesNotStoreItself) {
  makeSampleTree();
  writeFile("src/app.kzf", "old");
  const KzfRun forced = kzf({"create", "--force", "src/app.kzf", "src"});
  ASSERT_EQ(0, forced.status) << describe(forced);
  EXPECT_EQ("bin\nbin/run.sh\nempty\nlink.m\nmain.m\n", kzf({"list", "src/app.kzf"}).out);
}

TEST_F(CreateExtractTest, DanglingLinksAreRefusedBeforeAnythingIsWritten) {
  makeSampleTree();
  fs::create_symlink("gone.m", tmp / "src/dangling.m");
  fs::create_symlink("dangling.m", tmp / "src/bin/chain.m");  // ends at the same missing file
  const KzfRun refused = kzf({"create", "app.kzf", "src"});
  EXPECT_EQ(1, refused.status) << describe(refused);
  EXPECT_EQ(
      "kzf: symbolic links without a target (--skip-dangling-links leaves them out): "
      "src/bin/chain.m -> dangling.m, src/dangling.m -> gone.m [KZF_DANGLING_LINKS]\n",
      refused.err);
  EXPECT_FALSE(fs::exists(tmp / "app.kzf"));

  const KzfRun skipped = kzf({"create", "--skip-dangling-links", "app.kzf", "src"});
  ASSERT_EQ(0, skipped.status) << describe(skipped);
  EXPECT_EQ(
      "kzf: warning: leaving out the symbolic link src/bin/chain.m (its target dangling.m does "
      "not exist)\n"
      "kzf: warning: leaving out the symbolic link src/dangling.m (its target gone.m does not "
      "exist)\n",
      skipped.err);
  EXPECT_EQ("bin\nbin/run.sh\nempty\nlink.m\nmain.m\n", kzf({"list", "app.kzf"}).out);
}

TEST_F(CreateExtractTest, ExcludedAndSpecialFilesAreLeftOut) {
  makeSampleTree();
  writeFile("src/bin/run.o", "object");
  writeFile("src/.git/HEAD", "ref");
  writeFile("src/pad.txt", std::string(1000, 'x'));
  ASSERT_EQ(0, ::mkfifo((tmp / "src/pipe").c_str(), 0644));
  const KzfRun refused = kzf({"create", "app.kzf", "src"});
  EXPECT_EQ(1, refused.status) << describe(refused);
  EXPECT_EQ(
      "kzf: FIFO, socket or device file (--skip-special leaves it out): src/pipe "
      "[KZF_SPECIAL_FILES]\n",
      refused.err);
  EXPECT_FALSE(fs::exists(tmp / "app.kzf"));

  const KzfRun skipped = kzf({"create", "--skip-special", "--exclude", "*.o", "--exclude", ".git",
                              "--exclude", "bin/x*", "-0", "app.kzf", "src"});
  ASSERT_EQ(0, skipped.status) << describe(skipped);
  EXPECT_EQ("kzf: warning: leaving out src/pipe (a FIFO, socket or device file)\n", skipped.err);
  EXPECT_EQ("bin\nbin/run.sh\nempty\nlink.m\nmain.m\npad.txt\n", kzf({"list", "app.kzf"}).out);
  // -0 stores: the compressed size is the size and the deflate block headers.
  const auto entries = parseJson(kzf({"list", "--json", "app.kzf"}));
  EXPECT_GE(entries[5]["compressedSize"].get<int>(), 1000);
}

// A link leaving the tree brings its target, a folder with its contents, and says so.
TEST_F(CreateExtractTest, LinksLeavingTheTreeAreReportedBoundedOrRefused) {
  makeSampleTree();
  writeFile("zoneinfo/Europe/Paris", "CET");
  writeFile("zoneinfo/Europe/Rome", "CET");
  fs::create_symlink("../zoneinfo/Europe", tmp / "src/zone");
  const std::string link = (tmp / "src/zone").string(),
                    target = fs::canonical(tmp / "zoneinfo/Europe").string();
  const KzfRun create = kzf({"create", "app.kzf", "src"});
  ASSERT_EQ(0, create.status) << describe(create);
  EXPECT_EQ("kzf: stored from outside the tree: src/zone -> " + target + " (3 entries, 6 bytes)\n",
            create.err);
  ASSERT_EQ(0, kzf({"extract", "app.kzf", "out"}).status);
  EXPECT_EQ(3u, fs::file_size(tmp / "out/zone/Rome"));
  EXPECT_EQ("", kzf({"create", "--quiet", "--force", "app.kzf", "src"}).err);

  const KzfRun bounded = kzf({"create", "--outside-limit", "2", "b.kzf", "src"});
  EXPECT_EQ(1, bounded.status) << describe(bounded);
  EXPECT_EQ(0u, bounded.err.find("kzf: The symbolic link " + link + " leads outside"))
      << bounded.err;
  EXPECT_NE(std::string::npos, bounded.err.find("lifts it) [KZFPACKAGE_LINK_LEAVES_TREE]\n"));
  const KzfRun refused = kzf({"create", "--no-outside", "b.kzf", "src"});
  EXPECT_EQ(1, refused.status) << describe(refused);
  EXPECT_EQ("kzf: The symbolic link " + link + " leads outside the packed tree: it leads to " +
                target +
                ", and links that leave the tree are refused [KZFPACKAGE_LINK_LEAVES_TREE]\n",
            refused.err);
  EXPECT_FALSE(fs::exists(tmp / "b.kzf"));
}

// The library reads a backslash in a destination as a separator: f\g would come back as f/g.
TEST_F(CreateExtractTest, SourceNamedWithABackslashIsRefusedNamingIt) {
  makeSampleTree();
  writeFile("src/bin/f\\g.m", "x");
  const KzfRun run = kzf({"create", "app.kzf", "src"});
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_EQ(
      "kzf: src/bin/f\\g.m: a backslash in the name bin/f\\g.m cannot be stored in a package "
      "[KZF_BACKSLASH_IN_NAME]\n",
      run.err);
  EXPECT_FALSE(fs::exists(tmp / "app.kzf"));
}

TEST_F(CreateExtractTest, ProgressLineOnlyOnATerminalAndNotWhenQuiet) {
  makeSampleTree();
  const KzfRun create = kzf({"create", "app.kzf", "src"}, {}, true);
  ASSERT_EQ(0, create.status) << describe(create);
  // The last redraw shows every entry; the line is ended once (the terminal adds the "\r").
  EXPECT_NE(std::string::npos, create.err.find("\r5/5 entries, 24 B, ")) << create.err;
  EXPECT_EQ("/s\033[K\r\n", create.err.substr(create.err.size() - 7)) << create.err;

  const KzfRun extract = kzf({"extract", "app.kzf", "out"}, {}, true);
  ASSERT_EQ(0, extract.status) << describe(extract);
  EXPECT_NE(std::string::npos, extract.err.find("\r5/5 entries, 24 B, ")) << extract.err;

  const KzfRun quiet = kzf({"extract", "--quiet", "app.kzf", "again"}, {}, true);
  ASSERT_EQ(0, quiet.status) << describe(quiet);
  EXPECT_EQ("", quiet.err);
}

}  // namespace
}  // namespace kzftest
