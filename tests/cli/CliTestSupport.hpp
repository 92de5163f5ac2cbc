// Test support for the kzf tool: a fixture with a temporary folder, a sample tree and a runner.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <boost/algorithm/string.hpp>
#include <fstream>
#include <nlohmann/json.hpp>

#include "RunKzf.hpp"  // with the shared test support: TempDirTest, readFile, treeListing

namespace kzftest {

/// The date every file of the sample tree carries: 2020-09-13 12:26:40 UTC.
constexpr time_t kSampleTime = 1600000000;

/// Prints a run's outputs when an expectation about it fails.
inline std::string describe(const KzfRun& run) {
  return "status " + std::to_string(run.status) + "\nstdout:\n" + run.out + "\nstderr:\n" + run.err;
}

/// Each test gets a fresh folder; the tool runs inside it, with messages in English.
class KzfCliTest : public TempDirTest {
 protected:
  KzfRun kzf(const std::vector<std::string>& arguments,
             std::map<std::string, std::optional<std::string>> changes = {},
             bool stderrOnTerminal = false) {
    changes.emplace("LC_ALL", "C.UTF-8");
    changes.emplace("LANGUAGE", std::nullopt);
    changes.emplace("TZ", "UTC");
    changes.emplace("DEBUG_KZF_VERBOSE", std::nullopt);
    return runKzf(tmp.path(), arguments, changes, stderrOnTerminal);
  }

  /// Runs the tool and expects it to succeed.
  void ok(const std::vector<std::string>& arguments) {
    const KzfRun run = kzf(arguments);
    EXPECT_EQ(0, run.status) << describe(run);
  }

  /// Runs the tool and expects status 1, exactly `line` on standard error and no `package`.
  void expectRefused(const std::vector<std::string>& arguments, const std::string& line,
                     const std::string& package = "app.kzf") {
    const KzfRun run = kzf(arguments);
    EXPECT_EQ(1, run.status) << describe(run);
    EXPECT_EQ(line, run.err);
    EXPECT_FALSE(fs::exists(tmp / package));
  }

  void writeFile(const std::string& relative, const std::string& content, int mode = 0644) {
    const fs::path path = tmp / relative;
    fs::create_directories(path.parent_path());
    std::ofstream(path.string(), std::ios::binary) << content;
    ::chmod(path.c_str(), static_cast<mode_t>(mode));
    const struct utimbuf times { kSampleTime, kSampleTime };
    ::utime(path.c_str(), &times);
  }

  /// src/ with a code file, an executable script in a subfolder, an empty folder and a
  /// relative symbolic link to the code file.
  void makeSampleTree() {
    writeFile("src/main.m", "function main\n");
    writeFile("src/bin/run.sh", "#!/bin/sh\n", 0755);
    fs::create_directories(tmp / "src/empty");
    fs::create_symlink("main.m", tmp / "src/link.m");
  }

  /// Standard output as JSON (a discarded value when it is not JSON).
  static nlohmann::json parseJson(const KzfRun& run) {
    return nlohmann::json::parse(run.out, nullptr, false);
  }
};

}  // namespace kzftest
