// The kzf command line itself: wrong command lines and the one-line failure reports.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using CommandLineTest = KzfCliTest;

struct Refusal {
  std::vector<std::string> arguments;
  int status;
  std::string tail;  // the end of standard error, with "@" standing for the test's folder
};

// A failure is one line, `kzf: ` with the message and its identifier, and exits 1; a wrong
// command line exits 2 with the reason and the command's usage line.
TEST_F(CommandLineTest, RefusalsAreOneLineWithTheirIdentifierOrTheUsageLine) {
  writeFile("here.kzf", "not a zip");
  // A sound OPC zip with one part, made by another writer, but no file manifest.
  writeFile("plain.py", R"(import zipfile
z = zipfile.ZipFile('plain.zip', 'w')
z.writestr('[Content_Types].xml', '<Types xmlns="http://schemas.openxmlformats.org/package/'
           '2006/content-types"><Default Extension="txt" ContentType="text/plain"/></Types>')
z.writestr('a.txt', 'x')
)");
  ASSERT_EQ(0, std::system(("cd '" + tmp.path().string() + "' && python3 plain.py").c_str()));
  const std::string plain =
      "kzf: plain.zip: not a KZF package (the zip has no file manifest) [KZF_NOT_A_PACKAGE]";
  const std::string usageCreate = "Usage: kzf create [OPTIONS] PACKAGE [SOURCE...]";
  const Refusal rows[] = {
      {{"unpack", "a.kzf"}, 2, "Usage: kzf [OPTIONS] SUBCOMMAND"},
      {{"create", "a.kzf"}, 2, usageCreate},
      {{"create", "--prefix", "/opt", "a.kzf", "."}, 2, usageCreate},
      {{"create", "--prefix", "x/../..", "a.kzf", "."}, 2, usageCreate},
      {{"extract", "a.kzf"}, 2, "Usage: kzf extract [OPTIONS] PACKAGE DIR [NAME...]"},
      {{"verify", "--json", "a.kzf"}, 2, "Usage: kzf verify [OPTIONS] PACKAGE"},
      {{"list", "absent.kzf"},
       1,
       "kzf: Cannot find the package file @/absent.kzf. [KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE]"},
      {{"create", "here.kzf", "here.kzf"},
       1,
       "kzf: here.kzf exists already (--force replaces it) [KZF_PACKAGE_EXISTS]"},
      {{"create", "--settings", "none.json", "a.kzf", "here.kzf"},
       1,
       "kzf: none.json: cannot open the settings file [KZF_SETTINGS_UNREADABLE]"},
      {{"create", "a.kzf", "--exclude", "*", "here.kzf"},
       1,
       "kzf: a.kzf: nothing to store: the sources hold no file, folder or link "
       "[KZF_NOTHING_TO_STORE]"},
      {{"create", "a.kzf", "here.kzf"},
       1,
       "kzf: SOURCE_DATE_EPOCH=soon: not a number of seconds since 1970-01-01 "
       "[KZF_SOURCE_DATE_EPOCH_INVALID]"},
      {{"create", "--list", "none.txt", "a.kzf"},
       1,
       "kzf: none.txt: cannot open the list file [KZF_LIST_UNREADABLE]"},
      // A file that is no zip is no package, nor is a zip without a file manifest.
      {{"verify", "here.kzf"}, 1, "]"},
      {{"list", "plain.zip"}, 1, plain},
      {{"verify", "plain.zip"}, 1, plain},
      {{"settings", "plain.zip"}, 1, plain}};
  for (const Refusal& row : rows) {
    const std::string tail = boost::algorithm::replace_all_copy(row.tail, "@", tmp.path().string());
    const KzfRun run = kzf(row.arguments, {{"SOURCE_DATE_EPOCH", "soon"}});
    SCOPED_TRACE(boost::algorithm::join(row.arguments, " "));
    EXPECT_EQ(row.status, run.status) << describe(run);
    EXPECT_EQ("", run.out);
    EXPECT_EQ(0u, run.err.rfind("kzf: ", 0)) << run.err;
    EXPECT_EQ(row.status, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
    EXPECT_TRUE(boost::algorithm::ends_with(run.err, tail + "\n")) << run.err;
    EXPECT_FALSE(fs::exists(tmp / "a.kzf"));
  }
}

}  // namespace
}  // namespace kzftest
