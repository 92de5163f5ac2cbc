// Writing a zip archive item by item into a temporary file that replaces the target on close.
#pragma once

#include <cstdint>
#include <memory>
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <optional>
#include <string>

namespace opc::zippackage {

/// How a ZipWriter finishes and which Zip64 limits it applies.
struct ZipWriterOptions {
  bool syncOnClose = true;              ///< fsync the file and its directory on close
  bool keepTemporaryOnFailure = false;  ///< leave the temporary file behind when writing fails
  Zip64Limits limits;
  int compressionLevel = -1;               ///< 0 (stored) to 9 (smallest); -1: the writer's choice
  std::optional<std::int64_t> latestTime;  ///< no item is dated later (seconds since the epoch)
};

class ZipWriterCore;

/// Writes one zip archive. The constructor creates a uniquely named temporary file beside
/// `path` (O_EXCL, permission bits 0666 less the umask, as for any new file); items are
/// streamed into it one at a time; close() adds the central directory, syncs and renames the
/// file onto `path`. Until then nothing appears at `path`: abandon(), or destruction without
/// close(), removes the temporary file. After any write failure the writer refuses further
/// work and close() reports that first failure. Movable, not copyable; a moved-from writer may
/// only be destroyed or assigned to.
class ZipWriter {
 public:
  ZipWriter(const std::string& path, const ZipWriterOptions& options);
  ~ZipWriter();
  ZipWriter(ZipWriter&& other) noexcept;
  ZipWriter& operator=(ZipWriter&& other) noexcept;
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  /// Items are dated by `modificationTime` when given (bounded by the options' latest time);
  /// an undated item (a manifest, the content types) takes the latest date of the items before
  /// it, or 1980-01-01 when there is none, so that the same items give the same bytes.
  /// Finishes the current item (its stream then refuses writes) and starts a new one. Throws
  /// std::runtime_error naming the item for an empty, over-long, NUL-containing or duplicate
  /// name; those leave the writer usable.
  std::shared_ptr<OutputStream> addItem(const std::string& name,
                                        interfaces::CompressionType compression,
                                        std::uint64_t sizeHint,
                                        std::optional<std::int64_t> modificationTime);
  /// Finishes the archive and renames it onto the path. Throws on failure (then nothing is at
  /// the path and the temporary file is removed unless kept on failure).
  void close();
  /// Drops the archive: removes the temporary file. Never throws.
  void abandon() noexcept;
  /// The temporary file being written.
  const std::string& temporaryPath() const;

 private:
  std::shared_ptr<ZipWriterCore> core_;
};

}  // namespace opc::zippackage
