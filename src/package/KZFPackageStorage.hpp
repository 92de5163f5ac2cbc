// The OPC objects a package owns, kept out of the public header.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <opc/model/Package.hpp>
#include <opc/util/TempfileGuard.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

#include <memory>

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
};

}  // namespace Quorlith::kzfpackage
