// The physical container beneath a package: named items in one zip file.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <opc/Export.hpp>
#include <opc/Stream.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace opc::interfaces {

/// How a package is opened: read an existing file, or create a new one.
enum class OpenMode : int { Read = 0, Create = 1 };

/// How an item's bytes are stored.
enum class CompressionType : int { Stored = 0, Deflated = 1 };

/// One item of the container as its directory lists it.
struct PhysicalItem {
  std::string name;                 ///< item name exactly as stored (no leading "/")
  std::uint64_t size = 0;           ///< declared uncompressed size
  std::uint64_t compressedSize = 0; ///< declared stored size
  std::uint32_t crc32 = 0;          ///< declared CRC-32 of the uncompressed bytes
  std::uint16_t method = 0;         ///< 0 stored, 8 deflated; others are refused when read
  bool encrypted = false;           ///< encryption flag set; refused when read
};

/// A container of named items. Read mode lists and streams items; create mode writes one
/// item at a time and makes the file appear at its path only when closed.
class OPC_API IPhysicalPackage {
 public:
  virtual ~IPhysicalPackage();

  /// Read: opens the existing file and indexes its directory once (a malformed container
  /// throws std::runtime_error naming the file and the reason). Create: starts writing to a
  /// temporary file beside the path.
  virtual void open(OpenMode mode) = 0;
  /// Create: finishes the last item, writes the directory, flushes, syncs and renames the
  /// temporary file onto the path; with `abandon` the temporary file is removed and nothing
  /// appears at the path. Read: releases the file. Does nothing when not open.
  virtual void close(bool abandon) = 0;
  virtual bool isOpen() const = 0;
  virtual OpenMode getMode() const = 0;
  virtual const fl::i18n::ustring& getPath() const = 0;

  /// Read mode: every item in directory order.
  virtual const std::vector<PhysicalItem>& getItems() const = 0;
  /// Read mode: the item of exactly this name, or null. Constant time.
  virtual const PhysicalItem* findItem(const std::string& name) const = 0;
  /// Read mode: a fresh stream over the item's uncompressed bytes. Several streams may be
  /// open at once. Throws std::runtime_error for a missing, encrypted or unsupported item;
  /// the stream checks the size and CRC-32 at its end.
  virtual std::unique_ptr<InputStream> openItem(const std::string& name) = 0;
  /// Read mode: the same for the item at `index` in getItems(), without looking its name up.
  virtual std::unique_ptr<InputStream> openItemAt(std::size_t index) = 0;

  /// Create mode: starts a new item, finishing the previous one first (its stream refuses
  /// further writes). `sizeHint` is the expected uncompressed size, 0 when unknown.
  virtual std::shared_ptr<OutputStream> createItem(const std::string& name,
                                                   CompressionType compression,
                                                   std::uint64_t sizeHint) = 0;
  /// As above, dating the item by `modificationTime` (seconds since the epoch) when given; a
  /// container that keeps no dates ignores it.
  virtual std::shared_ptr<OutputStream> createItem(const std::string& name,
                                                   CompressionType compression,
                                                   std::uint64_t sizeHint,
                                                   std::optional<std::int64_t> modificationTime) {
    (void)modificationTime;
    return createItem(name, compression, sizeHint);
  }
};

}  // namespace opc::interfaces
