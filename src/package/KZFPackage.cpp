// KZFPackage lifecycle: construction, open, close, destruction and the state checks.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"
#include <KZFSchemaHost.hpp>

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PackageHelper.hpp>

#include <boost/filesystem.hpp>
#include <stdexcept>
#include <sys/stat.h>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using fl::i18n::to_ustring;
using namespace kzf::kzfpackage;

const char* const KZFPackage::FILEMANIFEST_PARTNAME = "/.META/filemanifest.xml";
const char* const KZFPackage::KZFMANIFEST_PARTNAME = "/.META/manifest.xml";
const char* const KZFPackage::KZF_EXTRACTION_RELATIONSHIP =
    KZF_SCHEMA_HOST "/velmor/compiler/2011/relationships/fileManifest";
const char* const KZFPackage::KZF_CONFIGURATION_MANIFEST_RELATIONSHIP =
    KZF_SCHEMA_HOST "/velmor/compiler/2011/relationships/configurationManifest";
const char* const KZFPackage::FILEMANIFEST_CONTENTTYPE =
    "application/vnd.quorlith.velmor.compiler.fileManifest+xml";
const char* const KZFPackage::CONFIGURATIONMANIFEST_CONTENTTYPE =
    "application/vnd.quorlith.velmor.compiler.configurationManifest+xml";
const char* const KZFPackage::VELLMORCODE_CONTENTTYPE =
    "application/vnd.quorlith.velmor.velmorCode;charset=utf-8";
const char* const KZFPackage::VELLMORENCRYPTEDCODE_CONTENTTYPE =
    "application/vnd.quorlith.velmor.velmorEncryptedCode;charset=utf-8";
const char* const KZFPackage::VELLMOREXECUTABLE_CONTENTTYPE =
    "application/vnd.quorlith.velmor.velmorExecutable";
const char* const KZFPackage::VELLMORVARIABLEDATA_CONTENTTYPE =
    "application/vnd.quorlith.velmor.VariableData";
const char* const KZFPackage::OTHERFILES_CONTENTTYPE =
    "application/vnd.quorlith.velmor.compiler.data";

KZFPackage::KZFPackage(const ustring& path, KZFFileReaderFactory factory)
    : mode(Read),
      isOpen(false),
      storage(std::make_unique<KZFPackageStorage>(path)),
      readerFactory(std::move(factory)),
      extractionManager(std::make_unique<KZFExtractionManager>()) {}

KZFPackage::~KZFPackage() {
  // A Create open moved the previous package aside and close never completed: put it back.
  if (storage->tempfileGuard) {
    try {
      boost::system::error_code ignored;
      fs::rename(fs::path(to_string(storage->tempfileGuard->getFileName())),
                 fs::path(to_string(storage->path)), ignored);
    } catch (...) {
      // A destructor must not throw; the backup then stays under its temporary name.
    }
  }
}

void KZFPackage::throwIfNotCreate() {
  if (mode != Create) throw DeployedException(KZFPACKAGE_NOT_FOR_CREATE(to_string(storage->path)));
}

void KZFPackage::throwIfNotRead() {
  if (mode != Read) throw DeployedException(KZFPACKAGE_NOT_OPEN_FOR_READ(to_string(storage->path)));
}

void KZFPackage::throwIfAlreadyOpen() {
  if (isOpen) throw DeployedException(KZFPACKAGE_ALREADY_OPENED(to_string(storage->path)));
}

void KZFPackage::throwIfNotOpen() {
  if (!isOpen) throw DeployedException(KZFPACKAGE_NOT_OPEN(to_string(storage->path)));
}

void KZFPackage::throwIfNotOpenForCreate() {
  throwIfNotOpen();
  throwIfNotCreate();
}

void KZFPackage::throwIfNotOpenForRead() {
  throwIfNotOpen();
  throwIfNotRead();
}

void KZFPackage::open(KZFOpenMode openMode) {
  throwIfAlreadyOpen();
  mode = openMode;
  std::string modeWord;
  try {
    fs::path absolute = fs::absolute(fs::path(to_string(storage->path)), fs::current_path());
    ustring absolutePath = to_ustring(absolute.string());
    if (mode == Read) {
      modeWord = "Read";
      openForRead(absolutePath);
    } else if (mode == Create) {
      modeWord = "Create";
      openForCreate(absolutePath);
    }
    // Any other value opens nothing and touches no file, yet counts as open.
  } catch (const DeployedException&) {
    abandonQuietly();
    throw;
  } catch (const std::exception& e) {
    // Lower-level failures, malformed settings among them, are failures of this open.
    abandonQuietly();
    throw DeployedException(KZFPACKAGE_OPEN_FAILED(to_string(storage->path), modeWord, e.what()));
  } catch (...) {
    // A failed open leaves the object closed, so that a later open can succeed.
    abandonQuietly();
    throw;
  }
  isOpen = true;
}

