// Core properties of a package.
#include <opc/model/PackageHelper.hpp>

#include "PackageCore.hpp"

namespace opc::model {

const char* const PackageHelper::CORE_PROPERTIES_RELATIONSHIP =
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

void PackageHelper::createOrUpdateCoreProperties(Package& package,
                                                 const CoreProperties& properties) {
  package.core().setCoreProperties(properties);
}

CoreProperties PackageHelper::getCoreProperties(const Package& package) {
  return package.core().coreProperties();
}

}  // namespace opc::model
