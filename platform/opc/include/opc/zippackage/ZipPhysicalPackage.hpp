// The zip file beneath a package: its items read from, or written to, one zip archive.
#pragma once

#include <cstdint>
#include <fl/i18n/ustring.hpp>
#include <memory>
#include <opc/Export.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <optional>
#include <string>
#include <vector>

namespace opc::zippackage {

/// The values at which the writer switches a field to its Zip64 form: an item whose size
/// reaches `size`, an item or directory starting at or beyond `offset`, an archive of `entries`
/// or more items. The defaults are the format's own limits (a 32-bit field holding 0xFFFFFFFF,
/// a 16-bit count holding 0xFFFF, already means "see the Zip64 record"). Lower values exist so
/// tests can exercise the Zip64 records on small data; values above the defaults are refused.
struct Zip64Limits {
  std::uint64_t size = 0xFFFFFFFF;
  std::uint64_t offset = 0xFFFFFFFF;
  std::uint64_t entries = 0xFFFF;
};

/// A package's container as one zip file. Read mode indexes the central directory once and
/// streams items with their own reads of the file; create mode writes items one after another
/// into a temporary file beside the path and renames it onto the path when closed.
class OPC_API ZipPhysicalPackage : public interfaces::IPhysicalPackage {
 public:
  /// Binds to `path` and touches no file. `syncOnClose`: a created package is synced to disk
  /// (file and directory) before close returns. `keepTemporaryOnFailure`: when writing fails,
  /// the temporary file is left in place for inspection instead of being removed.
  ZipPhysicalPackage(const fl::i18n::ustring& path, bool syncOnClose, bool keepTemporaryOnFailure);
  /// As above, with other Zip64 limits for the packages this object creates.
  ZipPhysicalPackage(const fl::i18n::ustring& path, bool syncOnClose, bool keepTemporaryOnFailure,
                     const Zip64Limits& limits);
  /// A package still open for creation is abandoned: nothing appears at the path.
  ~ZipPhysicalPackage() override;
  ZipPhysicalPackage(const ZipPhysicalPackage&) = delete;
  ZipPhysicalPackage& operator=(const ZipPhysicalPackage&) = delete;

  void open(interfaces::OpenMode mode) override;
  void close(bool abandon) override;
  bool isOpen() const override;
  interfaces::OpenMode getMode() const override;
  const fl::i18n::ustring& getPath() const override;

  const std::vector<interfaces::PhysicalItem>& getItems() const override;
  const interfaces::PhysicalItem* findItem(const std::string& name) const override;
  std::unique_ptr<InputStream> openItem(const std::string& name) override;
  std::unique_ptr<InputStream> openItemAt(std::size_t index) override;

  std::shared_ptr<OutputStream> createItem(const std::string& name,
                                           interfaces::CompressionType compression,
                                           std::uint64_t sizeHint) override;
  std::shared_ptr<OutputStream> createItem(const std::string& name,
                                           interfaces::CompressionType compression,
                                           std::uint64_t sizeHint,
                                           std::optional<std::int64_t> modificationTime) override;

  /// The deflate level (0 to 9) of the packages created from now on; -1 restores the default.
  void setCompressionLevel(int level);
  /// No item of the packages created from now on is dated later than `latest` (seconds since
  /// the epoch); none: no bound.
  void setLatestItemTime(std::optional<std::int64_t> latest);
  /// The temporary file a package open for creation is being written to; empty otherwise.
  std::string temporaryPath() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::zippackage
