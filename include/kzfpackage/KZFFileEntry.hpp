// One file, folder or symbolic link of a package: where it goes, which part holds it, its kind,
// date and permission bits.
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/optional.hpp>
#include <cstdint>
#include <fl/i18n/ustring.hpp>
#include <kzfpackage/Export.hpp>

namespace Quorlith::kzfpackage {

/// The kind of an entry. The numbers are fixed: the file manifest maps them to its words
/// "File", "SymLink" and "Folder", and the link kind comes before the folder kind.
enum class KZFFileEntryType : std::int32_t { File = 0, SymLink = 1, Folder = 2 };

/// A value describing one entry of a package's file manifest.
class KZF_EXPORT KZFFileEntry {
 public:
  /// `name` is the path the entry gets on extraction (relative to the extraction root),
  /// `content` the name of the part holding its bytes. No date, permission 0.
  KZFFileEntry(const fl::i18n::ustring& name, const fl::i18n::ustring& content,
               KZFFileEntryType type);
  virtual ~KZFFileEntry();
  KZFFileEntry(const KZFFileEntry&) = default;
  KZFFileEntry& operator=(const KZFFileEntry&) = default;
  KZFFileEntry(KZFFileEntry&&) = default;
  KZFFileEntry& operator=(KZFFileEntry&&) = default;

  /// The path the entry gets on extraction.
  fl::i18n::ustring getName() const;
  /// The name of the part that holds the entry's bytes.
  fl::i18n::ustring getContent() const;

  KZFFileEntryType getType() const;
  void setType(KZFFileEntryType type);

  /// The file mode bits; 0 when none were recorded.
  unsigned short getPermission() const;
  /// Stores `permission` exactly as given: the bits are not masked.
  void setPermission(unsigned short permission);

  /// The modification date; empty until setDate is called.
  boost::optional<boost::posix_time::ptime> getDate() const;
  /// Sets the modification date, replacing an earlier one. A date cannot be removed again.
  void setDate(boost::posix_time::ptime date);

 private:
  fl::i18n::ustring name_;
  fl::i18n::ustring content_;
  KZFFileEntryType type_;
  boost::optional<boost::posix_time::ptime> date_;
  unsigned short permission_ = 0;
};

}  // namespace Quorlith::kzfpackage
