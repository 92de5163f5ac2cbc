// Reading a zip archive: its directory indexed once, its items streamed independently.
#pragma once

#include <memory>
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <string>
#include <vector>

namespace opc::zippackage {

/// An open zip archive. The constructor finds the end records (Zip64 ones included), reads the
/// central directory once and checks it: names taken by their recorded length (a NUL refused),
/// no duplicate names, no item overlapping another or the directory. Items are looked up in a hash
/// index. The reader and its item streams read the file through one shared ZipSource (a
/// read-ahead window and a reused inflater); several streams may be open at once and may outlive
/// the reader, used from one thread at a time. Every failure is a std::runtime_error
/// naming the file (and the item) and the reason. Movable, not copyable; the destructor closes
/// quietly if close() never ran.
class ZipReader {
 public:
  explicit ZipReader(const std::string& path);
  ~ZipReader();
  ZipReader(ZipReader&& other) noexcept;
  ZipReader& operator=(ZipReader&& other) noexcept;
  ZipReader(const ZipReader&) = delete;
  ZipReader& operator=(const ZipReader&) = delete;

  /// Every item in directory order.
  const std::vector<interfaces::PhysicalItem>& items() const;
  /// The item of exactly this name, or null.
  const interfaces::PhysicalItem* find(const std::string& name) const;
  /// A stream over the item's uncompressed bytes. Checks the item's local header against the
  /// directory first; refuses encrypted items, methods other than stored and deflated, and
  /// sizes no deflate stream can produce. The stream checks the size and CRC-32 at its end.
  std::unique_ptr<InputStream> openItem(const std::string& name);
  /// The same for the item at `index` in items().
  std::unique_ptr<InputStream> openItemAt(std::size_t index);
  /// Releases the file; open item streams keep their own hold on it until they are destroyed.
  void close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace opc::zippackage
