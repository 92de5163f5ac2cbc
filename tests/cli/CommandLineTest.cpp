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
                  "Usage: kzf extract [OPTIONS] PACKAGE DIR [NAME...]"},
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
  const KzfRun run = kzf(GetParam().arguments, {{"SOURCE_DATE_EPOCH", "soon"}});
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
        FailureCase{"NothingToStore",
                    {"create", "a.kzf", "--exclude", "*", "here.kzf"},
                    "kzf: a.kzf: nothing to store: the sources hold no file, folder or link "
                    "[KZF_NOTHING_TO_STORE]"},
        FailureCase{"BadSourceDateEpoch",
                    {"create", "a.kzf", "here.kzf"},
                    "kzf: SOURCE_DATE_EPOCH=soon: not a number of seconds since 1970-01-01 "
                    "[KZF_SOURCE_DATE_EPOCH_INVALID]"},
        FailureCase{"MissingListFile",
                    {"create", "--list", "none.txt", "a.kzf"},
                    "kzf: none.txt: cannot open the list file [KZF_LIST_UNREADABLE]"}),
    [](const ::testing::TestParamInfo<FailureCase>& row) { return row.param.name; });

// Neither a file that is no zip nor a zip without a file manifest passes for a package.
TEST_F(CommandLineTest, OnlyAKzfPackageIsReadAsOne) {
  writeFile("here.kzf", "not a zip");
  // A sound OPC zip with one part, made by another writer.
  writeFile("plain.py", R"(import zipfile
z = zipfile.ZipFile('plain.zip', 'w')
z.writestr('[Content_Types].xml', '<Types xmlns="http://schemas.openxmlformats.org/package/'
           '2006/content-types"><Default Extension="txt" ContentType="text/plain"/></Types>')
z.writestr('a.txt', 'x')
)");
  ASSERT_EQ(0, std::system(("cd '" + tmp.path().string() + "' && python3 plain.py").c_str()));
  for (const char* command : {"list", "verify", "settings"}) {
    const KzfRun plain = kzf({command, "plain.zip"});
    EXPECT_EQ(1, plain.status) << describe(plain);
    EXPECT_EQ(
        "kzf: plain.zip: not a KZF package (the zip has no file manifest) "
        "[KZF_NOT_A_PACKAGE]\n",
        plain.err);
    const KzfRun notZip = kzf({command, "here.kzf"});
    EXPECT_EQ(1, notZip.status) << describe(notZip);
    EXPECT_EQ(0u, notZip.err.rfind("kzf: ", 0)) << notZip.err;
    EXPECT_EQ(1, std::count(notZip.err.begin(), notZip.err.end(), '\n')) << notZip.err;
    EXPECT_EQ(']', notZip.err[notZip.err.size() - 2]) << notZip.err;
  }
}

}  // namespace
}  // namespace kzftest
