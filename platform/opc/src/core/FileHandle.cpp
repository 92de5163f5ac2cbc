// POSIX file descriptors: reading and writing at offsets, syncing, unique file creation.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <opc/core/FileHandle.hpp>
#include <random>
#include <system_error>
#include <utility>

namespace opc::core {

void throwFileError(const std::string& path, const char* action, int errorNumber) {
  throw std::system_error(errorNumber, std::generic_category(), path + ": cannot " + action);
}

FileHandle::FileHandle(int fd, std::string path) noexcept : fd_(fd), path_(std::move(path)) {}

FileHandle::~FileHandle() { reset(); }

FileHandle::FileHandle(FileHandle&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), path_(std::move(other.path_)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    reset();
    fd_ = std::exchange(other.fd_, -1);
    path_ = std::move(other.path_);
  }
  return *this;
}

FileHandle FileHandle::openForReading(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throwFileError(path, "open for reading", errno);
  return FileHandle(fd, path);
}

std::size_t FileHandle::readAt(std::uint64_t offset, void* buffer, std::size_t count) const {
  auto* out = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    ssize_t n = ::pread(fd_, out + done, count - done, static_cast<off_t>(offset + done));
    if (n < 0) {
      if (errno == EINTR) continue;
      throwFileError(path_, "read", errno);
    }
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  return done;
}

void FileHandle::writeAt(std::uint64_t offset, const void* data, std::size_t count) const {
  const auto* in = static_cast<const char*>(data);
  std::size_t done = 0;
  while (done < count) {
    ssize_t n = ::pwrite(fd_, in + done, count - done, static_cast<off_t>(offset + done));
    if (n < 0) {
      if (errno == EINTR) continue;
      throwFileError(path_, "write", errno);
    }
    done += static_cast<std::size_t>(n);
  }
}

std::uint64_t FileHandle::size() const {
  struct stat st {};
  if (::fstat(fd_, &st) != 0) throwFileError(path_, "query the size of", errno);
  return static_cast<std::uint64_t>(st.st_size);
}

void FileHandle::truncate(std::uint64_t length) const {
  if (::ftruncate(fd_, static_cast<off_t>(length)) != 0) throwFileError(path_, "truncate", errno);
}

void FileHandle::sync() const {
  if (::fsync(fd_) != 0) throwFileError(path_, "sync", errno);
}

void FileHandle::close() {
  if (fd_ < 0) return;
  // Asked only here, not at every open: the explicit close is the one that may report.
  const int flags = ::fcntl(fd_, F_GETFL);
  const bool writable = flags < 0 || (flags & O_ACCMODE) != O_RDONLY;
  const int fd = std::exchange(fd_, -1);
  // The descriptor is gone even when close reports an error, so it is never closed twice.
  if (::close(fd) != 0 && writable) throwFileError(path_, "close", errno);
}

void FileHandle::reset() noexcept {
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
}

void syncDirectory(const std::string& directory) {
  int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) throwFileError(directory, "open the directory", errno);
  FileHandle dir(fd, directory);
  dir.sync();
  dir.close();
}

std::string directoryOf(const std::string& path) {
  auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

FileHandle createUniqueFile(const std::string& directory, const std::string& prefix,
                            unsigned mode) {
  static constexpr char kAlphabet[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  static constexpr int kAttempts = 100;
  std::random_device entropy;
  std::uniform_int_distribution<std::size_t> pick(0, sizeof kAlphabet - 2);
  std::string base = (directory.empty() ? std::string(".") : directory) + "/" + prefix;
  int lastError = EEXIST;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string candidate = base;
    for (int i = 0; i < 12; ++i) candidate += kAlphabet[pick(entropy)];
    int fd =
        ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, static_cast<mode_t>(mode));
    if (fd >= 0) return FileHandle(fd, candidate);
    lastError = errno;
    if (lastError != EEXIST) break;
  }
  // The message names the folder: the random name never existed, so it would only puzzle.
  throwFileError(directory.empty() ? std::string(".") : directory, "create a file in the folder",
                 lastError);
}

}  // namespace opc::core
