// Zip archive writer: local headers, streamed item data, central directory and end records.
//
// The records are written here rather than through minizip's zip writer because minizip 1.1
// takes the Zip64 decisions itself and gets them wrong for us: asked for Zip64 on an entry that
// stays small it writes version 4.5 and a Zip64 block in the local header but 2.0 and no block
// in the central directory (strict readers refuse the mismatch); it cannot grow a local header
// when an entry of unknown size passes 4 GiB; it writes the Zip64 end record only above 65,535
// entries although a count of exactly 65,535 already needs it; and its limits are fixed, so the
// Zip64 forms could never be exercised without writing 4 GiB.
//
// How an item is compressed was chosen by CPU time (user+sys, best of 3 single-threaded runs,
// one call per file with kept compressor state) and exact bytes, on the benchmark trees "app"
// (6,049 files, 120 MB, largest 2.9 MB) and "many" (50,000 files of up to 2 KB):
//
//                          app CPU s   app bytes    many CPU s   many bytes
//   zlib level 4             2.00      63,769,859     1.04       21,687,481
//   zlib level 6             3.19      63,197,421     1.13       21,572,190
//   libdeflate level 3       1.06      63,452,315     0.68       21,646,811
//   libdeflate level 4       1.12      63,271,936     0.73       21,607,362
//   libdeflate level 6       1.60      63,077,084     0.75       21,497,404
//   ISA-L igzip level 3      0.47      65,208,264     0.47       22,055,055
//
// Items up to kBufferedBound (4 MiB, all of app's and many's) are gathered whole in a buffer
// and deflated in one call by libdeflate at level 4: 0.56 times zlib level 4's CPU on app and
// 0.70 times on many, for 0.992 and 0.996 times its bytes. Whole packages at level 4 come to
// 0.996 times Info-ZIP's "zip -6" on app (64,544,339 against 64,808,258 bytes) and 0.938 times
// on many; level 3 would leave app 0.999 times, too thin a margin for other trees. ISA-L is
// four times faster again but 3 % larger than zlib level 6, too large for the items of most
// trees, which must come out no larger than Info-ZIP's. The bound, not the item, sets the
// memory: the buffer and the codecs' output buffer, some 8 MiB.
//
// An item above the bound (or announced so) is deflated in windows of the bound's size, by a
// streaming codec kept for the writer's lifetime and reset between items: libdeflate needs the
// whole item in memory. Chosen on the benchmark tree "large" (a 512 MiB text-like file and a
// 512 MiB random one; Release "kzf create", user+sys CPU, one thread):
//
//                               CPU s    bytes
//   zlib level 4 (until now)    11.08    702,431,696   (median of 3; wall 12.9 s)
//   zlib level 5                16.07    696,717,252
//   zlib level 6                22.93    692,323,756
//   ISA-L igzip level 1          2.18    730,209,423
//   ISA-L igzip level 2          2.06    721,917,913
//   ISA-L igzip level 3          3.31    718,282,950   (median of 3)
//
// The default is ISA-L level 3: a third of zlib level 4's CPU for 1.023 times its bytes (the
// text file alone 1.096 times: 181,370,168 against 165,477,141 bytes); level 2 saves another
// 1.2 s for 2 % more on the text; ISA-L level 0 is both slower and larger (745,222,668 bytes). The
// levels 0 to 9 a caller asks for keep their meaning, faster to smaller: for a streamed item 0
// writes stored deflate blocks, 1 and 2 are ISA-L level 1, 3 is ISA-L level 2, 4 (the default)
// ISA-L level 3, and 5 to 9 are zlib's own levels, for a caller who wants smaller output and pays
// for it. Buffered items take libdeflate at the caller's level. The CRC-32 is ISA-L's (0.2 times
// zlib's time, libdeflate's 0.3). The same items give the same bytes.
//
// Data that does not shrink (already compressed files, random bytes) costs deflate several
// times what copying it does and gains nothing. A buffered item whose deflated form is not
// smaller than stored deflate blocks is written as such blocks. A streamed window is deflated
// into a buffer and ends with a sync flush (byte-aligned, history kept); when its output is not
// below kShrinkPercent of its input, the window's raw bytes are written as stored deflate blocks
// instead. Both forms decode to the same bytes, so the codec's history stays valid whichever a
// window took, and the item stays one deflate stream (method 8). A window that did not shrink
// starts a stretch stored without being tried (one window, doubling up to kMaxStoredStretch
// while the window after each stretch still does not shrink); the codec starts afresh after it,
// since it never saw the stretch. The random file thus costs 0.6 s (CRC, copy, writing) where
// deflating every window with ISA-L level 3 cost 2.4 s. As history runs across windows, their
// size hardly changes the bytes but sets the memory: windows of 1, 4 and 16 MiB gave
// 718,288,459, 718,282,950 and 718,274,740 bytes at a peak RSS of 21, 27 and 53 MB. The window
// is the bound, so one buffer serves both kinds of item.
//
// Items are written in their final place as they arrive. The local header is rewritten once
// the item is finished, with the CRC and sizes (the temporary file is seekable, so no data
// descriptors are needed). An item whose size was not announced, or announced wrongly, may
// turn out to need the 20-byte Zip64 block in its local header, or not need the one it got:
// its data is then moved by 20 bytes inside the file, once, when it is finished. That costs one
// extra pass over that item's data, only for items beyond 4 GiB whose size hint was wrong,
// and keeps every other item free of Zip64 records and of padding.
#include "ZipWriter.hpp"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fl/i18n/CodePoint.hpp>
#include <opc/core/FileHandle.hpp>
#include <stdexcept>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Crc32.hpp"
#include "ZipErrors.hpp"
#include "ZipFormat.hpp"

