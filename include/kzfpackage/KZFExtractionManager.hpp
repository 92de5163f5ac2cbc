// The keyed collection of a package's entries, written as its file manifest.
#pragma once

#include <cstddef>
#include <fl/i18n/ustring.hpp>
#include <kzfpackage/Export.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <map>
#include <opc/Stream.hpp>
#include <vector>

namespace Quorlith::kzfpackage {

class KZFExtractionSerializer;

/// Holds the entries of one package, each under a unique key, ordered by the keys' UTF-16
/// code units (a proper prefix before the longer key). Entries are owned by value; callers
/// receive copies.
class KZF_EXPORT KZFExtractionManager {
 public:
  /// An empty manager.
  KZFExtractionManager();
  virtual ~KZFExtractionManager();
  KZFExtractionManager(const KZFExtractionManager&) = default;
  KZFExtractionManager& operator=(const KZFExtractionManager&) = default;
  KZFExtractionManager(KZFExtractionManager&&) = default;
  KZFExtractionManager& operator=(KZFExtractionManager&&) = default;

  /// Adds a copy of `entry` under `key` unless the key is present already, in which case the
  /// first entry stays and this one is dropped without an error.
  void addEntry(const fl::i18n::ustring& key, const KZFFileEntry& entry);

  /// Copies of all entries in ascending key order (not the order they were added in).
  std::vector<KZFFileEntry> getEntries() const;

  /// Calls `visit` with each entry in ascending key order, without copying any.
  template <typename Visit>
  void forEachEntry(Visit&& visit) const {
    for (const auto& keyed : entries_) visit(keyed.second);
  }

  /// The number of entries.
  std::size_t size() const;
  /// True when the manager holds no entry.
  bool empty() const;

  /// Writes the entries as the file manifest with `serializer` (see KZFExtractionSerializer).
  void save(opc::OutputStream& out, const KZFExtractionSerializer& serializer) const;

  /// Removes every entry, then reads the file manifest in `in` with `serializer`, keying each
  /// entry by its name. What was held before is lost even when the load fails; entries read
  /// before a failure stay.
  void load(opc::InputStream& in, const KZFExtractionSerializer& serializer);

 private:
  std::map<fl::i18n::ustring, KZFFileEntry> entries_;
};

}  // namespace Quorlith::kzfpackage
