// KZFPackage: creates, reads and extracts one KZF package file.
#pragma once

#include <cstdint>
#include <ctime>
#include <fl/i18n/ustring.hpp>
#include <functional>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <kzfdatainterfaces/KZFRecordData.hpp>
#include <kzfpackage/Export.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFProgressObserver.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace opc::model {
class CoreProperties;
class PartName;
}  // namespace opc::model

namespace Quorlith::kzfpackage {

using fl::i18n::ustring;
using kzfdatainterfaces::KZFFileReaderFactory;
using kzfdatainterfaces::KZFRecordData;

class KZFExtractionManager;
struct KZFPackageStorage;

/// One entry of a package's file manifest with the size of its stored content.
struct KZF_EXPORT KZFEntryInfo {
  KZFFileEntry entry;
  /// Uncompressed size of the entry's part (for a link: its target text); 0 for folders.
  std::uint64_t size;
  /// Stored (compressed) size of the entry's part; 0 for folders.
  std::uint64_t compressedSize = 0;
  /// For a link: the target text it is stored with; empty otherwise.
  std::string linkTarget;
};

/// Limits on what one `extract` may write; 0 means no limit (the default). The zip reader's
/// check of each part's compression ratio applies whatever these say.
struct KZF_EXPORT KZFExtractionBudget {
  /// Content bytes all files of one extraction may write together.
  std::uint64_t maxTotalBytes = 0;
  /// Content bytes any one file may hold.
  std::uint64_t maxFileBytes = 0;
};

/// What a symbolic link brings into the package from outside the tree it was packed from: its
/// target and, for a folder, everything below it.
struct KZFOutsideTarget {
  ustring link;               ///< the link, as its source path
  ustring target;             ///< the absolute target outside the tree
  std::uint64_t entries = 0;  ///< entries stored for it (the target and what a folder holds)
  std::uint64_t bytes = 0;    ///< content bytes of those entries
};

/// How a package opened for `Create` is written. The defaults give the behaviour described at
/// `KZFPackage`; each field is an extension a caller asks for.
struct KZF_EXPORT KZFCreateOptions {
  /// Leave an existing package at its path, whole, until close renames the complete new one
  /// over it: no backup is moved aside, and an interrupted run leaves the old package in place.
  bool replaceOnClose = false;
  /// Compression level from 0 (stored) to 9, as deflate levels go; -1 keeps the library's
  /// measured default.
  int compressionLevel = -1;
  /// When set, no date the package records (zip headers, entry dates) is later than this many
  /// seconds since the epoch: dates past it are recorded as it.
  std::optional<std::int64_t> latestDate;
  /// Refuse every symbolic link whose target lies outside the tree it was packed from, instead
  /// of storing the target (and a folder's contents) at its mirrored place in the package.
  bool refuseOutsideLinks = false;
  /// Bounds on what links may bring in from outside their tree, all links together: entries
  /// and content bytes; 0 means no bound. The link that passes one is refused.
  std::uint64_t maxOutsideEntries = 0;
  std::uint64_t maxOutsideBytes = 0;
  /// Called once for each target outside the tree that a link brings in.
  std::function<void(const KZFOutsideTarget&)> onOutsideTarget;
};

/// What an extraction does where a name of the package already exists below its root. A folder
/// where the package has a folder is never a conflict.
enum class KZFExistingNames {
  /// As `extract(root)` always did: a file replaces what is there, a link over a taken name
  /// fails when it is reached, after the entries before it were written.
  Unchecked,
  /// Any entry whose name exists refuses the extraction before anything is written.
  Refuse,
  /// Files and links of the package replace the files and links there (written beside them and
  /// renamed over them, never through them); other names there are left alone. A folder where
  /// the package has a file or a link, or the reverse, refuses the extraction before anything
  /// is written.
  Replace
};

/// What one `extract` writes. The defaults give `extract(root)`.
struct KZF_EXPORT KZFExtractionOptions {
  KZFExistingNames existing = KZFExistingNames::Unchecked;
  /// When not empty, only these entries (a folder with everything below it), the entries their
  /// links lead to and the folders above them are extracted. A name that is no entry of the
  /// package refuses the extraction before anything is written.
  std::vector<ustring> only;
};

/// How a package is opened.
enum KZFOpenMode {
  Read = 0,   ///< open an existing package for reading and extraction
  Create = 1  ///< write a new package (replacing any file at the path when close succeeds)
};

/// One KZF package file. Construct it on a path, `open` it for `Create` or `Read`, add content
/// or extract, and `close` it. Creating over an existing file keeps the old file as a backup
/// beside it (a fresh hidden temporary name in the same folder) until `close` succeeds; if the
/// object is destroyed without a successful `close`, the backup is renamed back to the path.
class KZF_EXPORT KZFPackage {
 public:
  static const char* const FILEMANIFEST_PARTNAME;
  static const char* const KZFMANIFEST_PARTNAME;
  static const char* const KZF_EXTRACTION_RELATIONSHIP;
  static const char* const KZF_CONFIGURATION_MANIFEST_RELATIONSHIP;
  static const char* const FILEMANIFEST_CONTENTTYPE;
  static const char* const CONFIGURATIONMANIFEST_CONTENTTYPE;
  static const char* const VELLMORCODE_CONTENTTYPE;
  static const char* const VELLMORENCRYPTEDCODE_CONTENTTYPE;
  static const char* const VELLMOREXECUTABLE_CONTENTTYPE;
  static const char* const VELLMORVARIABLEDATA_CONTENTTYPE;
  static const char* const OTHERFILES_CONTENTTYPE;

