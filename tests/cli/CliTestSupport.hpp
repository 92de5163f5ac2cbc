// Test support for the kzf tool: a fixture with a temporary folder, a sample tree and a runner.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "RunKzf.hpp"
#include "TempDir.hpp"

namespace kzftest {

namespace fs = boost::filesystem;

/// The date every file of the sample tree carries: 2020-09-13 12:26:40 UTC.
constexpr time_t kSampleTime = 1600000000;

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

  static nlohmann::json parseJson(const KzfRun& run) {
    try {
      return nlohmann::json::parse(run.out);
    } catch (const std::exception& e) {
      ADD_FAILURE() << "not JSON (" << e.what() << "):\n" << run.out << "\nstderr:\n" << run.err;
      return nullptr;
    }
  }
};

/// Prints a run's outputs when an expectation about it fails.
inline std::string describe(const KzfRun& run) {
  return "status " + std::to_string(run.status) + "\nstdout:\n" + run.out + "\nstderr:\n" + run.err;
}

/// One line per entry below `root`, sorted: folders by name; files with mode, modification
/// time and content; links with their target text (a package keeps no mode or date for
/// folders, and a link's own date is not restored).
inline std::string treeListing(const fs::path& root) {
  std::vector<std::string> lines;
  for (fs::recursive_directory_iterator it(root), end; it != end; ++it) {
    const fs::path& path = it->path();
    const std::string name = path.lexically_relative(root).generic_string();
    struct stat info {};
    ::lstat(path.c_str(), &info);
    if (S_ISLNK(info.st_mode)) {
      lines.push_back("l " + name + " -> " + fs::read_symlink(path).string());
    } else if (S_ISDIR(info.st_mode)) {
      lines.push_back("d " + name);
    } else {
      char head[64];
      std::snprintf(head, sizeof head, "f %04o %lld ", info.st_mode & 07777,
                    static_cast<long long>(info.st_mtime));
      lines.push_back(head + name + " " + readWholeFile(path));
    }
  }
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

}  // namespace kzftest