namespace opc::zippackage {

namespace {

constexpr std::size_t kOutputBufferSize = 256 * 1024;
constexpr std::size_t kRelocationChunk = 1024 * 1024;
/// libdeflate's level for buffered items (see the opening comment).
constexpr int kBufferedLevel = 4;
/// Streamed items at levels 1 to 4 go through ISA-L (levels 1, 1, 2 and 3), those at 5 to 9
/// through zlib at that level; the default is level 4 (see the opening comment).
constexpr int kStreamLevel = 4;
constexpr int kFirstZlibLevel = 5;
/// Items up to this size are held whole and deflated in one call; larger ones are deflated in
/// windows of this size.
constexpr std::size_t kBufferedBound = 4 * 1024 * 1024;
constexpr std::size_t kWindow = kBufferedBound;
/// A window whose output is at least this share of its input (in percent) counts as not
/// shrinking: what deflate gains there is not worth its time.
constexpr std::uint64_t kShrinkPercent = 97;
/// After a window that does not shrink, this many bytes and then twice as many after each
/// further such window, up to kMaxStoredStretch, are stored without being tried.
constexpr std::uint64_t kMinStoredStretch = kWindow;
constexpr std::uint64_t kMaxStoredStretch = 16 * kWindow;
/// A stored deflate block holds at most this many bytes behind a header of kStoredBlockHeader.
constexpr std::size_t kStoredBlockMax = 0xFFFF;
constexpr std::size_t kStoredBlockHeader = 5;
constexpr int kDeflateMemLevel = 8;
constexpr unsigned kArchiveFileMode = 0666;
constexpr std::size_t kMaxNameLength = 0xFFFF;
constexpr const char* kTemporaryPrefix = ".kzfzip-";

/// Buffered output at explicit file offsets, with rewriting of bytes already written.
class OutputBuffer {
 public:
  explicit OutputBuffer(const core::FileHandle& file) : file_(file), buffer_(kOutputBufferSize) {}

  std::uint64_t position() const { return base_ + used_; }

  void append(const void* data, std::size_t count) {
    if (count == 0) return;  // an empty stored block has no data, and may have no buffer
    if (used_ + count > buffer_.size()) flush();
    if (count >= buffer_.size()) {
      file_.writeAt(base_, data, count);
      base_ += count;
      return;
    }
    std::memcpy(buffer_.data() + used_, data, count);
    used_ += count;
  }

  void flush() {
    if (used_ == 0) return;
    file_.writeAt(base_, buffer_.data(), used_);
    base_ += used_;
    used_ = 0;
  }

  /// Rewrites `count` bytes at `offset`, all of them already appended.
  void patch(std::uint64_t offset, const unsigned char* data, std::size_t count) {
    if (offset < base_) {
      auto inFile = static_cast<std::size_t>(std::min<std::uint64_t>(count, base_ - offset));
      file_.writeAt(offset, data, inFile);
      offset += inFile;
      data += inFile;
      count -= inFile;
    }
    if (count > 0) std::memcpy(buffer_.data() + (offset - base_), data, count);
  }

  /// Continues at `position` after data was moved in the file behind the buffer's back.
  void restartAt(std::uint64_t position) {
    flush();
    base_ = position;
  }

 private:
  const core::FileHandle& file_;
  std::vector<unsigned char> buffer_;
  std::size_t used_ = 0;
  std::uint64_t base_ = 0;
};

/// libdeflate's whole-buffer compressor at one level, kept for the writer's lifetime.
class BufferDeflater {
 public:
  BufferDeflater(const std::string& archive, int level)
      : compressor_(libdeflate_alloc_compressor(level)) {
    if (!compressor_) throwArchiveError(archive, "cannot set up the deflate compressor");
  }
  /// Deflates `in` into `out` (at most `room` bytes); 0 if it does not fit.
  std::size_t compress(const unsigned char* in, std::size_t count, unsigned char* out,
                       std::size_t room) {
    return libdeflate_deflate_compress(compressor_.get(), in, count, out, room);
  }
  std::size_t bound(std::size_t count) {
    return libdeflate_deflate_compress_bound(compressor_.get(), count);
  }

