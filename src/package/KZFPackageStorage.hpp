// The OPC objects a package owns, kept out of the public header.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <opc/model/Package.hpp>
#include <opc/util/TempfileGuard.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

#include <memory>
#include <string>
#include <sys/stat.h>

namespace Quorlith::kzfpackage {

/// The package file's path, its zip container, the OPC package over it, and the guard of the
/// backup made when creating over an existing file.
struct KZFPackageStorage {
  explicit KZFPackageStorage(const fl::i18n::ustring& packagePath)
      : path(packagePath), physicalPackage(packagePath, true, false), package(physicalPackage, true) {}

  fl::i18n::ustring path;
  opc::zippackage::ZipPhysicalPackage physicalPackage;
  opc::model::Package package;
  std::unique_ptr<opc::util::TempfileGuard> tempfileGuard;

  /// The lstat of the source addSingleFile is adding, kept so that completing its entry asks
  /// the file system nothing more: one lstat per source, however many questions.
  struct SourceStatus {
    std::string path;
    struct stat status {};
  } lastSource;

  /// The remembered lstat of `source`, or null when the last one taken was of another path.
  const struct stat* knownStatus(const std::string& source) const {
    return lastSource.path == source ? &lastSource.status : nullptr;
  }
};

}  // namespace Quorlith::kzfpackage
