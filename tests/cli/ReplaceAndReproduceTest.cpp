// kzf create over an old package when interrupted, and the same bytes from the same tree.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>

#include <chrono>
#include <random>
#include <thread>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

class ReplaceAndReproduceTest : public KzfCliTest {
 protected:
  /// The distinct zip dates of `package` as zipinfo prints them in UTC ("yyyymmdd.hhmmss\n").
  std::string zipDates(const std::string& package) {
    EXPECT_EQ(0, std::system(("cd '" + tmp.path().string() + "' && TZ=UTC zipinfo -T " + package +
                              " | awk '/^[-dl]/ {print $7}' | sort -u > dates.txt")
                                 .c_str()));
    return readFile(tmp / "dates.txt");
  }

  /// Starts `kzf create --force -9 new.kzf big` and returns its process id.
  pid_t startCreate() {
    const std::string package = (tmp / "new.kzf").string(), source = (tmp / "big").string();
    const char* argv[] = {"kzf", "create",        "--force",      "--quiet",
                          "-9",  package.c_str(), source.c_str(), nullptr};
    pid_t pid = 0;
    EXPECT_EQ(0, ::posix_spawn(&pid, KZF_TOOL_PATH, nullptr, nullptr,
                               const_cast<char* const*>(argv), environ));
    return pid;
  }
};

// Whenever a signal lands, the path holds a whole readable package: the old one unless the run
// had finished, and a caught signal leaves no temporary file behind.
TEST_F(ReplaceAndReproduceTest, InterruptedCreateKeepsTheOldPackageWhole) {
  for (int file = 0; file < 6; ++file) {
    std::string text;
    for (int line = 0; line < 120000; ++line) {
      text += std::to_string(line * 7919 % 100003) + " line of file " + std::to_string(file) + "\n";
    }
    writeFile("big/f" + std::to_string(file) + ".txt", text);
  }
  writeFile("old/a.txt", "old content\n");
  ok({"create", "new.kzf", "old"});
  const std::string old = readFile(tmp / "new.kzf");

  const auto start = std::chrono::steady_clock::now();
  pid_t timing = startCreate();
  int status = 0;
  ::waitpid(timing, &status, 0);
  const auto runTime = std::chrono::steady_clock::now() - start;
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  const std::string fresh = readFile(tmp / "new.kzf");

  std::mt19937 random(20261124);
  int interrupted = 0;
  for (int signal : {SIGINT, SIGTERM, SIGKILL, SIGINT, SIGTERM, SIGHUP, SIGKILL, SIGINT}) {
    std::ofstream((tmp / "new.kzf").string(), std::ios::binary) << old;
    const pid_t pid = startCreate();
    std::this_thread::sleep_for(runTime * std::uniform_real_distribution<>(0.0, 0.9)(random));
    ::kill(pid, signal);
    ::waitpid(pid, &status, 0);
    const bool finished = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!finished) {
      ++interrupted;
      // A signal that lands after the rename finds the new package complete at the path.
      const std::string now = readFile(tmp / "new.kzf");
      EXPECT_TRUE(now == old || now == fresh) << "signal " << signal;
      // A signal that lands before the tool has set its handlers ends it the default way.
      EXPECT_TRUE((WIFSIGNALED(status) && WTERMSIG(status) == signal) ||
                  (WIFEXITED(status) && WEXITSTATUS(status) == 128 + signal))
          << status;
    }
    EXPECT_EQ(0, kzf({"list", "new.kzf"}).status) << "signal " << signal;
    // Beside big, old and new.kzf, only a killed run leaves its temporary file, which goes.
    const std::vector<fs::directory_entry> names(fs::directory_iterator(tmp.path()), {});
    EXPECT_TRUE(signal == SIGKILL || names.size() == 3) << "signal " << signal;
    for (const fs::directory_entry& name : names) {
      if (name.path().filename().string().rfind(".kzf", 0) == 0) fs::remove(name.path());
    }
  }
  EXPECT_GT(interrupted, 0);
}

TEST_F(ReplaceAndReproduceTest, SameTreeGivesTheSameBytesDatedByItsEntries) {
  makeSampleTree();
  ok({"create", "a.kzf", "src"});
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));  // zip dates count 2 seconds
  ok({"create", "b.kzf", "src"});
  EXPECT_EQ(readFile(tmp / "a.kzf"), readFile(tmp / "b.kzf"));
  // Every item, the manifests too, carries the tree's date (2020-09-13 12:26:40 UTC).
  EXPECT_EQ("20200913.122640\n", zipDates("a.kzf"));

  // SOURCE_DATE_EPOCH bounds every date: the zip headers and the entries alike.
  const std::string bound = std::to_string(kSampleTime - 86400 * 365);
  EXPECT_EQ(0, kzf({"create", "c.kzf", "src"}, {{"SOURCE_DATE_EPOCH", bound}}).status);
  EXPECT_EQ("20190914.122640\n", zipDates("c.kzf"));
  for (const auto& entry : parseJson(kzf({"list", "--json", "c.kzf"}))) {
    EXPECT_TRUE(entry["date"].is_null() || entry["date"] == "2019-09-14T12:26:40") << entry;
  }
}

}  // namespace
}  // namespace kzftest