 private:
  struct Free {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
  };
  std::unique_ptr<libdeflate_compressor, Free> compressor_;
};

/// Makes `out` at least `count` bytes long, or twice as long when it is already.
void growOutput(std::vector<unsigned char>& out, std::size_t count) {
  out.resize(std::max(count, out.size() * 2));
}

/// zlib's raw deflate, kept for the writer's lifetime and reset between items: the streamed
/// codec at levels 5 to 9.
class Deflater {
 public:
  Deflater(const std::string& archive, int level) {
    int rc =
        deflateInit2(&stream_, level, Z_DEFLATED, -MAX_WBITS, kDeflateMemLevel, Z_DEFAULT_STRATEGY);
    if (rc != Z_OK) {
      throwArchiveError(archive,
                        std::string("cannot set up the deflate compressor: ") + zError(rc));
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  void reset() { deflateReset(&stream_); }

  /// Deflates one window (at most 4 GiB) of the item `item` into `out`, flushed to a byte
  /// boundary with the history kept, or ending the stream if `last`; returns the output's length.
  std::size_t compress(const std::string& archive, const std::string& item, const unsigned char* in,
                       std::size_t count, bool last, std::vector<unsigned char>& out) {
    stream_.next_in = in;
    stream_.avail_in = static_cast<unsigned>(count);
    std::size_t done = 0;
    for (;;) {
      if (done == out.size()) growOutput(out, deflateBound(&stream_, stream_.avail_in) + 16);
      stream_.next_out = out.data() + done;
      auto offered = static_cast<unsigned>(std::min<std::size_t>(out.size() - done, UINT_MAX));
      stream_.avail_out = offered;
      int rc = ::deflate(&stream_, last ? Z_FINISH : Z_SYNC_FLUSH);
      done += offered - stream_.avail_out;
      if (rc == Z_STREAM_END) return done;
      if (!last && stream_.avail_out != 0 && (rc == Z_OK || rc == Z_BUF_ERROR)) return done;
      if (rc != Z_OK && rc != Z_BUF_ERROR) {
        throwItemError(archive, item, std::string("compression failed: ") + zError(rc));
      }
    }
  }

 private:
  z_stream stream_{};
};

/// ISA-L's streaming deflate, kept for the writer's lifetime and reset between items: the
/// streamed codec at levels 1 to 4.
class IsalDeflater {
 public:
  IsalDeflater()
      : levelBuffer_(
            std::max({ISAL_DEF_LVL1_DEFAULT, ISAL_DEF_LVL2_DEFAULT, ISAL_DEF_LVL3_DEFAULT})) {
    isal_deflate_init(&stream_);
  }

  void reset(int level) {
    isal_deflate_reset(&stream_);
    stream_.level = static_cast<std::uint32_t>(level);
    stream_.level_buf = levelBuffer_.data();
    stream_.level_buf_size = static_cast<std::uint32_t>(levelBuffer_.size());
    stream_.gzip_flag = IGZIP_DEFLATE;
  }

  /// As Deflater::compress.
  std::size_t compress(const std::string& archive, const std::string& item, const unsigned char* in,
                       std::size_t count, bool last, std::vector<unsigned char>& out) {
    stream_.next_in = const_cast<unsigned char*>(in);
    stream_.avail_in = static_cast<std::uint32_t>(count);
    stream_.end_of_stream = last ? 1 : 0;
    stream_.flush = last ? NO_FLUSH : SYNC_FLUSH;
    std::size_t done = 0;
    for (;;) {
      if (done == out.size()) growOutput(out, count + count / 8 + 1024);
      stream_.next_out = out.data() + done;
      auto offered =
          static_cast<std::uint32_t>(std::min<std::size_t>(out.size() - done, UINT32_MAX));
      stream_.avail_out = offered;
      int rc = isal_deflate(&stream_);
      done += offered - stream_.avail_out;
      if (rc != COMP_OK) {
        throwItemError(archive, item, "compression failed: ISA-L error " + std::to_string(rc));
      }
      // Done once all input is taken and the output did not fill: the flush or the end of the
      // stream is then written too.
      if (stream_.avail_in == 0 && stream_.avail_out != 0) return done;
    }
  }

 private:
  isal_zstream stream_{};
  std::vector<unsigned char> levelBuffer_;
};

/// DOS date and time (local time) of the items. An item dated by its source keeps that date;
/// an undated one takes the latest date given so far, so that packing the same items gives
/// the same bytes whenever it runs. With a latest time set, no date passes it.
class DosDates {
 public:
  explicit DosDates(std::optional<std::int64_t> latest) : latest_(latest) {}

  std::uint32_t of(std::optional<std::int64_t> time) {
    if (!time) return latestGiven_ ? convert(*latestGiven_) : kEarliest;
    std::int64_t t = latest_ && *time > *latest_ ? *latest_ : *time;
    if (!latestGiven_ || t > *latestGiven_) latestGiven_ = t;
    return convert(t);
  }

 private:
  static constexpr std::uint32_t kEarliest = (1u << 5 | 1u) << 16;  // 1980-01-01 00:00:00
  // DOS dates run from 1980 to 2107; a date outside that range is pinned to its ends.
  static std::uint32_t convert(std::int64_t seconds) {
    constexpr std::uint32_t kLatest =
        (127u << 9 | 12u << 5 | 31u) << 16 | (23u << 11 | 59u << 5 | 29u);  // 2107-12-31 23:59:58
    const auto t = static_cast<std::time_t>(seconds);
    std::tm lt{};
    if (localtime_r(&t, &lt) == nullptr || lt.tm_year < 80) return kEarliest;
    if (lt.tm_year > 207) return kLatest;
    auto date =
        static_cast<std::uint32_t>((lt.tm_year - 80) << 9 | (lt.tm_mon + 1) << 5 | lt.tm_mday);
    auto time = static_cast<std::uint32_t>(lt.tm_hour << 11 | lt.tm_min << 5 | lt.tm_sec / 2);
    return date << 16 | time;
  }

  std::optional<std::int64_t> latest_;
  std::optional<std::int64_t> latestGiven_;
};

/// True for a name with non-ASCII bytes that form valid UTF-8: such a name gets the UTF-8 flag
/// so that other tools show it correctly. Other names are stored with the flag clear.
bool isNonAsciiUtf8(const std::string& name) {
  bool nonAscii = false;
  const auto* p = reinterpret_cast<const unsigned char*>(name.data());
  const auto* end = p + name.size();
  while (p < end) {
    char32_t codePoint;
    std::size_t length;
    if (fl::i18n::codepoint::decodeUtf8(p, end, codePoint, length) != nullptr) return false;
    nonAscii = nonAscii || length > 1;
    p += length;
  }
  return nonAscii;
}

/// One item as the central directory will list it.
struct Entry {
  std::string name;
  std::uint64_t offset = 0;  ///< of the local header
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;
  std::uint32_t crc = 0;
  std::uint32_t dosTime = 0;  ///< date in the high half, time in the low half
  std::uint16_t method = 0;
  std::uint16_t flags = 0;
  bool zip64Sizes = false;  ///< sizes live in Zip64 blocks, local and central
};

}  // namespace

/// The writer's state, shared with the item streams (which hold it weakly).
class ZipWriterCore {
 public:
  ZipWriterCore(const std::string& path, const ZipWriterOptions& options)
      : path_(path),
        options_(checked(path, options)),
        file_(core::createUniqueFile(core::directoryOf(path), kTemporaryPrefix, kArchiveFileMode)),
        temporaryPath_(file_.path()),
        out_(file_),
        dates_(options.latestTime) {}

