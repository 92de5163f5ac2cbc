// The destination of one source file inside a package, with the caller's mark, note and metadata.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/Export.hpp>
#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <string>

namespace Quorlith::kzfdatainterfaces {

/// Describes where a source file goes in a package. The mark and the note belong to the
/// caller: they are carried unchanged and never interpreted by the package library.
class KZFDI_API KZFRecordData {
 public:
  /// `name` is the destination name inside the package; `mark` and `note` are the caller's.
  KZFRecordData(const fl::i18n::ustring& name, bool mark, const std::string& note);

  /// The destination name inside the package.
  const fl::i18n::ustring& getName() const { return name_; }
  /// The caller-defined mark given at construction.
  bool isMarked() const { return mark_; }
  /// The caller-defined note given at construction.
  const std::string& getNote() const { return note_; }
  /// The properties handed to the reader on every read of this record's source.
  const KZFMetaData& getMetaData() const { return metaData_; }
  /// The properties, for a caller (or a reader) that adds to them.
  KZFMetaData& getMetaData() { return metaData_; }

 private:
  fl::i18n::ustring name_;
  bool mark_;
  std::string note_;
  KZFMetaData metaData_;
};

}  // namespace Quorlith::kzfdatainterfaces
