// Zip archive reader: end records, central directory and local headers, all checked before
// use; items are streamed by ZipItemInputStream.
//
// The records are parsed here rather than through minizip's unzip: minizip 1.1 as built for
// 64-bit Linux never resolves Zip64 blocks (it compares the 32-bit fields with
// (unsigned long)-1, which has 64 bits there), so every item larger than 4 GiB or starting
// beyond 4 GiB would come back with sizes or an offset of 0xFFFFFFFF. It also keeps the local
// header offsets, which the overlap checks need, to itself.
#include "ZipReader.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <opc/core/FileHandle.hpp>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "ZipErrors.hpp"
#include "ZipFormat.hpp"
#include "ZipItemInputStream.hpp"
#include "ZipSource.hpp"

namespace opc::zippackage {

namespace {

using namespace format;

/// The end record sits in the last 22 bytes plus at most a 65,535-byte comment.
constexpr std::size_t kEndSearchLength = kEndSize + 0xFFFF;
// The window takes any one central record (46 bytes and three fields of at most 65,535 bytes
// each) and any local header whole, so no buffer is ever sized from a length the archive declares.
static_assert(ZipSource::kWindowCapacity >= kCentralHeaderSize + 3 * 0xFFFF);
constexpr std::uint16_t kFlagDataDescriptor = 0x0008;

/// a + b + c, or false when the sum does not fit in 64 bits.
bool checkedSum(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t& sum) {
  if (b > UINT64_MAX - a || c > UINT64_MAX - (a + b)) return false;
  sum = a + b + c;
  return true;
}

/// Sequential reads of a region of the file through the source's window.
class RegionReader {
 public:
  RegionReader(ZipSource& source, std::uint64_t start, std::uint64_t end)
      : source_(source), next_(start), end_(end) {}

  /// The next `count` bytes (at most the window's capacity), or null when the region ends
  /// first. Valid until the next read of the source.
  const unsigned char* take(std::size_t count) {
    if (count > end_ - next_) return nullptr;
    ByteView bytes = source_.view(next_, count);
    if (bytes.size < count) return nullptr;
    next_ += count;
    return bytes.data;
  }

  /// The file offset of the next byte to take.
  std::uint64_t position() const { return next_; }

 private:
  ZipSource& source_;
  std::uint64_t next_;
  std::uint64_t end_;
};

/// The body of the Zip64 block (id 1) in an extra field, if any. `wellFormed` turns false when
/// a block runs past the field's end (up to three trailing bytes of padding are tolerated).
struct Zip64Block {
  const unsigned char* body = nullptr;
  std::size_t length = 0;
  bool wellFormed = true;
};

Zip64Block findZip64Block(const unsigned char* extra, std::size_t length) {
  Zip64Block found;
  std::size_t at = 0;
  while (at + 4 <= length) {
    std::size_t blockLength = get16(extra + at + 2);
    if (at + 4 + blockLength > length) {
      found.wellFormed = false;
      break;
    }
    if (get16(extra + at) == kZip64ExtraId && found.body == nullptr) {
      found.body = extra + at + 4;
      found.length = blockLength;
    }
    at += 4 + blockLength;
  }
  return found;
}

/// Where the central directory lies, from the end records.
struct DirectoryExtent {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::uint64_t count = 0;
};

/// Where an item lies in the file, beside its listing.
struct Placement {
  std::uint64_t localOffset = 0;  ///< of its local header
  std::uint64_t limit = 0;        ///< where the next item or the directory begins
  std::uint16_t flags = 0;        ///< general purpose flags of its central record
};

}  // namespace

struct ZipReader::State {
  explicit State(const std::string& archivePath)
      : path(archivePath),
        source(std::make_shared<ZipSource>(core::FileHandle::openForReading(archivePath))) {}

  void openDirectory() {
    std::uint64_t fileSize = source->file().size();
    if (fileSize < kEndSize) {
      throwArchiveError(path, "is not a zip archive: " + std::to_string(fileSize) +
                                  " bytes are too few to hold one");
    }
    DirectoryExtent directory = findDirectory(fileSize);
    readDirectory(directory);
    placeItems(directory.offset);
  }