  ~ZipWriterCore() {
    if (state_ == State::Writing) discardTemporary(true);
  }

  ZipWriterCore(const ZipWriterCore&) = delete;
  ZipWriterCore& operator=(const ZipWriterCore&) = delete;

  const std::string& path() const { return path_; }
  const std::string& temporaryPath() const { return temporaryPath_; }

  std::uint64_t beginItem(const std::string& name, interfaces::CompressionType compression,
                          std::uint64_t sizeHint, std::optional<std::int64_t> modificationTime) {
    requireWriting();
    std::uint16_t method = methodOf(name, compression);
    checkName(name);
    guarded([&] {
      if (itemOpen_) finishItem();
      Entry entry;
      entry.name = name;
      entry.offset = out_.position();
      entry.method = method;
      entry.flags = isNonAsciiUtf8(name) ? format::kFlagUtf8Name : 0;
      entry.dosTime = dates_.of(modificationTime);
      entry.zip64Sizes = sizeHint >= options_.limits.size;
      names_.insert(name);
      entries_.push_back(std::move(entry));
      writeLocalHeader(entries_.back());
      dataStart_ = out_.position();
      pending_.clear();
      buffered_ = method == format::kMethodDeflated && sizeHint <= kBufferedBound;
      if (method == format::kMethodDeflated && !buffered_) startStream();
      crc_ = 0;
      consumed_ = 0;
      itemOpen_ = true;
      ++serial_;
    });
    return serial_;
  }

  void writeItem(std::uint64_t serial, const std::string& name, const char* data,
                 std::size_t count) {
    requireCurrent(serial, name);
    guarded([&] {
      const auto* bytes = reinterpret_cast<const unsigned char*>(data);
      crc_ = crc32Update(crc_, bytes, count);
      consumed_ += count;
      if (entries_.back().method == format::kMethodStored) {
        out_.append(bytes, count);
      } else {
        gather(bytes, count);
      }
    });
  }

  void requireCurrent(std::uint64_t serial, const std::string& name) const {
    requireWriting();
    if (!itemOpen_ || serial != serial_) {
      throwItemError(path_, name, "is already finished; no more bytes can be written to it");
    }
  }

