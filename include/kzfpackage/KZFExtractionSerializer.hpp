// KZFExtractionSerializer: writes an extraction manager as the file manifest and reads it back.
#pragma once

#include <kzfpackage/Export.hpp>
#include <memory>
#include <opc/Stream.hpp>

namespace Quorlith::kzfpackage {

class KZFExtractionManager;

/// Writes the entries of a KZFExtractionManager as the file manifest document and reads such a
/// document back, validating it against the schema carried in SCHEMA. The reader (with the
/// schema grammar cached) is built once, so one serializer can handle any number of
/// documents; it is used by one thread at a time.
class KZF_EXPORT KZFExtractionSerializer {
 public:
  /// The namespace of the manifest's root element and the schema's target namespace.
  static const char* const NAMESPACE;
  /// The schema every loaded manifest is validated against: one line of XML Schema text.
  static const char* const SCHEMA;
  /// "fileEntries": the root element.
  static const char* const FILEENTRIES_ELEMENT;
  /// "fileEntry": one element per entry.
  static const char* const FILEENTRY_ELEMENT;
  /// "name": the path the entry gets on extraction.
  static const char* const NAME_ATTRIBUTE;
  /// "content": the part name holding the entry's bytes.
  static const char* const CONTENT_ATTRIBUTE;
  /// "type": "File", "SymLink" or "Folder".
  static const char* const TYPE_ATTRIBUTE;
  /// "date": the modification date as an xsd:dateTime in UTC (optional).
  static const char* const DATE_ATTRIBUTE;
  /// "permissions": the permission bits as a decimal number (optional).
  static const char* const PERMISSIONS_ATTRIBUTE;
  /// "platform": the platform tag of the build that wrote the manifest.
  static const char* const PLATFORM_ATTRIBUTE;
  /// "encoding": the process locale's encoding name when the manifest was written.
  static const char* const ENCODING_ATTRIBUTE;

  /// Builds the reader with the schema grammar loaded and cached. Throws
  /// DeployedException KZFPACKAGE_ERROR_LOADING_SCHEMA when the schema cannot be loaded.
  KZFExtractionSerializer();
  virtual ~KZFExtractionSerializer();
  KZFExtractionSerializer(const KZFExtractionSerializer&) = delete;
  KZFExtractionSerializer& operator=(const KZFExtractionSerializer&) = delete;

  /// Writes the manifest of `manager` to `out`: the root with this build's platform tag and
  /// the process locale's encoding name, then one element per entry in the manager's key
  /// order. A date is written only when the entry has one, the permission bits only when
  /// they are not 0. An entry kind outside File, SymLink and Folder throws DeployedException
  /// KZFPACKAGE_FILE_TYPE_UNSUPPORTED (the entry's name), and a name or content holding a
  /// character XML cannot carry (a control character, a lone surrogate) throws
  /// KZFPACKAGE_ERROR_WRITE_XML, both before anything is written. A name or content is
  /// written up to its first NUL. The stream's own errors pass unchanged.
  void save(opc::OutputStream& out, const KZFExtractionManager& manager) const;

  /// Reads a manifest from `in` and adds its entries to `manager`, each keyed by its name (a
  /// repeated name keeps the first entry). Every loaded entry gets a date: the one written,
  /// or not_a_date_time when none was. Permission bits are read as a decimal number and cut
  /// to their low 16 bits. A manifest written under another locale encoding or on another
  /// platform prints a warning line on standard output and loads on. A malformed or invalid
  /// document, an unknown type word or a permission text that is not a number throws
  /// DeployedException KZFPACKAGE_INVALID_XML. A document that is malformed or invalid
  /// anywhere adds nothing; when it is valid but an entry cannot be converted, the entries
  /// before that one stay.
  void load(opc::InputStream& in, KZFExtractionManager& manager) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Quorlith::kzfpackage
