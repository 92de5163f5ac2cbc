// The archive file as a zip reader and its item streams share it: reads through one read-ahead
// window, and one inflater handed from item stream to item stream.
#pragma once

#include <isa-l/igzip_lib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opc/core/FileHandle.hpp>
#include <vector>

namespace opc::zippackage {

/// A raw inflate stream (ISA-L's igzip: it inflated the app corpus in 0.63 times zlib's time,
/// and unlike a whole-buffer inflater it serves items of any size in flat memory). Its state
/// holds its own history and output buffers, some 40 KB, so it is kept and handed on.
class Inflater {
 public:
  Inflater() { reset(); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  inflate_state& state() { return state_; }
  /// Makes the stream ready for a new raw deflate stream, dropping any input left from the last.
  void reset() {
    isal_inflate_init(&state_);
    state_.crc_flag = ISAL_DEFLATE;
  }

 private:
  inflate_state state_{};
};

/// Bytes viewed in place: valid until the next read through the same source.
struct ByteView {
  const unsigned char* data = nullptr;
  std::size_t size = 0;
};

/// The open archive file. Items are stored one after another and are usually read in that
/// order, so reads go through a window that one positioned read fills: a run of small items
/// (local header, then data) costs one system call per window instead of several per item.
/// The window starts small, so that reading a single item of a large archive does not pull in
/// more than it needs, and doubles up to its full size while reads keep moving forward; a read
/// elsewhere starts it small again. Memory stays bounded whatever the item sizes.
///
/// Deflated items share one inflater: a stream borrows it for its life and gives it back
/// reset, so a run of items costs one inflater set-up instead of one each (a set-up allocates
/// and frees some 40 KB). A stream opened while another holds it gets a fresh one.
///
/// The reader and every item stream of an archive share one source, so they must be used from
/// one thread at a time.
class ZipSource {
 public:
  /// Large enough that a run of small items costs few system calls and that large items are
  /// read in large chunks, and that any one zip record fits whole.
  static constexpr std::size_t kWindowCapacity = 256 * 1024;

  explicit ZipSource(core::FileHandle file);

  const core::FileHandle& file() const { return file_; }

  /// The bytes from `offset` on: at least `need` of them (at most kWindowCapacity) unless
  /// the file ends first, and as many more as the window holds. Throws std::system_error on a
  /// read error.
  ByteView view(std::uint64_t offset, std::size_t need);
  /// Copies up to `count` bytes at `offset` into `out` and returns how many (0 at the end of
  /// the file): what the window holds from there first, then through the window for small
  /// reads and straight into `out` for large ones.
  std::size_t read(std::uint64_t offset, unsigned char* out, std::size_t count);

  /// An inflater ready for a new stream.
  std::unique_ptr<Inflater> borrowInflater();
  /// Takes an inflater back for the next stream (it is reset here).
  void giveBack(std::unique_ptr<Inflater> inflater) noexcept;

  /// Closes the file; throws if the system reports an error.
  void close() { file_.close(); }

 private:
  core::FileHandle file_;
  std::vector<unsigned char> window_;
  std::uint64_t start_ = 0;   ///< file offset of the window's first byte
  std::size_t filled_ = 0;    ///< bytes the window holds
  std::size_t fillSize_ = 0;  ///< how much the next fill reads
  std::unique_ptr<Inflater> spare_;
};

}  // namespace opc::zippackage
