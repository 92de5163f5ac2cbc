// Test support: a zip file must pass the integrity tests of unzip and of Python's zipfile.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <boost/filesystem.hpp>
#include <cstdio>
#include <memory>
#include <string>

namespace kzftest {

namespace detail {

/// `text` quoted for the POSIX shell.
inline std::string shellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

struct CommandResult {
  int exitCode = -1;
  std::string output;  ///< standard output and standard error together
};

/// Runs `command` through the shell and collects its exit code and output.
inline CommandResult runCommand(const std::string& command) {
  CommandResult result;
  struct PipeCloser {
    int* exitCode;
    void operator()(FILE* pipe) const {
      int status = ::pclose(pipe);
      *exitCode = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
  };
  {
    std::unique_ptr<FILE, PipeCloser> pipe(::popen((command + " 2>&1").c_str(), "r"),
                                           PipeCloser{&result.exitCode});
    if (!pipe) {
      result.output = "cannot start: " + command;
      return result;
    }
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe.get())) > 0)
      result.output.append(buffer, n);
  }
  return result;
}

constexpr const char* kPythonZipTest =
    "import sys, zipfile\n"
    "with zipfile.ZipFile(sys.argv[1]) as z:\n"
    "    bad = z.testzip()\n"
    "    if bad is not None:\n"
    "        sys.exit('first bad member: %s' % bad)\n";

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
  detail::CommandResult python =
      detail::runCommand("python3 -c " + detail::shellQuote(detail::kPythonZipTest) + " " + quoted);
  EXPECT_EQ(python.exitCode, 0) << "Python's zipfile testzip() on " << path << ":\n"
                                << python.output;
}

}  // namespace kzftest