  /// Binds the object to `path` and copies `factory`; touches no file.
  KZFPackage(const ustring& path, KZFFileReaderFactory factory);
  /// Restores the backup of a replaced package if `close` never completed.
  ~KZFPackage();
  KZFPackage(const KZFPackage&) = delete;
  KZFPackage& operator=(const KZFPackage&) = delete;

  /// Opens the package. `Read` loads its settings; `Create` moves an existing file aside.
  void open(KZFOpenMode mode);
  /// Closes the package; for `Create` writes the deferred link targets, the manifests and the
  /// zip file. Does nothing when the package is not open.
  void close();

  /// Sets the OPC core properties (title, creator, ...) of a package open for `Create`.
  void setOPCCoreProperties(const opc::model::CoreProperties& properties);

  /// Stores one regular file under `destinationName` with an explicit content type (the
  /// mapped one when empty) and package-level relationships of the given types to its part.
  void addFileToKZF(const ustring& source, const ustring& destinationName,
                    const std::string& contentType,
                    const std::vector<std::string>& relationshipTypes);
  /// Adds every source (key) under its record's destination name, in key order: regular files
  /// become parts, folders become folder entries, symbolic links are stored as links.
  void addFileListToKZF(const std::map<ustring, KZFRecordData>& files);
  /// True when some record of `files` has exactly the destination `name`; `source` then
  /// receives its key.
  bool onList(const std::map<ustring, KZFRecordData>& files, const ustring& name, ustring& source);

  /// Part name for a destination name: percent-encoded, with one leading "/".
  ustring getEncodedURIString(const ustring& name);
  /// Content type for a destination name (code, enciphered code, native extension, data).
  ustring mapFilenameToContentTypeString(const ustring& name);
  /// True when the name ends in one of the Windows executable extensions (case-sensitive).
  bool isWindowsExecutable(const ustring& path);

  /// Stores a copy of `settings`; a later close of a `Create` package writes them. Accepted in
  /// any state.
  void setKZFSettings(const KZFSettings& settings);
  /// A copy of the package's settings (default settings when it has none).
  KZFSettings getKZFSettings();
  /// The settings of a package extracted to `directory`, read from its ".META/manifest.xml".
  static KZFSettings getKZFSettingsFromExtractedKZFLocation(const ustring& directory);

  /// Reports progress of addFileListToKZF, of close's deferred link targets and of extract to
  /// `observer` (not owned; null stops the reports). Without an observer nothing changes.
  void setProgressObserver(KZFProgressObserver* observer);

  /// The file manifest's entries in name order with their content sizes, for a package open
  /// for `Read`. A package without a file manifest lists nothing.
  std::vector<KZFEntryInfo> listEntries();
  /// True when the package open for `Read` has a file manifest, which makes a zip a KZF
  /// package (every package with content has one).
  bool hasFileManifest();
  /// Checks a package open for `Read`: every part reads back with its CRC and size, the file
  /// manifest and the configuration manifest load, and every manifest entry's part exists.
  /// Returns one line per problem found (empty: the package is sound).
  std::vector<std::string> verify();

