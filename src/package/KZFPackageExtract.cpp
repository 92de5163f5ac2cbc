// KZFPackage::extract: loads the file manifest and hands the extraction to the extractor.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <KZFExtractor.hpp>
#include <boost/filesystem.hpp>
#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <opc/String.hpp>
#include <stdexcept>

namespace Quorlith::kzfpackage {

namespace fs = boost::filesystem;
using fl::i18n::DeployedException;
using fl::i18n::to_string;
using namespace kzf::kzfpackage;

namespace {

/// Creates the extraction root when it is missing, naming it and the reason when that fails.
void createRoot(const std::string& root) {
  boost::system::error_code error;
  if (fs::exists(root, error)) return;
  verbose << "Create extract root:" << root << std::endl;
  fs::create_directories(root, error);
  if (error) throw DeployedException(KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR(root, error.message()));
}

}  // namespace

void KZFPackage::extract(const ustring& root) { extract(root, KZFExtractionOptions()); }

void KZFPackage::extract(const ustring& root, const KZFExtractionOptions& options) {
  throwIfNotOpenForRead();
  const std::string narrowRoot = to_string(root);
  verbose << "Extract KZF package to:" << narrowRoot << std::endl;
  try {
    auto relationships = storage->package.getRelationshipsByType(
        opc::toStringFromASCIIStringLiteral(KZF_EXTRACTION_RELATIONSHIP));
    if (relationships.empty()) {
      createRoot(narrowRoot);
      throw std::runtime_error("missing kzf file manifest file.");
    }
    const opc::model::PartName manifestName(relationships.front().getTargetURI(true));
    opc::model::Part manifest = storage->package.getPart(manifestName);
    extractionManager = std::make_unique<KZFExtractionManager>();
    auto in = manifest.getInputStream();
    extractionManager->load(*in, KZFExtractionSerializer());
    const std::vector<KZFFileEntry> entries = extractionManager->getEntries();
    // Planned whole (every check, the selection) before the root is made or anything written.
    extraction::Extractor extractor(storage->package, entries, manifestName, options);
    createRoot(narrowRoot);
    progress = KZFProgress();
    progress.phase = KZFProgress::Phase::Extracting;
    progress.entriesTotal = extractor.size();
    extractor.write(narrowRoot, readerFactory, extractionBudget,
                    [this](const ustring& name, std::uint64_t bytes) {
                      progress.bytesDone += bytes;
                      reportProgress(name);
                    });
  } catch (const std::runtime_error& e) {
    throw DeployedException(KZFPACKAGE_EXTRACT_FAILED(narrowRoot, e.what()));
  }
}

void KZFPackage::checkExtractable(const std::vector<KZFFileEntry>& entries,
                                  const opc::model::PartName& manifest) const {
  extraction::checkExtractable(storage->package, entries, manifest);
}

void KZFPackage::setExtractionBudget(const KZFExtractionBudget& budget) {
  extractionBudget = budget;
}

}  // namespace Quorlith::kzfpackage
