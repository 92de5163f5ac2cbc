// Test support: runs the kzf tool as a user does and collects its exit status and both outputs.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "PackageTestSupport.hpp"

extern char** environ;

namespace kzftest {

/// What one run of the tool left behind.
struct KzfRun {
  int status;  ///< the exit status, or -1 when the tool did not exit normally
  std::string out;
  std::string err;
};

/// Owns the controller side of a pseudo-terminal; its device stands in for a user's terminal.
class PseudoTerminal {
 public:
  PseudoTerminal() : fd_(::posix_openpt(O_RDWR | O_NOCTTY)) {
    if (fd_ < 0 || ::grantpt(fd_) != 0 || ::unlockpt(fd_) != 0) {
      throw std::runtime_error("cannot open a pseudo-terminal");
    }
    device_ = ::ptsname(fd_);
  }
  ~PseudoTerminal() { ::close(fd_); }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;
  const std::string& device() const { return device_; }

  /// Everything written to the terminal so far (output is small: it fits its buffer).
  std::string drain() {
    ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = ::read(fd_, buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int fd_;
  std::string device_;
};

/// Runs the built kzf with `arguments` in the folder `workDir`, standard input /dev/null, and
/// this process's environment changed by `changes` (a value sets the variable, std::nullopt
/// removes it). Both outputs go through files in `workDir`, so a tool that writes much on both
/// cannot stall on a full pipe; with `stderrOnTerminal`, standard error is a pseudo-terminal.
inline KzfRun runKzf(const boost::filesystem::path& workDir,
                     const std::vector<std::string>& arguments,
                     const std::map<std::string, std::optional<std::string>>& changes = {},
                     bool stderrOnTerminal = false) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (changes.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) environment.push_back(name + "=" + *value);
  }
  std::vector<std::string> args{KZF_TOOL_PATH};
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> envp, argv;
  for (std::string& text : environment) envp.push_back(text.data());
  for (std::string& text : args) argv.push_back(text.data());
  envp.push_back(nullptr);
  argv.push_back(nullptr);

  const std::string outPath = (workDir / ".kzf-stdout").string();
  const std::string errPath = (workDir / ".kzf-stderr").string();
  std::optional<PseudoTerminal> terminal;
  if (stderrOnTerminal) terminal.emplace();
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ::posix_spawn_file_actions_addopen(
      &actions, STDERR_FILENO, terminal ? terminal->device().c_str() : errPath.c_str(),
      terminal ? O_WRONLY | O_NOCTTY : O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ::posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
  pid_t pid = 0;
  const int spawnError =
      ::posix_spawn(&pid, KZF_TOOL_PATH, &actions, nullptr, argv.data(), envp.data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (spawnError != 0) {
    throw std::runtime_error(std::string("cannot run " KZF_TOOL_PATH ": ") +
                             std::strerror(spawnError));
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  KzfRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath),
             terminal ? terminal->drain() : readFile(errPath)};
  boost::filesystem::remove(outPath);
  boost::filesystem::remove(errPath);
  return run;
}

}  // namespace kzftest
