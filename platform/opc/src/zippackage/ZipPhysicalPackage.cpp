// The zip physical package: binds a path to a ZipReader or a ZipWriter while open.
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "ZipErrors.hpp"
#include "ZipReader.hpp"
#include "ZipWriter.hpp"

namespace opc::zippackage {

using interfaces::OpenMode;

struct ZipPhysicalPackage::Impl {
  Impl(const fl::i18n::ustring& packagePath, const ZipWriterOptions& options)
      : path(packagePath), writerOptions(options) {}

  /// The state check at the top of each mode-bound operation.
  void require(OpenMode wanted) const {
    if (!reader && !writer) {
      throwArchiveError(describe(),
                        std::string("the package is not open ") +
                            (wanted == OpenMode::Read ? "for reading" : "for creation"));
    }
    if (mode != wanted) {
      throwArchiveError(describe(),
                        std::string("the package is open ") +
                            (mode == OpenMode::Read ? "for reading" : "for creation") + ", not " +
                            (wanted == OpenMode::Read ? "for reading" : "for creation"));
    }
  }

  /// The path for messages; a path the process encoding cannot express is described instead.
  std::string describe() const {
    try {
      return fl::i18n::to_string(path);
    } catch (const std::runtime_error&) {
      return "<zip package with an unconvertible path>";
    }
  }

  fl::i18n::ustring path;
  ZipWriterOptions writerOptions;
  OpenMode mode = OpenMode::Read;
  std::optional<ZipReader> reader;
  std::optional<ZipWriter> writer;
};

ZipPhysicalPackage::ZipPhysicalPackage(const fl::i18n::ustring& path, bool syncOnClose,
                                       bool keepTemporaryOnFailure)
    : ZipPhysicalPackage(path, syncOnClose, keepTemporaryOnFailure, Zip64Limits{}) {}

ZipPhysicalPackage::ZipPhysicalPackage(const fl::i18n::ustring& path, bool syncOnClose,
                                       bool keepTemporaryOnFailure, const Zip64Limits& limits)
    : impl_(std::make_unique<Impl>(
          path, ZipWriterOptions{syncOnClose, keepTemporaryOnFailure, limits, -1, std::nullopt})) {}

ZipPhysicalPackage::~ZipPhysicalPackage() = default;

void ZipPhysicalPackage::open(OpenMode mode) {
  if (isOpen()) throwArchiveError(impl_->describe(), "the package is already open");
  std::string narrowPath = fl::i18n::to_string(impl_->path);
  switch (mode) {
    case OpenMode::Read:
      impl_->reader.emplace(narrowPath);
      break;
    case OpenMode::Create:
      impl_->writer.emplace(narrowPath, impl_->writerOptions);
      break;
    default:
      throwArchiveError(narrowPath, "unknown open mode " + std::to_string(static_cast<int>(mode)));
  }
  impl_->mode = mode;
}

void ZipPhysicalPackage::close(bool abandon) {
  // The package counts as closed even when finishing it fails: the reader or writer is moved
  // out first and dies with this scope whatever happens.
  std::optional<ZipReader> reader = std::exchange(impl_->reader, std::nullopt);
  std::optional<ZipWriter> writer = std::exchange(impl_->writer, std::nullopt);
  if (reader) reader->close();
  if (writer) {
    if (abandon) {
      writer->abandon();
    } else {
      writer->close();
    }
  }
}

bool ZipPhysicalPackage::isOpen() const { return impl_->reader || impl_->writer; }

OpenMode ZipPhysicalPackage::getMode() const { return impl_->mode; }

const fl::i18n::ustring& ZipPhysicalPackage::getPath() const { return impl_->path; }

const std::vector<interfaces::PhysicalItem>& ZipPhysicalPackage::getItems() const {
  impl_->require(OpenMode::Read);
  return impl_->reader->items();
}

const interfaces::PhysicalItem* ZipPhysicalPackage::findItem(const std::string& name) const {
  impl_->require(OpenMode::Read);
  return impl_->reader->find(name);
}

std::unique_ptr<InputStream> ZipPhysicalPackage::openItem(const std::string& name) {
  impl_->require(OpenMode::Read);
  return impl_->reader->openItem(name);
}

std::unique_ptr<InputStream> ZipPhysicalPackage::openItemAt(std::size_t index) {
  impl_->require(OpenMode::Read);
  return impl_->reader->openItemAt(index);
}

std::shared_ptr<OutputStream> ZipPhysicalPackage::createItem(
    const std::string& name, interfaces::CompressionType compression, std::uint64_t sizeHint) {
  impl_->require(OpenMode::Create);
  return impl_->writer->addItem(name, compression, sizeHint, std::nullopt);
}

std::shared_ptr<OutputStream> ZipPhysicalPackage::createItem(
    const std::string& name, interfaces::CompressionType compression, std::uint64_t sizeHint,
    std::optional<std::int64_t> modificationTime) {
  impl_->require(OpenMode::Create);
  return impl_->writer->addItem(name, compression, sizeHint, modificationTime);
}

void ZipPhysicalPackage::setCompressionLevel(int level) {
  if (level < -1 || level > 9) {
    throw std::invalid_argument("compression level " + std::to_string(level) +
                                " is not between 0 and 9");
  }
  impl_->writerOptions.compressionLevel = level;
}

void ZipPhysicalPackage::setLatestItemTime(std::optional<std::int64_t> latest) {
  impl_->writerOptions.latestTime = latest;
}

std::string ZipPhysicalPackage::temporaryPath() const {
  return impl_->writer ? impl_->writer->temporaryPath() : std::string();
}

}  // namespace opc::zippackage