  /// Finds the end record (whose comment must end the file) and, when present, the Zip64 end
  /// record; the central directory must end exactly where they begin.
  DirectoryExtent findDirectory(std::uint64_t fileSize) {
    auto tailLength = static_cast<std::size_t>(std::min<std::uint64_t>(fileSize, kEndSearchLength));
    std::uint64_t tailStart = fileSize - tailLength;
    std::vector<unsigned char> tail(tailLength);
    std::size_t got = source->file().readAt(tailStart, tail.data(), tail.size());
    std::size_t at = tailLength - kEndSize + 1;
    bool found = false;
    while (got == tailLength && at-- > 0) {
      if (get32(tail.data() + at) == kEndSignature &&
          at + kEndSize + get16(tail.data() + at + 20) == tailLength) {
        found = true;
        break;
      }
    }
    if (!found) {
      throwArchiveError(path,
                        "is not a zip archive, or its end of central directory record is "
                        "missing or damaged (a truncated file?)");
    }
    const unsigned char* end = tail.data() + at;
    std::uint64_t endOffset = tailStart + at;
    DirectoryExtent directory{get32(end + 16), get32(end + 12), get16(end + 10)};
    bool singleDisk =
        get16(end + 4) == 0 && get16(end + 6) == 0 && get16(end + 8) == get16(end + 10);
    std::uint64_t directoryEnd = endOffset;

    unsigned char locator[kZip64LocatorSize];
    if (endOffset >= kZip64LocatorSize &&
        source->file().readAt(endOffset - kZip64LocatorSize, locator, sizeof locator) ==
            sizeof locator &&
        get32(locator) == kZip64LocatorSignature) {
      std::uint64_t recordOffset = get64(locator + 8);
      unsigned char record[kZip64EndSize];
      if (endOffset - kZip64LocatorSize < kZip64EndSize ||
          recordOffset > endOffset - kZip64LocatorSize - kZip64EndSize ||
          source->file().readAt(recordOffset, record, sizeof record) != sizeof record ||
          get32(record) != kZip64EndSignature) {
        throwArchiveError(path, "its Zip64 end of central directory record is missing or damaged");
      }
      directory = DirectoryExtent{get64(record + 48), get64(record + 40), get64(record + 32)};
      singleDisk = singleDisk && get32(locator + 4) == 0 && get32(locator + 16) == 1 &&
                   get32(record + 16) == 0 && get32(record + 20) == 0 &&
                   get64(record + 24) == get64(record + 32);
      directoryEnd = recordOffset;
    }
    if (!singleDisk) throwArchiveError(path, "spans several disks, which is not supported");
    std::uint64_t directoryStop = 0;
    if (!checkedSum(directory.offset, directory.size, 0, directoryStop) ||
        directoryStop != directoryEnd) {
      throwArchiveError(path,
                        "central directory is not where its end record places it (are there "
                        "bytes before the archive?)");
    }
    return directory;
  }

  void readDirectory(const DirectoryExtent& directory) {
    RegionReader reader(*source, directory.offset, directory.offset + directory.size);
    auto capacity = std::min<std::uint64_t>(directory.count, directory.size / kCentralHeaderSize);
    items.reserve(static_cast<std::size_t>(capacity));
    places.reserve(static_cast<std::size_t>(capacity));
    for (std::uint64_t i = 0; i < directory.count; ++i) {
      const unsigned char* record = reader.take(kCentralHeaderSize);
      if (record == nullptr || get32(record) != kCentralHeaderSignature) {
        throwArchiveError(path, "central directory is damaged: record " + std::to_string(i + 1) +
                                    " of " + std::to_string(directory.count) + " cannot be read");
      }
      interfaces::PhysicalItem item;
      Placement place;
      place.flags = get16(record + 8);
      item.method = get16(record + 10);
      item.crc32 = get32(record + 16);
      item.compressedSize = get32(record + 20);
      item.size = get32(record + 24);
      std::size_t nameLength = get16(record + 28);
      std::size_t extraLength = get16(record + 30);
      std::size_t commentLength = get16(record + 32);
      place.localOffset = get32(record + 42);
      item.encrypted = (place.flags & kFlagEncrypted) != 0;

      const unsigned char* rest = reader.take(nameLength + extraLength + commentLength);
      if (rest == nullptr) {
        throwArchiveError(path, "central directory is damaged: record " + std::to_string(i + 1) +
                                    " runs past its end");
      }
      item.name.assign(reinterpret_cast<const char*>(rest), nameLength);
      if (item.name.find('\0') != std::string::npos) {
        throwArchiveError(path, "central directory record " + std::to_string(i + 1) +
                                    " has a NUL byte in its name ('" +
                                    item.name.substr(0, item.name.find('\0')) + "...')");
      }
      resolveZip64(item, place, rest + nameLength, extraLength);
      if (!index.emplace(item.name, items.size()).second) {
        throwItemError(path, item.name, "is listed twice in the central directory");
      }
      items.push_back(std::move(item));
      places.push_back(place);
    }
    if (reader.position() != directory.offset + directory.size) {
      throwArchiveError(path, "central directory is damaged: it holds more than its " +
                                  std::to_string(directory.count) + " records");
    }
  }