void KZFPackage::openForRead(const ustring& absolutePath) {
  std::string narrow = to_string(absolutePath);
  verbose << "Open KZF " << narrow << " for read access" << std::endl;
  // Asked without exceptions, so that a failure reads as the reason, not as a library call.
  boost::system::error_code ec;
  if (!fs::exists(fs::path(narrow), ec)) {
    if (ec && ec != boost::system::errc::no_such_file_or_directory) {
      throw std::runtime_error(narrow + ": " + ec.message());
    }
    throw DeployedException(KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE(narrow));
  }
  // The settings are read through a first open; the package is then opened afresh, so that
  // the caller starts from a package nothing has been read from yet.
  storage->package.open(opc::interfaces::OpenMode::Read);
  initializeKZFSettings();
  storage->package.close(false);
  storage->package.open(opc::interfaces::OpenMode::Read);
}

void KZFPackage::openForCreate(const ustring& absolutePath) {
  std::string narrow = to_string(absolutePath);
  verbose << "Create KZF " << narrow << std::endl;
  fs::path target(narrow);
  storage->physicalPackage.setCompressionLevel(createOptions.compressionLevel);
  storage->physicalPackage.setLatestItemTime(createOptions.latestDate);
  storage->startCreating();
  boost::system::error_code ec;
  const bool exists = fs::exists(target, ec);
  if (ec && ec != boost::system::errc::no_such_file_or_directory) {
    throw std::runtime_error(narrow + ": " + ec.message());
  }
  if (exists) {
    // Only the owner-write bit is tested, whoever the caller is: a package the owner marked
    // read-only is not replaced, and nothing has moved yet when this refuses.
    struct stat st {};
    if (::stat(narrow.c_str(), &st) != 0 || (st.st_mode & S_IWUSR) == 0) {
      throw DeployedException(KZFPACKAGE_OPEN_EXISTING_FILE_ERROR(narrow));
    }
    // Replaced by close's rename of the complete new zip: the old file stays where it is.
    if (createOptions.replaceOnClose) {
      storage->package.open(opc::interfaces::OpenMode::Create);
      return;
    }
    storage->tempfileGuard =
        std::make_unique<opc::util::TempfileGuard>(to_ustring(target.parent_path().string()));
    fs::path backup(to_string(storage->tempfileGuard->getFileName()));
    fs::remove(backup);
    fs::rename(target, backup);
  }
  storage->package.open(opc::interfaces::OpenMode::Create);
}

void KZFPackage::close() {
  if (!isOpen) return;
  isOpen = false;
  try {
    if (mode == Create) writeDeferredContent();
    storage->package.close(false);
  } catch (const std::runtime_error& e) {
    abandonQuietly();
    throw DeployedException(KZFPACKAGE_CLOSE_FAILED(to_string(storage->path), e.what()));
  } catch (...) {
    abandonQuietly();
    throw;
  }
  storage->tempfileGuard.reset();
}

void KZFPackage::abandonQuietly() noexcept {
  // Nothing half-written may appear at the package path: drop the temporary zip. The backup
  // guard stays, so the destructor restores the previous package.
  try {
    if (storage->package.isOpen()) storage->package.close(true);
  } catch (...) {
  }
}

void KZFPackage::writeDeferredContent() {
  verbose << "Processing symbolic linked file list in close. Linked file list size ="
          << linkedFileList.size() << std::endl;
  // Link targets queued while adding enter the package after all directly added content; the
  // walk also reaches pairs that these calls append, so chains of links are followed.
  progress.phase = KZFProgress::Phase::Adding;
  for (auto it = linkedFileList.begin(); it != linkedFileList.end(); ++it) {
    addSingleFile(it->first, it->second);
    reportProgress(it->second.getName());
  }
  // Every link is known now: each must lead, through the others, to a place inside the tree.
  try {
    storage->rules.checkLinks();
  } catch (const pathsafety::EntryRefusal& refusal) {
    const auto source = storage->linkSources.find(refusal.entry);
    refuseSource(source != storage->linkSources.end() ? source->second : to_ustring(refusal.entry),
                 refusal);
  }
  verbose << "Add kzf manifest package relationship in close." << std::endl;
  if (settings) writeConfigurationManifest();
  verbose << "Serialize the kzf file manifest xml file for extraction in close" << std::endl;
  serializeExtractionManager();
}

KZFProgressObserver::~KZFProgressObserver() = default;

void KZFPackage::setProgressObserver(KZFProgressObserver* observer) { progressObserver = observer; }

void KZFPackage::reportProgress(const ustring& name) {
  ++progress.entriesDone;
  if (progressObserver == nullptr) return;
  progress.name = name;
  progressObserver->onProgress(progress);
}

void KZFPackage::setCreateOptions(const KZFCreateOptions& options) { createOptions = options; }

std::string KZFPackage::temporaryFilePath() const {
  return isOpen && mode == Create ? storage->physicalPackage.temporaryPath() : std::string();
}

void KZFPackage::setOPCCoreProperties(const opc::model::CoreProperties& properties) {
  throwIfNotOpenForCreate();
  opc::model::PackageHelper::createOrUpdateCoreProperties(storage->package, properties);
}

}  // namespace Quorlith::kzfpackage
