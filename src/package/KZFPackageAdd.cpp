// Adding files, folders and file lists to a package open for creation; the file manifest part.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/Describe.hpp>
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

/// The source's date broken down as a date the manifest holds. The date library takes years
/// 1400 to 9999 only; a source dated outside them is refused, naming it.
pt::ptime dateOf(const std::tm& broken, const ustring& source) {
  try {
    return toPtime(broken);
  } catch (const std::out_of_range& e) {
    throw DeployedException(KZFPACKAGE_VALUE_NOT_STORABLE(
        fl::i18n::describe(source),
        "its date (year " + std::to_string(broken.tm_year + 1900) +
            ") lies outside the years 1400 to 9999 a package can hold"));
  }
}

/// Narrows a text for the file system, or refuses the source it belongs to.
std::string narrowOrRefuse(const ustring& text, const ustring& source, const char* what) {
  try {
    return to_string(text);
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_VALUE_NOT_STORABLE(
        fl::i18n::describe(source),
        std::string(what) + " has no form in the process encoding: " + e.what()));
  }
}

/// Runs one add step for `source`: the library's own errors pass, and any other failure (the
/// file system, the package) becomes an error naming the source.
template <typename Step>
void addingSource(const ustring& source, Step step) {
  try {
    step();
  } catch (const DeployedException&) {
    throw;
  } catch (const std::exception& e) {
    throw DeployedException(KZFPACKAGE_ERROR_ADD_NORMAL_FILE(fl::i18n::describe(source), e.what()));
  }
}

}  // namespace

void refuseSource(const ustring& source, const pathsafety::EntryRefusal& refusal) {
  const std::string shown = fl::i18n::describe(source);
  const std::string reason = "\"" + refusal.entry + "\": " + refusal.reason;
  switch (refusal.rule) {
    case pathsafety::Rule::Name:
      throw DeployedException(KZFPACKAGE_NAME_NOT_STORABLE(shown, reason));
    case pathsafety::Rule::Place:
      throw DeployedException(KZFPACKAGE_NAME_TAKEN(shown, reason));
    case pathsafety::Rule::Link:
      throw DeployedException(KZFPACKAGE_LINK_NOT_STORABLE(shown, reason));
    default:
      throw DeployedException(KZFPACKAGE_ERROR_ADD_NORMAL_FILE(shown, reason));
  }
}

pathsafety::EntryPath admitOrRefuse(pathsafety::EntryRules& rules, const ustring& source,
                                    const ustring& name, KZFFileEntryType type) {
  try {
    return rules.admit(name, type);
  } catch (const pathsafety::EntryRefusal& refusal) {
    refuseSource(source, refusal);
  }
}

ustring KZFPackageStorage::takeFreePartName(const ustring& base) {
  // The first free part name: /a/f.txt, then /a/f_1.txt, /a/f_2.txt, ... always built from the
  // unchanged base. The number goes before the last "." of the whole name, so when only a
  // folder name has a dot it lands inside that folder name (/d.x/f gives /d_1.x/f).
  const auto folderTaken = [this](const std::string& key) {
    for (std::size_t slash = key.find('/'); slash != std::string::npos;
         slash = key.find('/', slash + 1)) {
      if (partKeys.count(key.substr(0, slash)) != 0) return true;
    }
    return false;
  };
  ustring from = base;
  std::string key = opc::model::PartName(from).getEquivalenceKey();
  // When a part holds the place of one of the name's folders ("/x" taken, "/X/y" wanted), no
  // number on the last name helps: the part is named flat instead, its "/" written as "%5C"
  // the way link parts are, which no folder of another part can clash with. The entry keeps
  // its own name; only the part that holds its bytes is named so.
  if (folderTaken(key)) {
    from = u"/";
    for (std::size_t i = 1; i < base.size(); ++i) {
      if (base[i] == u'/') {
        from += u"%5C";
      } else {
        from += base[i];
      }
    }
    key = opc::model::PartName(from).getEquivalenceKey();
  }
  ustring candidate = from;
  const std::size_t dot = from.rfind(u'.');
  const auto taken = [&] {
    return partKeys.count(key) != 0 || partFolderKeys.count(key) != 0 || folderTaken(key) ||
           package.hasPart(opc::model::PartName(candidate));
  };
  for (unsigned n = 1; taken(); ++n) {
    const ustring number = u"_" + to_ustring(std::to_string(n));
    candidate = dot == ustring::npos || dot == 0 ? from + number
                                                 : from.substr(0, dot) + number + from.substr(dot);
    key = opc::model::PartName(candidate).getEquivalenceKey();
  }
  partKeys.insert(key);
  for (std::size_t slash = key.find('/'); slash != std::string::npos;
       slash = key.find('/', slash + 1)) {
    partFolderKeys.insert(key.substr(0, slash));
  }
  return candidate;
}

