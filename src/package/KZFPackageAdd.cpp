// Adding files, folders and file lists to a package open for creation; the file manifest part.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/filesystem.hpp>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <sys/stat.h>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
namespace pt = boost::posix_time;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using fl::i18n::to_ustring;
using namespace kzf::kzfpackage;

namespace {

/// Parts of stored files are deflated; the size is not known before the copy.
constexpr int kCompressedStorage = 1;
/// The copy buffer of one stored file.
constexpr std::size_t kCopyBufferSize = 16384;
/// The reader's error code for an empty input it cannot process.
constexpr int kReaderZeroLengthError = -1004;
/// File-type bits and the nine access bits; set-user-id, set-group-id and sticky are dropped.
constexpr unsigned kPermissionMask = 0170777;

pt::ptime toPtime(const std::tm& broken) {
  return pt::ptime(boost::gregorian::date(static_cast<unsigned short>(broken.tm_year + 1900),
                                          static_cast<unsigned short>(broken.tm_mon + 1),
                                          static_cast<unsigned short>(broken.tm_mday)),
                   pt::time_duration(broken.tm_hour, broken.tm_min, broken.tm_sec));
}

}  // namespace

void KZFPackage::addFileToKZF(const ustring& source, const ustring& destinationName,
                              const std::string& contentType,
                              const std::vector<std::string>& relationshipTypes) {
  throwIfNotOpenForCreate();
  KZFRecordData record(destinationName, false, "");
  addNormalFile(source, record, contentType, relationshipTypes);
}

void KZFPackage::addFileListToKZF(const std::map<ustring, KZFRecordData>& files) {
  throwIfNotOpenForCreate();
  linkedFileMap = files;
  storage->links.indexList(linkedFileMap);
  verbose << "Add file lists into KZF." << std::endl;
  progress = KZFProgress();
  progress.entriesTotal = files.size();
  for (const auto& [source, record] : files) {
    KZFRecordData copy = record;
    addSingleFile(source, copy);
    reportProgress(record.getName());
  }
}

bool KZFPackage::onList(const std::map<ustring, KZFRecordData>& files, const ustring& name,
                        ustring& source) {
  for (const auto& [key, record] : files) {
    if (record.getName() == name) {
      source = key;
      return true;
    }
  }
  return false;
}

void KZFPackage::addSingleFile(const ustring& source, KZFRecordData& record) {
  std::string narrowSource = to_string(source);
  std::string narrowDestination = to_string(record.getName());
  // One lstat answers every question below, and later those of the entry: links are tested
  // without being followed.
  struct stat& status = storage->lastSource.status;
  if (::lstat(narrowSource.c_str(), &status) != 0) {
    storage->lastSource.path.clear();
    if (errno == ENOENT || errno == ENOTDIR) {
      throw DeployedException(KZFPACKAGE_FILE_ENTRY_NOT_EXIST(narrowSource));
    }
    throw fs::filesystem_error("cannot examine the source", fs::path(narrowSource),
                               boost::system::error_code(errno, boost::system::system_category()));
  }
  storage->lastSource.path = narrowSource;
  if (S_ISLNK(status.st_mode)) {
    verbose << "Add symbolic into KZF. Source=" << narrowSource
            << ",Dest_In_KZF=" << narrowDestination << std::endl;
    addSymbolicLink(source, record);
    return;
  }
  if (S_ISREG(status.st_mode)) {
    verbose << "Add file into KZF. Source=" << narrowSource << ",Dest_In_KZF=" << narrowDestination
            << std::endl;
    addNormalFile(source, record, "", {});
  } else if (S_ISDIR(status.st_mode)) {
    verbose << "Add directory into KZF. Source=" << narrowSource
            << ",Dest_In_KZF=" << narrowDestination << std::endl;
    addDirectory(source, record);
  } else {
    throw DeployedException(KZFPACKAGE_FILE_TYPE_UNSUPPORTED(narrowSource));
  }
}

void KZFPackage::addDirectory(const ustring& /*source*/, KZFRecordData& record) {
  ustring encoded = getEncodedURIString(record.getName());
  KZFFileEntry entry(record.getName(), encoded, KZFFileEntryType::Folder);
  extractionManager->addEntry(encoded, entry);
}

