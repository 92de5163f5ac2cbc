// The extractor: re-creates a package's folders, files and symbolic links below a root folder.
// The extraction room's interface: the package facade's `extract` and `verify` call it.
#pragma once

#include <cstdint>
#include <fl/i18n/ustring.hpp>
#include <functional>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <memory>
#include <string>
#include <vector>

namespace opc::model {
class Package;
class PartName;
}  // namespace opc::model

namespace Quorlith::kzfpackage::extraction {

/// Told after each entry is extracted (or passed over) its name and the content bytes written.
using ProgressReport = std::function<void(const fl::i18n::ustring& name, std::uint64_t bytes)>;

/// Checks every entry's name, kind, part and link target, the same checks `Extractor` makes;
/// throws std::runtime_error naming the first entry that fails.
void checkExtractable(const opc::model::Package& package, const std::vector<KZFFileEntry>& entries,
                      const opc::model::PartName& manifest);

/// One extraction, planned whole before anything touches the disk.
class Extractor {
 public:
  /// Plans the extraction of `entries` (the file manifest's, in name order; `manifest` is its own
  /// part) from `package`, selected by `options.only`. Both must outlive the object. Throws
  /// std::runtime_error naming the first entry that fails a check, and DeployedException
  /// KZFPACKAGE_NO_SUCH_ENTRY for a selected name that is no entry.
  Extractor(const opc::model::Package& package, const std::vector<KZFFileEntry>& entries,
            const opc::model::PartName& manifest, const KZFExtractionOptions& options);
  ~Extractor();
  Extractor(const Extractor&) = delete;
  Extractor& operator=(const Extractor&) = delete;

  /// The number of entries `write` goes through, each reported once.
  std::size_t size() const;

  /// Writes the planned entries below `root`, an existing folder. Names that already exist
  /// there are handled as `options.existing` says; a conflict it refuses is a DeployedException
  /// KZFPACKAGE_EXTRACTION_CONFLICT thrown before anything is written. Other failures throw
  /// std::runtime_error naming the entry.
  void write(const std::string& root, const KZFFileReaderFactory& readers,
             const KZFExtractionBudget& budget, const ProgressReport& report);

 private:
  struct Plan;
  const opc::model::Package& package_;
  const std::vector<KZFFileEntry>& entries_;
  KZFExtractionOptions options_;
  std::unique_ptr<Plan> plan_;
};

}  // namespace Quorlith::kzfpackage::extraction