  /// Replaces each 32-bit field holding the Zip64 marker by its value from the Zip64 block,
  /// where the values appear in a fixed order: size, compressed size, local header offset.
  void resolveZip64(interfaces::PhysicalItem& item, Placement& place, const unsigned char* extra,
                    std::size_t extraLength) {
    Zip64Block block = findZip64Block(extra, extraLength);
    if (!block.wellFormed) throwItemError(path, item.name, "its extra field is malformed");
    std::size_t at = 0;
    for (std::uint64_t* field : {&item.size, &item.compressedSize, &place.localOffset}) {
      if (*field != kZip64Marker32) continue;
      if (at + 8 > block.length) {
        throwItemError(path, item.name, "its Zip64 record lacks a size or offset it defers to");
      }
      *field = get64(block.body + at);
      at += 8;
    }
  }

  /// Checks, in file order, that no item overlaps the next one or the central directory, and
  /// records for each item where the next thing begins. An item's extent here is its local
  /// header without the extra field (not read yet) plus its stored data; the extra field is
  /// accounted for when the item is opened.
  void placeItems(std::uint64_t directoryStart) {
    std::vector<std::size_t> order(items.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
      return places[a].localOffset < places[b].localOffset;
    });
    for (std::size_t k = 0; k < order.size(); ++k) {
      const interfaces::PhysicalItem& item = items[order[k]];
      Placement& place = places[order[k]];
      bool last = k + 1 == order.size();
      std::uint64_t next = last ? directoryStart : places[order[k + 1]].localOffset;
      std::uint64_t end = 0;
      if (!checkedSum(place.localOffset, kLocalHeaderSize + item.name.size(), item.compressedSize,
                      end) ||
          end > next) {
        throwItemError(path, item.name,
                       last ? std::string("runs into the central directory")
                            : "overlaps item '" + items[order[k + 1]].name + "'");
      }
      place.limit = next;
    }
  }

  /// Checks the item's local header against its central record and returns where the item's
  /// data begins. The header is read through the source's window, which the item's data then
  /// usually follows into.
  std::uint64_t checkLocalHeader(const interfaces::PhysicalItem& item, const Placement& place) {
    ByteView bytes = source->view(place.localOffset, kLocalHeaderSize);
    if (bytes.size < kLocalHeaderSize || get32(bytes.data) != kLocalHeaderSignature) {
      throwItemError(path, item.name,
                     "has no local header at offset " + std::to_string(place.localOffset));
    }
    unsigned char header[kLocalHeaderSize];
    std::memcpy(header, bytes.data, sizeof header);
    std::uint16_t flags = get16(header + 6);
    std::size_t nameLength = get16(header + 26);
    std::size_t extraLength = get16(header + 28);
    bytes = source->view(place.localOffset + kLocalHeaderSize, nameLength + extraLength);
    const auto* localName = reinterpret_cast<const char*>(bytes.data);
    std::size_t nameGot = std::min(bytes.size, nameLength);
    if (nameGot != nameLength || item.name.compare(0, std::string::npos, localName, nameGot) != 0) {
      throwItemError(
          path, item.name,
          "its local header gives another name ('" + std::string(localName, nameGot) + "')");
    }
    const char* disagreement = nullptr;
    if (get16(header + 8) != item.method) {
      disagreement = "compression method";
    } else if ((flags & kFlagEncrypted) != (place.flags & kFlagEncrypted)) {
      disagreement = "encryption flag";
    } else if ((flags & kFlagDataDescriptor) == 0) {
      // Without a data descriptor the local header carries the real CRC and sizes too.
      std::uint64_t size = get32(header + 22);
      std::uint64_t compressedSize = get32(header + 18);
      if (size == kZip64Marker32 || compressedSize == kZip64Marker32) {
        Zip64Block block =
            findZip64Block(bytes.data + nameLength, std::min(bytes.size - nameLength, extraLength));
        if (block.length >= 16) {
          size = get64(block.body);
          compressedSize = get64(block.body + 8);
        }
      }
      if (get32(header + 14) != item.crc32) {
        disagreement = "CRC-32";
      } else if (size != item.size || compressedSize != item.compressedSize) {
        disagreement = "sizes";
      }
    }
    if (disagreement != nullptr) {
      throwItemError(path, item.name,
                     std::string("its local header disagrees with the central directory on the ") +
                         disagreement);
    }
    std::uint64_t dataOffset = place.localOffset + kLocalHeaderSize + nameLength + extraLength;
    std::uint64_t end = 0;
    if (!checkedSum(dataOffset, item.compressedSize, 0, end) || end > place.limit) {
      throwItemError(path, item.name,
                     "its data runs past the start of the next item or of the directory");
    }
    return dataOffset;
  }

