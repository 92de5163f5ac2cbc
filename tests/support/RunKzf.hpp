// Test support: runs the kzf tool as a user does and collects its exit status and both outputs.
#pragma once

#include <fcntl.h>
#include <pty.h>
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
  int controller = -1, terminal = -1;
  if (stderrOnTerminal && ::openpty(&controller, &terminal, nullptr, nullptr, nullptr) != 0) {
    throw std::runtime_error("cannot open a pseudo-terminal");
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (stderrOnTerminal) {
    ::posix_spawn_file_actions_adddup2(&actions, terminal, STDERR_FILENO);
    ::posix_spawn_file_actions_addclose(&actions, terminal);
    ::posix_spawn_file_actions_addclose(&actions, controller);
  } else {
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC, 0644);
  }
  ::posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
  pid_t pid = 0;
  const int spawnError =
      ::posix_spawn(&pid, KZF_TOOL_PATH, &actions, nullptr, argv.data(), envp.data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (stderrOnTerminal) ::close(terminal);
  if (spawnError != 0) {
    if (stderrOnTerminal) ::close(controller);
    throw std::runtime_error(std::string("cannot run " KZF_TOOL_PATH ": ") +
                             std::strerror(spawnError));
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  KzfRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath), ""};
  if (stderrOnTerminal) {  // all the tool wrote waits in the terminal's buffer
    ::fcntl(controller, F_SETFL, ::fcntl(controller, F_GETFL) | O_NONBLOCK);
    char buffer[4096];
    for (ssize_t n; (n = ::read(controller, buffer, sizeof buffer)) > 0;) {
      run.err.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(controller);
  } else {
    run.err = readFile(errPath);
  }
  boost::filesystem::remove(outPath);
  boost::filesystem::remove(errPath);
  return run;
}

}  // namespace kzftest
