// The stream of one zip item's uncompressed bytes, checked against its declared size and CRC.
#pragma once

#include <cstdint>
#include <memory>
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <string>

#include "ZipSource.hpp"

namespace opc::zippackage {

/// Reads one item through the archive's shared source: stored bytes as they are, deflated
/// ones through an inflater borrowed from the source for the stream's life. It trusts nothing: the
/// bytes delivered must match the declared size and CRC-32 (checked when the end is reached, before
/// the last bytes are handed out), a read error or a file ending early is an error and never the
/// end of the item, and more output than declared fails at once. After a failure every further read
/// throws the same error.
class ZipItemInputStream : public InputStream {
 public:
  /// `label` names the archive and the item in messages; `dataOffset` is where the item's
  /// stored bytes begin. The item's method must be stored or deflated.
  ZipItemInputStream(std::shared_ptr<ZipSource> source, std::string label, std::uint64_t dataOffset,
                     const interfaces::PhysicalItem& item);
  ~ZipItemInputStream() override;
  ZipItemInputStream(const ZipItemInputStream&) = delete;
  ZipItemInputStream& operator=(const ZipItemInputStream&) = delete;

  std::size_t read(char* buffer, std::size_t max) override;
  bool isEOF() const override;

 private:
  std::size_t readStored(unsigned char* out, std::size_t max);
  std::size_t readDeflated(unsigned char* out, std::size_t max);
  /// Reads the next stored bytes into `out`; throws if the file ends first.
  std::size_t readFile(unsigned char* out, std::size_t max);
  /// The item's next stored bytes, in place until the next read of the source; throws if the
  /// file ends first.
  ByteView viewFile();
  void account(const unsigned char* data, std::size_t count);
  void finish();
  [[noreturn]] void fail(const std::string& reason);

  std::shared_ptr<ZipSource> source_;
  std::string label_;
  std::uint64_t position_;
  std::uint64_t storedLeft_;
  std::uint64_t declaredSize_;
  std::uint32_t declaredCrc_;
  bool deflated_;
  std::uint64_t produced_ = 0;
  std::uint32_t crc_ = 0;
  bool finished_ = false;
  std::string failure_;
  std::unique_ptr<Inflater> inflater_;
};

}  // namespace opc::zippackage
