// The kzf command line itself: version, wrong command lines, and the one-line failure reports.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using CommandLineTest = KzfCliTest;

TEST_F(CommandLineTest, VersionNamesToolAndLibrary) {
  const KzfRun run = kzf({"--version"});
  EXPECT_EQ(0, run.status) << describe(run);
  EXPECT_EQ("kzf 8.0.0 (libqlkzfpackage 8.0.0.614)\n", run.out);
  EXPECT_EQ("", run.err);
}

struct UsageCase {
  const char* name;
  std::vector<std::string> arguments;
  const char* usage;  // the last line of standard error
};

// Rows print as their names in test listings.
void PrintTo(const UsageCase& row, std::ostream* out) { *out << row.name; }

class UsageErrorTest : public KzfCliTest, public ::testing::WithParamInterface<UsageCase> {};

TEST_P(UsageErrorTest, ExitsTwoWithTheCommandsUsageLine) {
  const KzfRun run = kzf(GetParam().arguments);
  EXPECT_EQ(2, run.status) << describe(run);
  EXPECT_EQ("", run.out);
  EXPECT_EQ(0u, run.err.rfind("kzf: ", 0)) << run.err;
  const std::string usage = std::string(GetParam().usage) + "\n";
  ASSERT_GE(run.err.size(), usage.size());
  EXPECT_EQ(usage, run.err.substr(run.err.size() - usage.size())) << run.err;
  EXPECT_EQ(2, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
  EXPECT_FALSE(fs::exists(tmp / "a.kzf"));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, UsageErrorTest,
    ::testing::Values(
        UsageCase{"NoCommand", {}, "Usage: kzf [OPTIONS] SUBCOMMAND"},
        UsageCase{"UnknownCommand", {"unpack", "a.kzf"}, "Usage: kzf [OPTIONS] SUBCOMMAND"},
        UsageCase{"CreateWithoutSources",
                  {"create", "a.kzf"},
                  "Usage: kzf create [OPTIONS] PACKAGE [SOURCE...]"},
        UsageCase{"AbsolutePrefix",
                  {"create", "--prefix", "/opt", "a.kzf", "."},
                  "Usage: kzf create [OPTIONS] PACKAGE [SOURCE...]"},
        UsageCase{"ClimbingPrefix",
                  {"create", "--prefix", "x/../..", "a.kzf", "."},
                  "Usage: kzf create [OPTIONS] PACKAGE [SOURCE...]"},
        UsageCase{"ExtractWithoutFolder",
                  {"extract", "a.kzf"},
                  "Usage: kzf extract [OPTIONS] PACKAGE DIR"},
        UsageCase{
            "UnknownOption", {"list", "--colour", "a.kzf"}, "Usage: kzf list [OPTIONS] PACKAGE"},
        UsageCase{"RemovedVerifyJson",
                  {"verify", "--json", "a.kzf"},
                  "Usage: kzf verify [OPTIONS] PACKAGE"}),
    [](const ::testing::TestParamInfo<UsageCase>& row) { return row.param.name; });

struct FailureCase {
  const char* name;
  std::vector<std::string> arguments;
  const char* line;  // standard error, with "@" standing for the test's folder
};

// Rows print as their names in test listings.
void PrintTo(const FailureCase& row, std::ostream* out) { *out << row.name; }

class FailureLineTest : public KzfCliTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(FailureLineTest, IsOneLineWithItsIdentifierAndStatusOne) {
  writeFile("here.kzf", "not a zip");
  const KzfRun run = kzf(GetParam().arguments);
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_EQ("", run.out);
  std::string expected = GetParam().line;
  const std::size_t at = expected.find('@');
  if (at != std::string::npos) expected.replace(at, 1, tmp.path().string());
  EXPECT_EQ(expected + "\n", run.err);
}

INSTANTIATE_TEST_SUITE_P(
    Cli, FailureLineTest,
    ::testing::Values(
        FailureCase{"MissingPackage",
                    {"list", "absent.kzf"},
                    "kzf: Cannot find the package file @/absent.kzf. "
                    "[KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE]"},
        FailureCase{"MissingSource",
                    {"create", "a.kzf", "nothing-here"},
                    "kzf: nothing-here: no such file or folder [KZF_SOURCE_NOT_FOUND]"},
        FailureCase{"ExistingPackage",
                    {"create", "here.kzf", "here.kzf"},
                    "kzf: here.kzf exists already (--force replaces it) [KZF_PACKAGE_EXISTS]"},
        FailureCase{"MissingSettingsFile",
                    {"create", "--settings", "none.json", "a.kzf", "here.kzf"},
                    "kzf: none.json: cannot open the settings file [KZF_SETTINGS_UNREADABLE]"},
        FailureCase{"MissingListFile",
                    {"create", "--list", "none.txt", "a.kzf"},
                    "kzf: none.txt: cannot open the list file [KZF_LIST_UNREADABLE]"}),
    [](const ::testing::TestParamInfo<FailureCase>& row) { return row.param.name; });

TEST_F(CommandLineTest, NotAZipFailsWithoutATrace) {
  writeFile("here.kzf", "not a zip");
  for (const char* command : {"list", "verify", "settings"}) {
    const KzfRun run = kzf({command, "here.kzf"});
    EXPECT_EQ(1, run.status) << describe(run);
    EXPECT_EQ(0u, run.err.rfind("kzf: ", 0)) << run.err;
    EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
    EXPECT_EQ(']', run.err[run.err.size() - 2]) << run.err;
  }
}

}  // namespace
}  // namespace kzftest