  void close() {
    requireWriting();
    guarded([&] {
      if (itemOpen_) finishItem();
      writeDirectory();
      out_.flush();
      file_.truncate(out_.position());
      if (options_.syncOnClose) file_.sync();
      file_.close();
      if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        int error = errno;
        core::throwFileError(path_, "replace it with the new package", error);
      }
      state_ = State::Closed;
      if (options_.syncOnClose) core::syncDirectory(core::directoryOf(path_));
    });
  }

  void abandon() noexcept {
    if (state_ == State::Writing) discardTemporary(true);
    if (state_ != State::Closed) state_ = State::Abandoned;
  }

 private:
  enum class State { Writing, Failed, Closed, Abandoned };

  /// The level for data that shrinks: the caller's, or the measured default of buffered items
  /// (libdeflate's level) or of streamed ones (see kStreamLevel).
  int level(bool buffered) const {
    if (options_.compressionLevel >= 0) return options_.compressionLevel;
    return buffered ? kBufferedLevel : kStreamLevel;
  }
  int streamLevel() const { return level(false); }

  static const ZipWriterOptions& checked(const std::string& path, const ZipWriterOptions& options) {
    const Zip64Limits defaults;
    const Zip64Limits& l = options.limits;
    if (l.size == 0 || l.size > defaults.size || l.offset == 0 || l.offset > defaults.offset ||
        l.entries == 0 || l.entries > defaults.entries) {
      throw std::invalid_argument(path + ": Zip64 limits must lie between 1 and the format's own");
    }
    return options;
  }

  /// Runs one step of writing; its failure is the writer's first error and ends the archive.
  template <typename Step>
  void guarded(Step&& step) {
    try {
      step();
    } catch (const std::exception& error) {
      if (state_ == State::Writing) {
        state_ = State::Failed;
        firstError_ = error.what();
        discardTemporary(!options_.keepTemporaryOnFailure);
      }
      throw;
    }
  }

  void requireWriting() const {
    if (state_ == State::Failed) {
      throwArchiveError(path_, "cannot be written after an earlier error: " + firstError_);
    }
    if (state_ != State::Writing) throwArchiveError(path_, "is no longer open for writing");
  }

  std::uint16_t methodOf(const std::string& name, interfaces::CompressionType compression) const {
    switch (compression) {
      case interfaces::CompressionType::Stored:
        return format::kMethodStored;
      case interfaces::CompressionType::Deflated:
        return format::kMethodDeflated;
    }
    throwItemError(path_, name,
                   "unknown compression type " + std::to_string(static_cast<int>(compression)));
  }

  void checkName(const std::string& name) const {
    if (name.empty()) throwArchiveError(path_, "an item name must not be empty");
    if (name.size() > kMaxNameLength) {
      throwItemError(path_, name.substr(0, 64) + "...",
                     "name is longer than 65,535 bytes (" + std::to_string(name.size()) + ")");
    }
    if (name.find('\0') != std::string::npos) {
      throwItemError(path_, name.substr(0, name.find('\0')), "name contains a NUL byte");
    }
    if (names_.count(name) != 0) throwItemError(path_, name, "an item of this name exists already");
  }

  std::uint16_t versionNeeded(const Entry& entry) const {
    return entry.zip64Sizes || entry.offset >= options_.limits.offset ? format::kVersionZip64
                                                                      : format::kVersionDeflate;
  }

  /// The fixed part of the local header and, for Zip64 sizes, its Zip64 block.
  void localHeader(const Entry& entry, unsigned char (&fixed)[format::kLocalHeaderSize],
                   unsigned char (&zip64)[format::kLocalZip64ExtraSize]) const {
    using namespace format;
    put32(fixed, kLocalHeaderSignature);
    put16(fixed + 4, versionNeeded(entry));
    put16(fixed + 6, entry.flags);
    put16(fixed + 8, entry.method);
    put32(fixed + 10, entry.dosTime);
    put32(fixed + 14, entry.crc);
    put32(fixed + 18,
          entry.zip64Sizes ? kZip64Marker32 : static_cast<std::uint32_t>(entry.compressedSize));
    put32(fixed + 22, entry.zip64Sizes ? kZip64Marker32 : static_cast<std::uint32_t>(entry.size));
    put16(fixed + 26, static_cast<std::uint16_t>(entry.name.size()));
    put16(fixed + 28, entry.zip64Sizes ? kLocalZip64ExtraSize : 0);
    put16(zip64, kZip64ExtraId);
    put16(zip64 + 2, kLocalZip64ExtraSize - 4);
    put64(zip64 + 4, entry.size);
    put64(zip64 + 12, entry.compressedSize);
  }

  void writeLocalHeader(const Entry& entry) {
    unsigned char fixed[format::kLocalHeaderSize];
    unsigned char zip64[format::kLocalZip64ExtraSize];
    localHeader(entry, fixed, zip64);
    out_.append(fixed, sizeof fixed);
    out_.append(entry.name.data(), entry.name.size());
    if (entry.zip64Sizes) out_.append(zip64, sizeof zip64);
  }

