// Ownership of one POSIX file descriptor, closed when its owner goes away.
#pragma once

#include <unistd.h>

namespace Quorlith::kzfdatainterfaces {

/// Owns a file descriptor (or none, -1) and closes it on destruction.
class UniqueFd {
 public:
  UniqueFd() = default;
  ~UniqueFd() { reset(-1); }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  /// Closes the descriptor held so far and takes ownership of `fd`.
  void reset(int fd) {
    // The descriptors held here are only read from, so a failing close loses nothing.
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace Quorlith::kzfdatainterfaces
