// Test support: run a program in a child process with a changed environment, capturing stdout.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace kzftest {

/// Owns one file descriptor.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }
  void reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

/// Owns a posix_spawn file-actions object.
class SpawnActions {
 public:
  SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

struct ChildResult {
  int exitCode;     ///< the exit status, or -1 if the child did not exit normally
  std::string out;  ///< everything it wrote on standard output
};

/// Runs `program argument` with this process's environment changed by `changes` (a value sets
/// the variable, std::nullopt removes it) and waits for it.
inline ChildResult runChild(const std::string& program, const std::string& argument,
                            const std::map<std::string, std::optional<std::string>>& changes) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (changes.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) environment.push_back(name + "=" + *value);
  }
  std::vector<char*> envp;
  for (std::string& text : environment) envp.push_back(text.data());
  envp.push_back(nullptr);
  std::string programCopy = program;
  std::string argumentCopy = argument;
  char* argv[] = {programCopy.data(), argumentCopy.data(), nullptr};

  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("pipe for ") + program + ": " + std::strerror(errno));
  }
  FileDescriptor readEnd(fds[0]);
  FileDescriptor writeEnd(fds[1]);
  SpawnActions actions;
  ::posix_spawn_file_actions_adddup2(actions.get(), writeEnd.get(), STDOUT_FILENO);
  pid_t pid = 0;
  const int spawnError =
      ::posix_spawn(&pid, program.c_str(), actions.get(), nullptr, argv, envp.data());
  if (spawnError != 0) {
    throw std::runtime_error("cannot run " + program + ": " + std::strerror(spawnError));
  }
  writeEnd.reset();

  ChildResult result{-1, {}};
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::read(readEnd.get(), buffer, sizeof buffer);
    if (n > 0) {
      result.out.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

}  // namespace kzftest