  void rewriteLocalHeader(const Entry& entry) {
    unsigned char fixed[format::kLocalHeaderSize];
    unsigned char zip64[format::kLocalZip64ExtraSize];
    localHeader(entry, fixed, zip64);
    out_.patch(entry.offset, fixed, sizeof fixed);
    if (entry.zip64Sizes) {
      out_.patch(entry.offset + format::kLocalHeaderSize + entry.name.size(), zip64, sizeof zip64);
    }
  }

  /// Takes the next bytes of a deflated item into its window, deflating each full window once
  /// more bytes follow it.
  void gather(const unsigned char* data, std::size_t count) {
    while (count > 0) {
      if (pending_.size() == kWindow) {
        if (buffered_) {
          // Grown past the bound: the item goes on through the stream from its first byte.
          buffered_ = false;
          startStream();
        }
        writeWindow(false);
      }
      std::size_t chunk = std::min(count, kWindow - pending_.size());
      pending_.insert(pending_.end(), data, data + chunk);
      data += chunk;
      count -= chunk;
    }
  }

  /// Starts the item's data, or its data after a stored stretch, on a fresh stream of the
  /// codec for its level.
  void startStream() {
    int level = streamLevel();
    if (level >= kFirstZlibLevel) {
      if (!deflater_) deflater_ = std::make_unique<Deflater>(path_, level);
      deflater_->reset();
    } else if (level > 0) {
      if (!isalDeflater_) isalDeflater_ = std::make_unique<IsalDeflater>();
      isalDeflater_->reset(std::max(1, level - 1));
    }
    storedLeft_ = 0;
    storedStretch_ = kMinStoredStretch;
  }

  /// Writes the window of a streamed item: deflated if that shrinks it, else as stored blocks.
  /// Each deflated window ends byte-aligned, so either form may follow the other; the history
  /// the codec keeps across windows is the same bytes whichever form a window took. A window
  /// that did not shrink starts a stored stretch; the codec starts afresh after it.
  void writeWindow(bool last) {
    const int level = streamLevel();
    std::size_t in = pending_.size();
    std::size_t out = 0;
    const std::string& name = entries_.back().name;
    bool stored = level == 0 || storedLeft_ > 0;
    if (stored) {
      storedLeft_ -= std::min<std::uint64_t>(storedLeft_, in);
      if (storedLeft_ == 0 && level > 0) {
        std::uint64_t stretch = storedStretch_;
        startStream();
        storedStretch_ = stretch;
      }
    } else {
      out = level >= kFirstZlibLevel
                ? deflater_->compress(path_, name, pending_.data(), in, last, compressed_)
                : isalDeflater_->compress(path_, name, pending_.data(), in, last, compressed_);
      stored = out * 100 >= in * kShrinkPercent;
      storedLeft_ = stored ? storedStretch_ : 0;
      storedStretch_ = stored ? std::min(storedStretch_ * 2, kMaxStoredStretch) : kMinStoredStretch;
    }
    if (stored) {
      writeStored(pending_.data(), in, last);
    } else {
      out_.append(compressed_.data(), out);
    }
    pending_.clear();
  }

  /// Writes `count` bytes as stored deflate blocks, the last one final if `last`.
  void writeStored(const unsigned char* data, std::size_t count, bool last) {
    do {
      std::size_t chunk = std::min(count, kStoredBlockMax);
      unsigned char header[kStoredBlockHeader];
      header[0] = last && chunk == count ? 1 : 0;
      format::put16(header + 1, static_cast<std::uint16_t>(chunk));
      format::put16(header + 3, static_cast<std::uint16_t>(~chunk));
      out_.append(header, sizeof header);
      out_.append(data, chunk);
      data += chunk;
      count -= chunk;
    } while (count > 0);
  }

  /// Deflates a buffered item in one call. The time is spent by then, so the item keeps
  /// whichever form is smaller: deflated, or stored deflate blocks, which data that does not
  /// shrink comes to.
  void compressBuffered() {
    if (!bufferDeflater_) bufferDeflater_ = std::make_unique<BufferDeflater>(path_, level(true));
    std::size_t in = pending_.size();
    std::size_t stored = in + kStoredBlockHeader * std::max<std::size_t>(1, (in + 65534) / 65535);
    compressed_.resize(std::max({compressed_.size(), bufferDeflater_->bound(in), stored}));
    std::size_t out =
        bufferDeflater_->compress(pending_.data(), in, compressed_.data(), stored - 1);
    if (out == 0) {
      writeStored(pending_.data(), in, true);
    } else {
      out_.append(compressed_.data(), out);
    }
    pending_.clear();
  }