void KZFPackage::addFileToKZF(const ustring& source, const ustring& destinationName,
                              const std::string& contentType,
                              const std::vector<std::string>& relationshipTypes) {
  throwIfNotOpenForCreate();
  KZFRecordData record(destinationName, false, "");
  addingSource(source, [&] { addNormalFile(source, record, contentType, relationshipTypes); });
}

void KZFPackage::addFileListToKZF(const std::map<ustring, KZFRecordData>& files) {
  throwIfNotOpenForCreate();
  linkedFileMap = files;
  storage->links.indexList(linkedFileMap);
  verbose << "Add file lists into KZF." << std::endl;
  progress = KZFProgress();
  progress.entriesTotal = files.size();
  for (const auto& file : files) {
    const ustring& source = file.first;
    KZFRecordData copy = file.second;
    addingSource(source, [&] { addSingleFile(source, copy); });
    reportProgress(file.second.getName());
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
  std::string narrowSource = narrowOrRefuse(source, source, "its path");
  std::string narrowDestination = narrowOrRefuse(record.getName(), source, "its name");
  // One lstat answers every question below, and later those of the entry: links are tested
  // without being followed. It serves this call only: the source may change before the next.
  struct Forget {
    KZFPackageStorage::SourceStatus& last;
    ~Forget() { last.path.clear(); }
  } forget{storage->lastSource};
  struct stat& status = storage->lastSource.status;
  if (::lstat(narrowSource.c_str(), &status) != 0) {
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

void KZFPackage::addDirectory(const ustring& source, KZFRecordData& record) {
  admitOrRefuse(storage->rules, source, record.getName(), KZFFileEntryType::Folder);
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
    admitOrRefuse(storage->rules, source, name, KZFFileEntryType::File);
    const ustring candidate = storage->takeFreePartName(getEncodedURIString(name));

    std::string type =
        contentType.empty() ? to_string(mapFilenameToContentTypeString(name)) : contentType;
    // The zip header carries the date the file manifest records (the zip writer bounds it).
    opc::model::StandardPartInfo info(kCompressedStorage, 0);
    if (readerFactory.willBeTransformed(source)) {
      info.setModificationTime(std::time(nullptr));
    } else if (std::time_t written = 0; lastWriteTime(to_string(source), written)) {
      info.setModificationTime(written);
    }
    opc::model::Part part = storage->package.createPart(
        opc::model::PartName(candidate), opc::model::ContentType(type), info);
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
    if (createOptions.latestDate && now > *createOptions.latestDate) now = *createOptions.latestDate;
    std::tm broken{};
    if (::localtime_r(&now, &broken) == nullptr) {
      throw std::runtime_error("could not convert calendar time to local time");
    }
    pt::ptime date = dateOf(broken, source);
    verbose << "set file last modified time to current time @" << date << std::endl;
    entry.setDate(date);
  } else if (std::time_t written = 0; lastWriteTime(narrowSource, written)) {
    if (createOptions.latestDate && written > *createOptions.latestDate) {
      written = static_cast<std::time_t>(*createOptions.latestDate);
    }
    std::tm broken{};
    if (::gmtime_r(&written, &broken) == nullptr) {
      throw std::runtime_error("could not convert calendar time to UTC time");
    }
    pt::ptime date = dateOf(broken, source);
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
  if (extractionManager->empty()) return;
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
