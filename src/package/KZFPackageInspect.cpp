// Looking into a package open for reading: its file manifest with sizes, and a full check.
#include <kzfpackage/KZFPackage.hpp>

#include "KZFPackageStorage.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <opc/String.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>

#include <boost/optional.hpp>
#include <utility>

namespace Quorlith::kzfpackage {

using fl::i18n::DeployedException;
using namespace kzf::kzfpackage;

namespace {

/// The part an entry's content names, when that is a valid part name of an existing part.
boost::optional<opc::model::PartName> existingPart(const opc::model::Package& package,
                                                   const ustring& content) {
  try {
    opc::model::PartName name{opc::model::URI(content)};
    if (package.hasPart(name)) return name;
  } catch (const std::runtime_error&) {
    // Not a valid part name: no such part.
  }
  return boost::none;
}

/// The target of the first package relationship of `type`, if there is one.
boost::optional<opc::model::PartName> relationshipTarget(const opc::model::Package& package,
                                                         const char* type) {
  auto relationships = package.getRelationshipsByType(opc::toStringFromASCIIStringLiteral(type));
  if (relationships.empty()) return boost::none;
  return opc::model::PartName(relationships.front().getTargetURI(true));
}

std::string narrow(const ustring& text) { return fl::i18n::to_string(text); }

}  // namespace

std::vector<KZFEntryInfo> KZFPackage::listEntries() {
  throwIfNotOpenForRead();
  std::vector<KZFEntryInfo> result;
  auto manifestName = relationshipTarget(storage->package, KZF_EXTRACTION_RELATIONSHIP);
  if (!manifestName) return result;
  KZFExtractionManager manager;
  auto in = storage->package.getPart(*manifestName).getInputStream();
  manager.load(*in, KZFExtractionSerializer());

  std::vector<KZFFileEntry> entries = manager.getEntries();
  result.reserve(entries.size());
  for (KZFFileEntry& entry : entries) {
    KZFEntryInfo info{std::move(entry), 0, 0, std::string()};
    if (info.entry.getType() != KZFFileEntryType::Folder) {
      if (auto part = existingPart(storage->package, info.entry.getContent())) {
        if (const auto* item = storage->physicalPackage.findItem(part->getItemName())) {
          info.size = item->size;
          info.compressedSize = item->compressedSize;
        }
        if (info.entry.getType() == KZFFileEntryType::SymLink) {
          auto target = storage->package.getPart(*part).getInputStream();
          char buffer[4096];
          for (std::size_t n; (n = target->read(buffer, sizeof buffer)) > 0;) {
            info.linkTarget.append(buffer, n);
          }
        }
      }
    }
    result.push_back(std::move(info));
  }
  return result;
}

bool KZFPackage::hasFileManifest() {
  throwIfNotOpenForRead();
  return relationshipTarget(storage->package, KZF_EXTRACTION_RELATIONSHIP).has_value();
}

std::vector<std::string> KZFPackage::verify() {
  throwIfNotOpenForRead();
  std::vector<std::string> problems;

  // Every part reads to its end: the container checks each one's size and CRC there.
  char buffer[65536];
  for (const opc::model::Part& part : storage->package.getParts()) {
    try {
      auto in = part.getInputStream();
      while (in->read(buffer, sizeof buffer) != 0) {
      }
    } catch (const std::exception& e) {
      const DeployedException problem(
          KZFPACKAGE_DAMAGED_PART(narrow(part.getName().toString()), e.what()));
      problems.push_back(problem.message());
    }
  }

  // A manifest that cannot be found or read is one problem; the check goes on.
  // Each problem is said through the message catalog, in the user's language.
  auto check = [&problems](const auto& describe, const auto& step) {
    try {
      step();
    } catch (const std::exception& e) {
      problems.push_back(DeployedException(describe(e.what())).message());
    }
  };
  const auto fileManifest = [](std::string reason) {
    return KZFPACKAGE_DAMAGED_FILE_MANIFEST(std::move(reason));
  };
  const auto settingsManifest = [](std::string reason) {
    return KZFPACKAGE_DAMAGED_SETTINGS(std::move(reason));
  };
  check(fileManifest, [&] {
    auto manifestName = relationshipTarget(storage->package, KZF_EXTRACTION_RELATIONSHIP);
    if (!manifestName) return;
    KZFExtractionManager manager;
    auto in = storage->package.getPart(*manifestName).getInputStream();
    manager.load(*in, KZFExtractionSerializer());
    // The same checks extraction makes before it writes: a package verify passes extracts.
    checkExtractable(manager.getEntries(), *manifestName);
  });
  check(settingsManifest, [&] {
    auto settingsName =
        relationshipTarget(storage->package, KZF_CONFIGURATION_MANIFEST_RELATIONSHIP);
    if (!settingsName) return;
    auto in = storage->package.getPart(*settingsName).getInputStream();
    KZFSettings loaded;
    KZFSettingsSerializer().load(*in, loaded);
  });
  return problems;
}

}  // namespace Quorlith::kzfpackage
