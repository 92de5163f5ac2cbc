// kzf list and kzf verify: names, the long listing, JSON, sound and damaged packages.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

class ListVerifyTest : public KzfCliTest {
 protected:
  void SetUp() override {
    makeSampleTree();
    const KzfRun run = kzf({"create", "app.kzf", "src"});
    ASSERT_EQ(0, run.status) << describe(run);
  }

  /// Flips one bit in the stored (deflated) data of the zip item `itemName`: the local header
  /// comes first in the file, its data after the name and the extra field.
  void damageItemData(const std::string& itemName) {
    std::string bytes = readWholeFile(tmp / "app.kzf");
    const std::size_t name = bytes.find(itemName);
    ASSERT_NE(std::string::npos, name);
    const std::size_t header = name - 30;
    ASSERT_EQ(0, bytes.compare(header, 4, "PK\x03\x04"));
    auto u16 = [&](std::size_t at) {
      return static_cast<std::size_t>(static_cast<unsigned char>(bytes[at])) |
             static_cast<std::size_t>(static_cast<unsigned char>(bytes[at + 1])) << 8;
    };
    const std::size_t data = header + 30 + u16(header + 26) + u16(header + 28);
    bytes[data + 1] = static_cast<char>(bytes[data + 1] ^ 0x10);
    std::ofstream((tmp / "app.kzf").string(), std::ios::binary) << bytes;
  }
};

TEST_F(ListVerifyTest, LongListingHasSizesRatioDateAndLinkTargets) {
  writeFile("src/lines.txt", std::string(1000, 'x'));
  writeFile("s.json", "{}");
  ASSERT_EQ(0, kzf({"create", "--force", "--settings", "s.json", "app.kzf", "src"}).status);
  const KzfRun run = kzf({"list", "-l", "app.kzf"});
  ASSERT_EQ(0, run.status) << describe(run);
  EXPECT_EQ(
      "d---------            0            0   0% ------------------- bin\n"
      "-rwxr-xr-x           10           15   0% 2020-09-13 12:26:40 bin/run.sh\n"
      "d---------            0            0   0% ------------------- empty\n"
      // A link is dated by its target; its size is that of its target text.
      "-rw-r--r--         1000           11  98% 2020-09-13 12:26:40 lines.txt\n"
      "lrwxrwxrwx            6           11   0% 2020-09-13 12:26:40 link.m -> main.m\n"
      "-rw-r--r--           14           19   0% 2020-09-13 12:26:40 main.m\n",
      run.out);
  // The manifests under /.META/ show with --all only.
  EXPECT_NE(std::string::npos, kzf({"list", "--all", "app.kzf"}).out.find(".META/manifest.xml"));
}

TEST_F(ListVerifyTest, JsonListingParsesWithEveryField) {
  const KzfRun run = kzf({"list", "--json", "app.kzf"});
  ASSERT_EQ(0, run.status) << describe(run);
  EXPECT_EQ(nlohmann::json::parse(R"([
    {"name": "bin", "kind": "folder", "mode": null, "date": null, "size": 0,
     "compressedSize": 0, "target": null},
    {"name": "bin/run.sh", "kind": "file", "mode": "rwxr-xr-x", "date": "2020-09-13T12:26:40",
     "size": 10, "compressedSize": 15, "target": null},
    {"name": "empty", "kind": "folder", "mode": null, "date": null, "size": 0,
     "compressedSize": 0, "target": null},
    {"name": "link.m", "kind": "link", "mode": "rwxrwxrwx", "date": "2020-09-13T12:26:40",
     "size": 6, "compressedSize": 11, "target": "main.m"},
    {"name": "main.m", "kind": "file", "mode": "rw-r--r--", "date": "2020-09-13T12:26:40",
     "size": 14, "compressedSize": 19, "target": null}])"),
            parseJson(run));
}

TEST_F(ListVerifyTest, TraceDoesNotSpoilStandardOutput) {
  const KzfRun run = kzf({"list", "--json", "app.kzf"}, {{"DEBUG_KZF_VERBOSE", "1"}});
  ASSERT_EQ(0, run.status) << describe(run);
  EXPECT_EQ(5u, parseJson(run).size());
  EXPECT_NE(std::string::npos, run.err.find("for read access")) << run.err;
}

TEST_F(ListVerifyTest, SoundPackageVerifies) {
  const KzfRun run = kzf({"verify", "app.kzf"});
  EXPECT_EQ(0, run.status) << describe(run);
  EXPECT_EQ("app.kzf: OK\n", run.out);
  EXPECT_EQ("", run.err);
}

TEST_F(ListVerifyTest, CorruptedByteFailsWithTheProblemListed) {
  damageItemData("bin/run.sh");
  const KzfRun run = kzf({"verify", "app.kzf"});
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_NE(std::string::npos, run.out.find("run.sh")) << run.out;
  EXPECT_EQ("kzf: app.kzf: 1 problem found [KZF_PACKAGE_DAMAGED]\n", run.err);
}

}  // namespace
}  // namespace kzftest