void KZFPackage::addNormalFile(const ustring& source, KZFRecordData& record,
                               const std::string& contentType,
                               const std::vector<std::string>& relationshipTypes) {
  auto reader = readerFactory.getReader(source);
  try {
    ustring name = record.getName();
    std::replace(name.begin(), name.end(), u'\\', u'/');

    // The first free part name: /a/f.txt, then /a/f_1.txt, /a/f_2.txt, ... always built from the
    // unchanged base. The number goes before the last "." of the whole name, so when only a
    // folder name has a dot it lands inside that folder name (/d.x/f gives /d_1.x/f).
    const ustring base = getEncodedURIString(name);
    ustring candidate = base;
    const std::size_t dot = base.rfind(u'.');
    for (unsigned n = 1; storage->package.hasPart(opc::model::PartName(candidate)); ++n) {
      ustring number = u"_" + to_ustring(std::to_string(n));
      candidate = dot == ustring::npos ? base + number
                                       : base.substr(0, dot) + number + base.substr(dot);
    }

    std::string type =
        contentType.empty() ? to_string(mapFilenameToContentTypeString(name)) : contentType;
    opc::model::Part part = storage->package.createPart(
        opc::model::PartName(candidate), opc::model::ContentType(type),
        opc::model::StandardPartInfo(kCompressedStorage, 0));
    verbose << "Create part success." << std::endl;

    auto out = part.getOutputStream();
    char buffer[kCopyBufferSize];
    for (;;) {
      long count = reader->read(buffer, kCopyBufferSize, record.getMetaData());
      if (count > 0) {
        auto wanted = static_cast<std::size_t>(count);
        if (out->write(buffer, wanted) < wanted) {
          throw DeployedException(KZFPACKAGE_ERROR_WRITE_KZF_FILE(to_string(candidate)));
        }
        progress.bytesDone += wanted;
      } else if (count == -1) {
        if (reader->getErrorCode() == kReaderZeroLengthError) {
          throw DeployedException(KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE(to_string(source)));
        }
        throw DeployedException(KZFPACKAGE_ERROR_READ_FILE(to_string(source)));
      } else {
        break;
      }
    }

    KZFFileEntry entry(name, candidate, KZFFileEntryType::File);
    addEntryToExtractionManager(source, candidate, entry);
    for (const std::string& relationshipType : relationshipTypes) {
      storage->package.createInternalRelationship(opc::toString(relationshipType),
                                                  part.getName().getURI(), ustring());
    }
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_ERROR_ADD_NORMAL_FILE(to_string(record.getName()), e.what()));
  }
}

bool KZFPackage::lastWriteTime(const std::string& source, std::time_t& written) const {
  // The remembered lstat serves unless the source is a link, whose date is its target's.
  const struct stat* known = storage->knownStatus(source);
  if (known != nullptr && !S_ISLNK(known->st_mode)) {
    written = known->st_mtime;
    return true;
  }
  struct stat followed {};
  if (::stat(source.c_str(), &followed) != 0) return false;
  written = followed.st_mtime;
  return true;
}

void KZFPackage::addEntryToExtractionManager(const ustring& source, const ustring& key,
                                             KZFFileEntry& entry) {
  std::string narrowSource = to_string(source);
  // Transformed files are dated now, broken down as local time; copied files keep their own
  // date, broken down as UTC. Readers of existing packages expect exactly this asymmetry.
  if (readerFactory.willBeTransformed(source)) {
    std::time_t now = std::time(nullptr);
    std::tm broken{};
    if (::localtime_r(&now, &broken) == nullptr) {
      throw std::runtime_error("could not convert calendar time to local time");
    }
    pt::ptime date = toPtime(broken);
    verbose << "set file last modified time to current time @" << date << std::endl;
    entry.setDate(date);
  } else if (std::time_t written = 0; lastWriteTime(narrowSource, written)) {
    std::tm broken{};
    if (::gmtime_r(&written, &broken) == nullptr) {
      throw std::runtime_error("could not convert calendar time to UTC time");
    }
    pt::ptime date = toPtime(broken);
    if (verbose.enabled) {
      verbose << "set file last modified time @"
              << to_string(opc::model::CoreProperties::convertTimeToString(date)) << std::endl;
    }
    entry.setDate(date);
  }

  struct stat own {};
  const struct stat* known = storage->knownStatus(narrowSource);
  if (known != nullptr || ::lstat(narrowSource.c_str(), &own) == 0) {
    unsigned permission = (known != nullptr ? known->st_mode : own.st_mode) & kPermissionMask;
    verbose << "set file permissions to :" << permission << std::endl;
    entry.setPermission(static_cast<unsigned short>(permission));
  }
  extractionManager->addEntry(key, entry);
}

void KZFPackage::serializeExtractionManager() {
  throwIfNotCreate();
  // Written even without entries: extraction refuses a package without a file manifest, and
  // an empty folder must pack to a package that extracts to an empty folder.
  verbose << "Serialize extraction manager into KZF package. Number of entries= "
          << extractionManager->size() << std::endl;
  opc::model::Part part = storage->package.createPart(
      opc::model::PartName(opc::toStringFromASCIIStringLiteral(FILEMANIFEST_PARTNAME)),
      opc::model::ContentType(FILEMANIFEST_CONTENTTYPE),
      opc::model::StandardPartInfo(kCompressedStorage, 0));
  extractionManager->save(*part.getOutputStream(), KZFExtractionSerializer());
  storage->package.createInternalRelationship(
      opc::toStringFromASCIIStringLiteral(KZF_EXTRACTION_RELATIONSHIP), part.getName().getURI(),
      ustring());
}

}  // namespace Quorlith::kzfpackage