  void finishItem() {
    Entry& entry = entries_.back();
    itemOpen_ = false;
    if (entry.method == format::kMethodDeflated) {
      if (buffered_) {
        compressBuffered();
      } else {
        writeWindow(true);
      }
    }
    entry.compressedSize = out_.position() - dataStart_;
    entry.size = consumed_;
    entry.crc = crc_;
    bool zip64Sizes =
        entry.size >= options_.limits.size || entry.compressedSize >= options_.limits.size;
    if (zip64Sizes != entry.zip64Sizes) {
      moveData(entry.compressedSize, zip64Sizes);
      entry.zip64Sizes = zip64Sizes;
    }
    rewriteLocalHeader(entry);
  }

  /// Moves the current item's data by the size of the local Zip64 block: forward to make room
  /// for it, or back to close the gap of one the item turned out not to need.
  void moveData(std::uint64_t length, bool makeRoom) {
    constexpr std::uint64_t shift = format::kLocalZip64ExtraSize;
    out_.flush();
    std::vector<unsigned char> chunk(static_cast<std::size_t>(
        std::min<std::uint64_t>(kRelocationChunk, std::max<std::uint64_t>(length, 1))));
    std::uint64_t done = 0;
    while (done < length) {
      auto n = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), length - done));
      // Growing copies from the end backwards, shrinking from the start, so that no byte is
      // overwritten before it was copied.
      std::uint64_t from = makeRoom ? dataStart_ + length - done - n : dataStart_ + done;
      if (file_.readAt(from, chunk.data(), n) != n) {
        throwArchiveError(temporaryPath_, "ends before the data written to it");
      }
      file_.writeAt(makeRoom ? from + shift : from - shift, chunk.data(), n);
      done += n;
    }
    dataStart_ = makeRoom ? dataStart_ + shift : dataStart_ - shift;
    out_.restartAt(dataStart_ + length);
  }

  void writeDirectory() {
    using namespace format;
    const Zip64Limits& limits = options_.limits;
    std::uint64_t directoryStart = out_.position();
    for (const Entry& entry : entries_) {
      bool zip64Offset = entry.offset >= limits.offset;
      unsigned char extra[4 + 3 * 8];
      std::size_t extraLength = 4;
      if (entry.zip64Sizes) {
        put64(extra + extraLength, entry.size);
        put64(extra + extraLength + 8, entry.compressedSize);
        extraLength += 16;
      }
      if (zip64Offset) {
        put64(extra + extraLength, entry.offset);
        extraLength += 8;
      }
      if (extraLength == 4) extraLength = 0;
      put16(extra, kZip64ExtraId);
      put16(extra + 2, static_cast<std::uint16_t>(extraLength - 4));

      unsigned char header[kCentralHeaderSize];
      std::uint16_t version = versionNeeded(entry);
      put32(header, kCentralHeaderSignature);
      put16(header + 4, static_cast<std::uint16_t>(kHostUnix << 8 | version));
      put16(header + 6, version);
      put16(header + 8, entry.flags);
      put16(header + 10, entry.method);
      put32(header + 12, entry.dosTime);
      put32(header + 16, entry.crc);
      put32(header + 20,
            entry.zip64Sizes ? kZip64Marker32 : static_cast<std::uint32_t>(entry.compressedSize));
      put32(header + 24,
            entry.zip64Sizes ? kZip64Marker32 : static_cast<std::uint32_t>(entry.size));
      put16(header + 28, static_cast<std::uint16_t>(entry.name.size()));
      put16(header + 30, static_cast<std::uint16_t>(extraLength));
      put16(header + 32, 0);  // comment length
      put16(header + 34, 0);  // disk number
      put16(header + 36, 0);  // internal attributes
      put32(header + 38, kRegularFileAttributes);
      put32(header + 42, zip64Offset ? kZip64Marker32 : static_cast<std::uint32_t>(entry.offset));
      out_.append(header, sizeof header);
      out_.append(entry.name.data(), entry.name.size());
      out_.append(extra, extraLength);
    }
    std::uint64_t directorySize = out_.position() - directoryStart;
    std::uint64_t count = entries_.size();
    bool countTooLarge = count >= limits.entries;
    bool startTooLarge = directoryStart >= limits.offset;
    bool sizeTooLarge = directorySize >= limits.size;

    if (countTooLarge || startTooLarge || sizeTooLarge) {
      std::uint64_t zip64EndOffset = out_.position();
      unsigned char end64[kZip64EndSize];
      put32(end64, kZip64EndSignature);
      put64(end64 + 4, kZip64EndSize - 12);  // the record's size without its first 12 bytes
      put16(end64 + 12, static_cast<std::uint16_t>(kHostUnix << 8 | kVersionZip64));
      put16(end64 + 14, kVersionZip64);
      put32(end64 + 16, 0);  // this disk
      put32(end64 + 20, 0);  // disk of the directory
      put64(end64 + 24, count);
      put64(end64 + 32, count);
      put64(end64 + 40, directorySize);
      put64(end64 + 48, directoryStart);
      out_.append(end64, sizeof end64);

      unsigned char locator[kZip64LocatorSize];
      put32(locator, kZip64LocatorSignature);
      put32(locator + 4, 0);  // disk of the Zip64 end record
      put64(locator + 8, zip64EndOffset);
      put32(locator + 16, 1);  // number of disks
      out_.append(locator, sizeof locator);
    }

    unsigned char end[kEndSize];
    auto count16 = countTooLarge ? kZip64Marker16 : static_cast<std::uint16_t>(count);
    put32(end, kEndSignature);
    put16(end + 4, 0);  // this disk
    put16(end + 6, 0);  // disk of the directory
    put16(end + 8, count16);
    put16(end + 10, count16);
    put32(end + 12, sizeTooLarge ? kZip64Marker32 : static_cast<std::uint32_t>(directorySize));
    put32(end + 16, startTooLarge ? kZip64Marker32 : static_cast<std::uint32_t>(directoryStart));
    put16(end + 20, 0);  // comment length
    out_.append(end, sizeof end);
  }

  /// Closes the temporary file and, if `remove`, deletes it. Never throws.
  void discardTemporary(bool remove) noexcept {
    { core::FileHandle closing = std::move(file_); }
    if (remove) std::remove(temporaryPath_.c_str());
  }

  std::string path_;
  ZipWriterOptions options_;
  core::FileHandle file_;
  std::string temporaryPath_;
  OutputBuffer out_;
  std::unique_ptr<Deflater> deflater_;              ///< zlib, for streamed items at levels 5-9
  std::unique_ptr<IsalDeflater> isalDeflater_;      ///< ISA-L, for streamed items at levels 1-4
  std::unique_ptr<BufferDeflater> bufferDeflater_;  ///< libdeflate, for buffered items
  std::vector<unsigned char> pending_;     ///< a buffered item so far, or a streamed item's window
  std::vector<unsigned char> compressed_;  ///< their deflated form
  bool buffered_ = false;                  ///< the current item is held in pending_ whole
  std::uint64_t storedLeft_ = 0;  ///< bytes of a streamed item still to store without trying
  std::uint64_t storedStretch_ = kMinStoredStretch;  ///< length of the next stored stretch
  std::vector<Entry> entries_;
  std::unordered_set<std::string> names_;
  DosDates dates_;
  State state_ = State::Writing;
  std::string firstError_;
  bool itemOpen_ = false;
  std::uint64_t serial_ = 0;  ///< number of the current (last begun) item
  std::uint64_t dataStart_ = 0;
  std::uint32_t crc_ = 0;
  std::uint64_t consumed_ = 0;
};

