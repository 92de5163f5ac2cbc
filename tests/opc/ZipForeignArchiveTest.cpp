// Archives written by another zip tool (Python's zipfile, the samples the zip fuzzer is seeded
// with): data descriptors, Zip64 records on few items, unknown extra fields, comments and empty
// archives are all read back item for item.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

// What the sample writer puts in each archive: every item's content follows from its name.
const char* const kItemNames[] = {"readme.txt", "bin/run.sh", "empty.dat", "lib/",
                                  "lib/toolbox/f.m"};

std::string expectedContent(const std::string& name) {
  if (name.back() == '/' || name.rfind("empty", 0) == 0) return "";
  std::string content;
  for (int i = 0; i < 40; ++i) content += name + "\n";
  return content;
}

class ZipForeignArchiveTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() {
    samples_ = std::make_unique<TempDir>();
    auto result = detail::runCommand(
        "python3 " + detail::shellQuote(KZF_TEST_SOURCE_DIR "/../../fuzz/make_zip_samples.py") +
        " " + detail::shellQuote(samples_->path().string()));
    ASSERT_EQ(result.exitCode, 0) << result.output;
  }
  static void TearDownTestSuite() { samples_.reset(); }

  static std::unique_ptr<TempDir> samples_;
};

std::unique_ptr<TempDir> ZipForeignArchiveTest::samples_;

TEST_P(ZipForeignArchiveTest, EveryItemReadsBack) {
  const std::string sample = GetParam();
  std::map<std::string, std::string> expected;
  if (sample.rfind("empty-archive", 0) != 0) {
    for (const char* name : kItemNames) expected[name] = expectedContent(name);
  }
  EXPECT_EQ(readPackage(samples_->path() / sample), expected);
}

INSTANTIATE_TEST_SUITE_P(WrittenByPython, ZipForeignArchiveTest,
                         ::testing::Values("data-descriptors.zip", "data-descriptors-stored.zip",
                                           "data-descriptors-zip64.zip", "zip64-items.zip",
                                           "zip64-end-records-few-items.zip",
                                           "unknown-extra-fields.zip", "archive-comment.zip",
                                           "empty-archive.zip", "empty-archive-with-comment.zip"),
                         [](const ::testing::TestParamInfo<const char*>& row) {
                           std::string name = row.param;
                           for (char& c : name) {
                             if (c == '-' || c == '.') c = '_';
                           }
                           return name;
                         });

}  // namespace
}  // namespace kzftest
