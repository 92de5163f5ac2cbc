// The keyed collection of a package's entries, written as its file manifest.
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>

namespace Quorlith::kzfpackage {

KZFExtractionManager::KZFExtractionManager() = default;

KZFExtractionManager::~KZFExtractionManager() = default;

void KZFExtractionManager::addEntry(const fl::i18n::ustring& key, const KZFFileEntry& entry) {
  // Entries mostly arrive in key order (a manifest is written in it, a tree is walked in
  // about it): the hint makes each such insertion constant time instead of a search.
  entries_.try_emplace(entries_.end(), key, entry);
}

std::vector<KZFFileEntry> KZFExtractionManager::getEntries() const {
  std::vector<KZFFileEntry> result;
  result.reserve(entries_.size());
  for (const auto& keyed : entries_) result.push_back(keyed.second);
  return result;
}

std::size_t KZFExtractionManager::size() const { return entries_.size(); }

bool KZFExtractionManager::empty() const { return entries_.empty(); }

void KZFExtractionManager::save(opc::OutputStream& out,
                                const KZFExtractionSerializer& serializer) const {
  serializer.save(out, *this);
}

void KZFExtractionManager::load(opc::InputStream& in, const KZFExtractionSerializer& serializer) {
  entries_.clear();
  serializer.load(in, *this);
}

}  // namespace Quorlith::kzfpackage
