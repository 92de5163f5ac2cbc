// The one owner of a POSIX file descriptor in every layer, with the few I/O operations the zip
// container needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace opc::core {

/// Owns one file descriptor (or none: -1) and the path it was opened on. Every failure throws
/// a std::system_error whose text names the path and the operation. Movable, not copyable; the
/// destructor closes the descriptor quietly if close() never ran.
class FileHandle {
 public:
  FileHandle() = default;
  /// Takes `fd` over, -1 included (then isOpen() is false); `path` names it in error texts.
  explicit FileHandle(int fd, std::string path = {}) noexcept;
  ~FileHandle();
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  /// Opens an existing file read-only.
  static FileHandle openForReading(const std::string& path);

  int get() const { return fd_; }
  bool isOpen() const { return fd_ >= 0; }
  const std::string& path() const { return path_; }

  /// Reads up to `count` bytes at `offset`, retrying short reads; fewer only at end of file.
  std::size_t readAt(std::uint64_t offset, void* buffer, std::size_t count) const;
  /// Writes all `count` bytes at `offset`.
  void writeAt(std::uint64_t offset, const void* data, std::size_t count) const;
  std::uint64_t size() const;
  void truncate(std::uint64_t length) const;
  void sync() const;
  /// Closes the descriptor. A failed close of a descriptor open for writing throws: the system
  /// may report a write failure only there. On a read-only one nothing can be lost, so a
  /// failure is ignored.
  void close();
  /// Closes the descriptor quietly, as the destructor does (for a file being discarded).
  void reset() noexcept;

 private:
  int fd_ = -1;
  std::string path_;
};

/// Throws std::system_error for `errorNumber` with the text "<path>: cannot <action>".
[[noreturn]] void throwFileError(const std::string& path, const char* action, int errorNumber);

/// Syncs the directory entry of a renamed or created file so the name survives a crash.
void syncDirectory(const std::string& directory);

/// Creates a new file of a fresh random name "<prefix>XXXXXXXXXXXX" in `directory` (O_EXCL, so
/// an existing name is never taken over), opened read-write with permission bits `mode` less the
/// process umask. The handle's path is the new file's path.
FileHandle createUniqueFile(const std::string& directory, const std::string& prefix, unsigned mode);

/// The directory part of a narrow path ("." when it has none).
std::string directoryOf(const std::string& path);

}  // namespace opc::core
