// Items written by the zip writer read back unchanged, and the archives pass other readers.
// The UTF-8 name flag is set exactly for names with non-ASCII bytes that form valid UTF-8, in
// the local and the central header alike, so that other tools show such names correctly.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "RowLabel.hpp"
#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

struct RoundTripCase {
  std::string name;
  /// Builds the items when the test runs, so that large contents cost only their own rows.
  std::function<std::vector<TestItem>()> items;
};

std::ostream& operator<<(std::ostream& out, const RoundTripCase& c) { return out << c.name; }

class ZipRoundTrip : public ZipTest, public ::testing::WithParamInterface<RoundTripCase> {};

TEST_P(ZipRoundTrip, ItemsReadBackUnchangedAndListedInOrder) {
  const std::vector<TestItem> items = GetParam().items();
  writePackage(packagePath(), items);
  expectValidZip(packagePath());

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  ASSERT_EQ(package.getItems().size(), items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto& listed = package.getItems()[i];
    EXPECT_EQ(listed.name, items[i].name);
    EXPECT_EQ(listed.size, items[i].content.size());
    EXPECT_EQ(listed.method, items[i].compression == CompressionType::Stored ? 0 : 8);
    EXPECT_FALSE(listed.encrypted);
    ASSERT_EQ(package.findItem(items[i].name), &listed);
    EXPECT_TRUE(readItem(package, items[i].name) == items[i].content) << items[i].name;
  }
  EXPECT_TRUE(strayFiles().empty());
}

using Items = std::vector<TestItem>;
constexpr std::size_t kTwentyMegabytes = 20 * 1024 * 1024;

INSTANTIATE_TEST_SUITE_P(
    Zip, ZipRoundTrip,
    ::testing::Values(
        RoundTripCase{
            "TwentyMegabytesStored",
            [] {
              return Items{{"big.bin", sampleBytes(kTwentyMegabytes, 7), CompressionType::Stored}};
            }},
        RoundTripCase{"AwkwardNames",
                      [] {
                        return Items{{"with space/a b.txt", "1"},
                                     {"100%25 sure%.txt", "2"},
                                     {"hash#tag/#", "3"},
                                     {"utf8/\xc3\xa9t\xc3\xa9 \xe2\x82\xac.txt", "4"},
                                     {"bytes/\xff\xfe\x80.bin", "5"}};
                      }}),
    [](const ::testing::TestParamInfo<RoundTripCase>& row) { return row.param.name; });

TEST_F(ZipTest, SeveralItemStreamsReadInterleaved) {
  std::vector<TestItem> items = {{"one", sampleBytes(300000, 1)},
                                 {"two", sampleBytes(200000, 2), CompressionType::Stored},
                                 {"three", sampleBytes(250000, 3)}};
  writePackage(packagePath(), items);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  std::vector<std::unique_ptr<opc::InputStream>> streams;
  std::vector<std::string> read(items.size());
  for (const auto& item : items) streams.push_back(package.openItem(item.name));
  bool progress = true;
  while (progress) {
    progress = false;
    for (std::size_t i = 0; i < streams.size(); ++i) {
      char buffer[1000];
      std::size_t n = streams[i]->read(buffer, sizeof buffer);
      read[i].append(buffer, n);
      progress = progress || n > 0;
    }
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_TRUE(read[i] == items[i].content) << items[i].name;
    EXPECT_TRUE(streams[i]->isEOF());
  }
  // Streams hold the file themselves: one opened before close still reads afterwards.
  auto late = package.openItem("one");
  package.close(false);
  std::string lateContent;
  char buffer[4096];
  while (std::size_t n = late->read(buffer, sizeof buffer)) lateContent.append(buffer, n);
  EXPECT_TRUE(lateContent == items[0].content);
  EXPECT_ZIP_ERROR(package.openItem("one"), "package.zip", "not open for reading");
}

