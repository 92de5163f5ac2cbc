// kzf list and kzf verify: names, the long listing, JSON, sound and damaged packages.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

class ListVerifyTest : public KzfCliTest {
 protected:
  void SetUp() override {
    makeSampleTree();
    ok({"create", "app.kzf", "src"});
  }
};

TEST_F(ListVerifyTest, JsonAndLongListingsHaveSizesDatesAndLinkTargets) {
  // With the trace on, standard output still holds only the JSON.
  const KzfRun run = kzf({"list", "--json", "app.kzf"}, {{"DEBUG_KZF_VERBOSE", "1"}});
  EXPECT_NE(std::string::npos, run.err.find("for read access")) << describe(run);
  const nlohmann::json entries = parseJson(run);
  ASSERT_EQ(5u, entries.size()) << describe(run);  // bin, bin/run.sh, empty, link.m, main.m
  EXPECT_EQ(nlohmann::json::parse(R"([
    {"name": "bin", "kind": "folder", "mode": null, "date": null, "size": 0,
     "compressedSize": 0, "target": null},
    {"name": "bin/run.sh", "kind": "file", "mode": "rwxr-xr-x", "date": "2020-09-13T12:26:40",
     "size": 10, "compressedSize": 15, "target": null},
    {"name": "link.m", "kind": "link", "mode": "rwxrwxrwx", "date": "2020-09-13T12:26:40",
     "size": 6, "compressedSize": 11, "target": "main.m"}])"),
            nlohmann::json({entries[0], entries[1], entries[3]}));

  writeFile("src/lines.txt", std::string(1000, 'x'));
  writeFile("s.json", "{}");
  ok({"create", "--force", "--settings", "s.json", "app.kzf", "src"});
  // A link is dated by its target; its size is that of its target text.
  EXPECT_EQ(
      "d---------            0            0   0% ------------------- bin\n"
      "-rwxr-xr-x           10           15   0% 2020-09-13 12:26:40 bin/run.sh\n"
      "d---------            0            0   0% ------------------- empty\n"
      "-rw-r--r--         1000           11  98% 2020-09-13 12:26:40 lines.txt\n"
      "lrwxrwxrwx            6           11   0% 2020-09-13 12:26:40 link.m -> main.m\n"
      "-rw-r--r--           14           19   0% 2020-09-13 12:26:40 main.m\n",
      kzf({"list", "-l", "app.kzf"}).out);
  // The manifests under /.META/ show with --all only.
  EXPECT_NE(std::string::npos, kzf({"list", "--all", "app.kzf"}).out.find(".META/manifest.xml"));
}

TEST_F(ListVerifyTest, SoundPackageVerifiesAndACorruptedByteFailsWithTheProblemListed) {
  const KzfRun sound = kzf({"verify", "app.kzf"});
  EXPECT_EQ(0, sound.status) << describe(sound);
  EXPECT_EQ("app.kzf: OK\n", sound.out);
  EXPECT_EQ("", sound.err);
  // One bit flipped in the second byte of bin/run.sh's deflated data, after its local header
  // (30 bytes), its name (10) and its extra field (shorter than 256 bytes).
  std::string bytes = readFile(tmp / "app.kzf");
  const std::size_t header = bytes.find("bin/run.sh") - 30;
  ASSERT_EQ(0, bytes.compare(header, 4, "PK\x03\x04"));
  bytes[header + 41 + static_cast<unsigned char>(bytes[header + 28])] ^= 0x10;
  writeFile("app.kzf", bytes);
  const KzfRun run = kzf({"verify", "app.kzf"});
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_NE(std::string::npos, run.out.find("run.sh")) << run.out;
  EXPECT_EQ("kzf: app.kzf: 1 problem found [KZF_PACKAGE_DAMAGED]\n", run.err);
}

}  // namespace
}  // namespace kzftest
