// The package object: lifecycle and parts, over the shared package state.
#include <opc/model/Package.hpp>

#include "PackageCore.hpp"

namespace opc::model {

Package::Package(interfaces::IPhysicalPackage& physical, bool strict)
    : RelationshipSource(std::make_shared<detail::PackageCore>(physical, strict),
                         detail::kPackageSource, 0) {}

Package::~Package() {
  try {
    core().close(true);
  } catch (...) {  // a destructor abandons quietly
  }
  core().detach();
}

void Package::open(interfaces::OpenMode mode) { core().open(mode); }

void Package::close(bool abandon) { core().close(abandon); }

bool Package::isOpen() const { return core().isOpen(); }

interfaces::OpenMode Package::getMode() const { return core().mode(); }

const ustring& Package::getPath() const { return core().path(); }

bool Package::hasPart(const PartName& name) const { return core().find(name).has_value(); }

Part Package::getPart(const PartName& name) const {
  return Part(sharedCore(), core().get(name), core().session());
}

std::optional<Part> Package::findPart(const PartName& name) const {
  std::optional<std::uint32_t> index = core().find(name);
  if (!index) return std::nullopt;
  return Part(sharedCore(), *index, core().session());
}

Part Package::createPart(const PartName& name, const ContentType& contentType,
                         const interfaces::IPhysicalPartInfo& info) {
  return Part(sharedCore(), core().createPart(name, contentType, info), core().session());
}

std::vector<Part> Package::getParts() const {
  std::size_t count = core().partCount();
  std::vector<Part> parts;
  parts.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    parts.push_back(Part(sharedCore(), static_cast<std::uint32_t>(i), core().session()));
  }
  return parts;
}

}  // namespace opc::model