  /// Extracts the whole package below `root` (created when missing) as its file manifest
  /// lists it: folders, files with their dates and permission bits, and symbolic links.
  /// Nothing is written outside `root`: every entry name and link target is checked before
  /// anything touches the disk, folders are reached without following links, and each file is
  /// written under a temporary name and renamed over its destination.
  void extract(const ustring& root);
  /// Extracts as `extract(root)` does, with `options` deciding which entries are written and
  /// what happens to names that already exist below `root`.
  void extract(const ustring& root, const KZFExtractionOptions& options);
  /// Sets how later `Create` opens write the package (the defaults until set).
  void setCreateOptions(const KZFCreateOptions& options);
  /// While the package is open for `Create`: the temporary file the new package is being
  /// written to, which close renames onto the path; empty otherwise. A program that must remove
  /// it when it is interrupted (from a signal handler) takes the name from here.
  std::string temporaryFilePath() const;
  /// Sets the limits later calls of `extract` enforce (unlimited until set).
  void setExtractionBudget(const KZFExtractionBudget& budget);

 private:
  KZF_LOCAL void throwIfNotCreate();
  KZF_LOCAL void throwIfNotRead();
  KZF_LOCAL void throwIfAlreadyOpen();
  KZF_LOCAL void throwIfNotOpen();
  KZF_LOCAL void throwIfNotOpenForCreate();
  KZF_LOCAL void throwIfNotOpenForRead();

  KZF_LOCAL void openForRead(const ustring& absolutePath);
  KZF_LOCAL void openForCreate(const ustring& absolutePath);
  KZF_LOCAL void writeDeferredContent();
  KZF_LOCAL void abandonQuietly() noexcept;
  KZF_LOCAL void reportProgress(const ustring& name);
  KZF_LOCAL void initializeKZFSettings();
  KZF_LOCAL void writeConfigurationManifest();

  KZF_LOCAL void addSingleFile(const ustring& source, KZFRecordData& record);
  KZF_LOCAL void addNormalFile(const ustring& source, KZFRecordData& record,
                               const std::string& contentType,
                               const std::vector<std::string>& relationshipTypes);
  KZF_LOCAL void addDirectory(const ustring& source, KZFRecordData& record);
  KZF_LOCAL void addEntryToExtractionManager(const ustring& source, const ustring& key,
                                             KZFFileEntry& entry);
  KZF_LOCAL bool lastWriteTime(const std::string& source, std::time_t& written) const;
  KZF_LOCAL void serializeExtractionManager();

  /// Applies every check extraction makes before it writes (names, kinds, parts, links);
  /// throws std::runtime_error naming the first entry that fails.
  KZF_LOCAL void checkExtractable(const std::vector<KZFFileEntry>& entries,
                                  const opc::model::PartName& manifest) const;

  // Symbolic links: the link read and mapped into the package (the mapping itself lives in
  // the links room), stored as a link part, and its target queued for close.
  KZF_LOCAL void computeKZFLinkPaths(kzfdatainterfaces::KZFMetaData& metaData,
                                     const ustring& sourceRoot, const ustring& rootPlace,
                                     const ustring& source, const ustring& destination,
                                     ustring& linkTarget, ustring& mappedTarget,
                                     ustring& linkContent);
  KZF_LOCAL void addSymbolicLink(const ustring& source, KZFRecordData& record);
  KZF_LOCAL void addLinkedFileToList(const ustring& source, const ustring& destination,
                                     const ustring& target, const ustring& mappedTarget,
                                     const ustring& sourceRoot);
  KZF_LOCAL bool inLinkedFileList(const ustring& path);
  KZF_LOCAL bool inLinkedFileListAsTarget(const ustring& place, ustring& sourceOut);

  KZFOpenMode mode;
  bool isOpen;
  std::unique_ptr<KZFPackageStorage> storage;
  std::list<std::pair<ustring, KZFRecordData>> linkedFileList;
  std::map<ustring, KZFRecordData> linkedFileMap;
  KZFFileReaderFactory readerFactory;
  std::unique_ptr<KZFExtractionManager> extractionManager;
  std::unique_ptr<KZFSettings> settings;
  KZFProgressObserver* progressObserver = nullptr;
  KZFProgress progress;
  KZFExtractionBudget extractionBudget;
  KZFCreateOptions createOptions;
};

/// True when the path's extension names a native-extension file; `platform` then receives
/// the platform tag (e.g. ".vxfa64" gives "glnxa64"). Otherwise `platform` is left unchanged.
KZF_EXPORT bool isVxfFile(const ustring& path, ustring& platform);

/// A new table from native-extension file extension to platform tag.
KZF_EXPORT std::map<ustring, ustring> createVxfFileExtensionMap();

}  // namespace Quorlith::kzfpackage