namespace {

/// The stream of one item being written. It stays bound to that item: once the writer has
/// moved on, or is gone, every write throws instead of reaching another item.
class ItemOutputStream : public OutputStream {
 public:
  ItemOutputStream(std::weak_ptr<ZipWriterCore> core, std::string archive, std::string name,
                   std::uint64_t serial)
      : core_(std::move(core)),
        archive_(std::move(archive)),
        name_(std::move(name)),
        serial_(serial) {}

  std::size_t write(const char* data, std::size_t count) override {
    lockCore()->writeItem(serial_, name_, data, count);
    return count;
  }

  // Bytes reach the archive file as the writer's buffer fills and at close; there is nothing
  // an item could flush on its own, but flushing a finished item is still a misuse.
  void flush() override { lockCore()->requireCurrent(serial_, name_); }

 private:
  std::shared_ptr<ZipWriterCore> lockCore() const {
    auto core = core_.lock();
    if (!core) throwItemError(archive_, name_, "cannot be written: its package is closed");
    return core;
  }

  std::weak_ptr<ZipWriterCore> core_;
  std::string archive_;
  std::string name_;
  std::uint64_t serial_;
};

}  // namespace

ZipWriter::ZipWriter(const std::string& path, const ZipWriterOptions& options)
    : core_(std::make_shared<ZipWriterCore>(path, options)) {}

ZipWriter::~ZipWriter() {
  if (core_) core_->abandon();
}

ZipWriter::ZipWriter(ZipWriter&& other) noexcept = default;

ZipWriter& ZipWriter::operator=(ZipWriter&& other) noexcept {
  if (this != &other) {
    if (core_) core_->abandon();
    core_ = std::move(other.core_);
  }
  return *this;
}

std::shared_ptr<OutputStream> ZipWriter::addItem(const std::string& name,
                                                 interfaces::CompressionType compression,
                                                 std::uint64_t sizeHint,
                                                 std::optional<std::int64_t> modificationTime) {
  std::uint64_t serial = core_->beginItem(name, compression, sizeHint, modificationTime);
  return std::make_shared<ItemOutputStream>(core_, core_->path(), name, serial);
}

void ZipWriter::close() { core_->close(); }

void ZipWriter::abandon() noexcept { core_->abandon(); }

const std::string& ZipWriter::temporaryPath() const { return core_->temporaryPath(); }

}  // namespace opc::zippackage