TEST_F(ZipTest, ItemsOfAllSizesReadBackInAnyOrderAndWithAnyBlockSize) {
  // Small items share read-ahead windows with their neighbours' headers; others straddle window
  // ends or span many windows, stored ones large enough to be read past the window. Read in
  // file order, backwards and hopping, each with several block sizes.
  std::vector<TestItem> items;
  const std::size_t sizes[] = {0, 1, 30, 700, 5000, 16000, 40000, 70000, 300000, 1200000};
  std::uint32_t seed = 1;
  for (std::size_t size : sizes) {
    for (CompressionType compression : {CompressionType::Deflated, CompressionType::Stored}) {
      std::string name = "s" + std::to_string(size) +
                         (compression == CompressionType::Stored ? ".stored" : ".deflated");
      std::string content = seed % 3 == 0 ? randomBytes(size, seed) : sampleBytes(size, seed);
      items.push_back({name, content, compression});
      ++seed;
    }
  }
  writePackage(packagePath(), items);

  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Read);
  std::vector<std::size_t> order(items.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::vector<std::size_t> backwards(order.rbegin(), order.rend());
  std::vector<std::size_t> hopping;
  for (std::size_t i = 0; i < order.size(); ++i) hopping.push_back(i * 7 % order.size());
  for (const auto& sequence : {order, backwards, hopping}) {
    for (std::size_t block : {std::size_t{1000}, std::size_t{65536}, std::size_t{1} << 20}) {
      for (std::size_t i : sequence) {
        EXPECT_TRUE(readItem(package, items[i].name, block) == items[i].content)
            << items[i].name << " read in blocks of " << block;
      }
    }
  }
}

TEST_F(ZipTest, LookupIsByExactNameOrPositionAndAPackageCanBeReopened) {
  writePackage(packagePath(), {{"Dir/Name.txt", "x"}});
  ZipPhysicalPackage package(upath(packagePath()), false, false);
  for (int round = 0; round < 2; ++round) {
    package.open(OpenMode::Read);
    EXPECT_EQ(readItem(package, "Dir/Name.txt"), "x");
    EXPECT_EQ(package.findItem("dir/name.txt"), nullptr);
    EXPECT_EQ(package.findItem("/Dir/Name.txt"), nullptr);
    EXPECT_ZIP_ERROR(package.openItem("dir/name.txt"), "package.zip", "'dir/name.txt'",
                     "not in the archive");
    // By position in the listing, as the package layer opens its parts.
    auto stream = package.openItemAt(0);
    char buffer[16];
    EXPECT_EQ(std::string(buffer, stream->read(buffer, sizeof buffer)), "x");
    EXPECT_ZIP_ERROR(package.openItemAt(1), "package.zip", "no item number 1");
    package.close(false);
    EXPECT_FALSE(package.isOpen());
  }
}

struct NameRow {
  std::string label;
  std::string name;
  bool utf8Flag;
};

class ZipNameFlagTest : public ZipTest, public ::testing::WithParamInterface<NameRow> {};

TEST_P(ZipNameFlagTest, IsSetOnlyForValidNonAsciiUtf8) {
  writePackage(packagePath(), {{GetParam().name, "x"}});
  const EntryLayout entry = parseZip(readBytes(packagePath())).entries.at(0);
  EXPECT_EQ(entry.central.name, GetParam().name);
  EXPECT_EQ((entry.central.flags & 0x0800) != 0, GetParam().utf8Flag);
  EXPECT_EQ((entry.local.flags & 0x0800) != 0, GetParam().utf8Flag);
}

INSTANTIATE_TEST_SUITE_P(Names, ZipNameFlagTest,
                         ::testing::Values(NameRow{"Ascii", "app/f.m", false},
                                           NameRow{"TwoByteUtf8", "caf\xc3\xa9.m", true},
                                           NameRow{"FourByteUtf8", "emoji/\xf0\x9f\x98\x80", true},
                                           NameRow{"Latin1Byte", "caf\xe9.m", false},
                                           NameRow{"TruncatedUtf8", "caf\xc3", false}),
                         RowLabel());

// Archives written by another zip tool (Python's zipfile, the samples the zip fuzzer is seeded
// with): data descriptors, Zip64 records on few items, unknown extra fields, comments and empty
// archives are all read back item for item.
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