  std::string path;
  std::shared_ptr<ZipSource> source;
  std::vector<interfaces::PhysicalItem> items;
  std::vector<Placement> places;
  std::unordered_map<std::string, std::size_t> index;
};

ZipReader::ZipReader(const std::string& path) : state_(std::make_unique<State>(path)) {
  state_->openDirectory();
}

ZipReader::~ZipReader() = default;
ZipReader::ZipReader(ZipReader&& other) noexcept = default;
ZipReader& ZipReader::operator=(ZipReader&& other) noexcept = default;

const std::vector<interfaces::PhysicalItem>& ZipReader::items() const { return state_->items; }

const interfaces::PhysicalItem* ZipReader::find(const std::string& name) const {
  auto found = state_->index.find(name);
  return found == state_->index.end() ? nullptr : &state_->items[found->second];
}

std::unique_ptr<InputStream> ZipReader::openItem(const std::string& name) {
  State& s = *state_;
  if (!s.source) throwArchiveError(s.path, "is closed");
  auto found = s.index.find(name);
  if (found == s.index.end()) throwItemError(s.path, name, "is not in the archive");
  return openItemAt(found->second);
}

std::unique_ptr<InputStream> ZipReader::openItemAt(std::size_t index) {
  State& s = *state_;
  if (!s.source) throwArchiveError(s.path, "is closed");
  if (index >= s.items.size()) {
    throwArchiveError(s.path, "has no item number " + std::to_string(index) + " (it has " +
                                  std::to_string(s.items.size()) + ")");
  }
  const interfaces::PhysicalItem& item = s.items[index];
  const std::string& name = item.name;
  if (item.encrypted) throwItemError(s.path, name, "is encrypted, which is not supported");
  if (item.method != kMethodStored && item.method != kMethodDeflated) {
    throwItemError(s.path, name,
                   "uses compression method " + std::to_string(item.method) +
                       "; only stored (0) and deflated (8) are supported");
  }
  if (item.method == kMethodStored && item.size != item.compressedSize) {
    throwItemError(s.path, name,
                   "is stored, yet declares " + std::to_string(item.size) + " bytes from " +
                       std::to_string(item.compressedSize) + " stored bytes");
  }
  if (item.method == kMethodDeflated && item.compressedSize <= UINT64_MAX / kMaxDeflateRatio &&
      item.compressedSize * kMaxDeflateRatio < item.size) {
    throwItemError(s.path, name,
                   "declares " + std::to_string(item.size) + " bytes from " +
                       std::to_string(item.compressedSize) +
                       " compressed bytes, beyond deflate's maximum ratio of 1032 to 1");
  }
  std::uint64_t dataOffset = s.checkLocalHeader(item, s.places[index]);
  return std::make_unique<ZipItemInputStream>(s.source, itemLabel(s.path, name), dataOffset, item);
}

void ZipReader::close() {
  // Item streams may still share the file; the last owner closes it.
  std::shared_ptr<ZipSource> source = std::move(state_->source);
  if (source && source.use_count() == 1) source->close();
}

}  // namespace opc::zippackage
