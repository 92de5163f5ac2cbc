// Test support: a zip file must pass the integrity tests of unzip and of Python's zipfile.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <boost/filesystem.hpp>
#include <cstdio>
#include <string>

namespace kzftest {

namespace detail {

/// `text` quoted for the POSIX shell.
inline std::string shellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

struct CommandResult {
  int exitCode = -1;
  std::string output;  ///< standard output and standard error together
};

/// Runs `command` through the shell and collects its exit code and output.
inline CommandResult runCommand(const std::string& command) {
  CommandResult result;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return {-1, "cannot start: " + command};
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    result.output.append(buffer, n);
  }
  int status = ::pclose(pipe);
  result.exitCode = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

}  // namespace detail

/// Expects `unzip -tq` and Python's zipfile.ZipFile(path).testzip() to accept the zip file at
/// `path`: every member's data, sizes and CRC-32 check out, Zip64 records included. unzip's
/// warning for an archive without members counts as success.
inline void expectValidZip(const boost::filesystem::path& path) {
  std::string quoted = detail::shellQuote(path.string());
  detail::CommandResult unzip = detail::runCommand("unzip -tq " + quoted);
  bool emptyArchive =
      unzip.exitCode == 1 && unzip.output.find("zipfile is empty") != std::string::npos;
  EXPECT_TRUE(unzip.exitCode == 0 || emptyArchive)
      << "unzip -tq " << path << " exited with " << unzip.exitCode << ":\n"
      << unzip.output;
  detail::CommandResult python = detail::runCommand(
      "python3 -c 'import sys, zipfile; sys.exit(zipfile.ZipFile(sys.argv[1]).testzip())' " +
      quoted);
  EXPECT_EQ(python.exitCode, 0) << "Python's zipfile testzip() on " << path << ":\n"
                                << python.output;
}

}  // namespace kzftest
