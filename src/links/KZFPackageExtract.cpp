// Extraction: re-creating a package's folders, files and symbolic links below a root folder.
#include <kzfpackage/KZFPackage.hpp>

#include "../package/KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <sys/stat.h>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
namespace pt = boost::posix_time;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using namespace kzf::kzfpackage;

namespace {

/// A link's stored target is read with one buffer of this size; longer targets are cut.
constexpr std::size_t kLinkTargetBufferSize = 16384;

std::string asciiNarrow(const ustring& text) { return std::string(text.begin(), text.end()); }

opc::model::PartName partNameOf(const KZFFileEntry& entry) {
  return opc::model::PartName(opc::model::URI(entry.getContent()));
}

void createParentOf(const fs::path& destination) {
  fs::path parent = destination.parent_path();
  if (!parent.empty() && !fs::exists(parent)) fs::create_directories(parent);
}

/// The stored UTC date as the file's modification time. The seconds since the epoch are kept
/// as a signed 32-bit number, so dates after 2038-01-19 03:14:07 UTC wrap exactly as packages
/// have always been extracted; they then pass through local time and back.
void applyDate(const fs::path& destination, const pt::ptime& date) {
  verbose << "ExtractWithExtractionManager: "
          << " set file last modified date @"
          << asciiNarrow(opc::model::CoreProperties::convertTimeToString(date)) << std::endl;
  const pt::ptime epoch(boost::gregorian::date(1970, 1, 1));
  const std::int64_t seconds = (date - epoch).total_microseconds() / 1000000;
  const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds));
  std::time_t calendar = wrapped;
  std::tm local{};
  if (::localtime_r(&calendar, &local) == nullptr) {
    throw std::runtime_error("could not convert calendar time to local time");
  }
  fs::last_write_time(destination, std::mktime(&local));
}

/// Writes one file entry; returns the number of content bytes written.
std::uint64_t extractFile(const opc::model::Package& package,
                          const KZFFileReaderFactory& readerFactory, const KZFFileEntry& entry,
                          const fs::path& destination) {
  opc::model::Part part = package.getPart(partNameOf(entry));
  createParentOf(destination);
  std::uint64_t written = 0;
  {
    fs::ofstream out(destination, std::ios::binary | std::ios::trunc);
    auto in = part.getInputStream();
    if (readerFactory.willBeTransformed(entry.getName())) {
      auto reader = readerFactory.getReader(entry.getName(), *in);
      kzfdatainterfaces::KZFByteArray content = reader->readAll();
      out.write(reinterpret_cast<const char*>(content.begin()),
                static_cast<std::streamsize>(content.size()));
      if (!out) throw std::runtime_error("could not write " + destination.string());
      written = content.size();
    } else {
      written = opc::StreamHelper::copyStreamToStream(*in, out);
    }
    out.close();
    if (!out) throw std::runtime_error("could not write " + destination.string());
  }
  verbose << "ExtractWithExtractionManager: create a file: " << destination.string() << std::endl;

  // Entries read from a manifest always carry a date; one without a "date" attribute holds
  // not-a-date-time, and such a file keeps the time it was written.
  const boost::optional<pt::ptime> date = entry.getDate();
  if (date && !date->is_special()) applyDate(destination, *date);

  const unsigned short permission = entry.getPermission();
  if (permission != 0) {
    verbose << "ExtractWithExtractionManager: "
            << " set permission to " << permission << std::endl;
    if (::chmod(destination.c_str(), permission) != 0) {
      verbose << "change permission failed" << std::endl;
    }
  }
  return written;
}

void extractSymbolicLink(const opc::model::Package& package, const KZFFileEntry& entry,
                         const fs::path& linkPath) {
  opc::model::Part part = package.getPart(partNameOf(entry));
  auto in = part.getInputStream();
  // One buffer's worth of target text, gathered over as many stream reads as it takes.
  char buffer[kLinkTargetBufferSize + 1];
  std::size_t length = 0;
  while (length < kLinkTargetBufferSize) {
    std::size_t got = in->read(buffer + length, kLinkTargetBufferSize - length);
    if (got == 0) break;
    length += got;
  }
  if (length == 0) {
    throw DeployedException(KZFPACKAGE_ERROR_READ_FILE(to_string(entry.getContent())));
  }
  buffer[length] = '\0';
  const ustring target = fl::i18n::utf8_to_ustring(std::string(buffer, std::strlen(buffer)));
  const std::string narrowTarget = to_string(target);
  verbose << "ExtractWithExtractionManager: create a symbolic name:" << linkPath.string()
          << ",target=" << narrowTarget << std::endl;
  createParentOf(linkPath);
  fs::create_symlink(fs::path(narrowTarget), linkPath);
}

}  // namespace

void KZFPackage::extract(const ustring& root) {
  throwIfNotOpenForRead();
  const std::string narrowRoot = to_string(root);
  verbose << "Extract KZF package to:" << narrowRoot << std::endl;
  const fs::path rootPath(narrowRoot);
  if (!fs::exists(rootPath)) {
    verbose << "Create extract root:" << narrowRoot << std::endl;
    try {
      fs::create_directories(rootPath);
    } catch (const std::exception&) {
      throw DeployedException(KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR());
    }
  }

  try {
    auto relationships = storage->package.getRelationshipsByType(
        opc::toStringFromASCIIStringLiteral(KZF_EXTRACTION_RELATIONSHIP));
    if (relationships.empty()) {
      verbose << "Extract KZF package, missing kzf file manifest file, extract using parts."
              << std::endl;
      throw std::runtime_error("missing kzf file manifest file.");
    }
    verbose << "Extract KZF package, found kzf file manifest file, loading it into exraction "
               "manager."
            << std::endl;
    opc::model::Part manifest = storage->package.getPart(
        opc::model::PartName(relationships.front().getTargetURI(true)));
    KZFExtractionSerializer serializer;
    extractionManager = std::make_unique<KZFExtractionManager>();
    auto in = manifest.getInputStream();
    extractionManager->load(*in, serializer);
    extractWithExtractionManager(root);
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_EXTRACT_FAILED(narrowRoot, e.what()));
  }
}

void KZFPackage::extractWithExtractionManager(const ustring& root) {
  const fs::path rootPath(to_string(root));
  // Entries come in ascending name order; a file whose folder has no entry of its own yet gets
  // its parents created on the spot.
  const std::vector<KZFFileEntry> entries = extractionManager->getEntries();
  progress = KZFProgress();
  progress.phase = KZFProgress::Phase::Extracting;
  progress.entriesTotal = entries.size();
  for (const KZFFileEntry& entry : entries) {
    const fs::path name(to_string(entry.getName()));
    switch (entry.getType()) {
      case KZFFileEntryType::Folder: {
        const fs::path destination = rootPath / name;
        verbose << "ExtractWithExtractionManager: create a directory:" << destination.string()
                << std::endl;
        fs::create_directories(destination);
        break;
      }
      case KZFFileEntryType::File:
        progress.bytesDone += extractFile(storage->package, readerFactory, entry, rootPath / name);
        break;
      case KZFFileEntryType::SymLink:
        extractSymbolicLink(storage->package, entry, fs::absolute(name, rootPath).lexically_normal());
        break;
      default:
        break;
    }
    reportProgress(entry.getName());
  }
}

}  // namespace Quorlith::kzfpackage
