// Part handles.
#include <opc/model/Part.hpp>

#include "PackageCore.hpp"

namespace opc::model {

Part::Part(std::shared_ptr<detail::PackageCore> core, std::uint32_t index, std::uint32_t session)
    : RelationshipSource(std::move(core), index, session) {}

Part::~Part() = default;

PartName Part::getName() const { return PartName(core().part(sourceIndex(), session()).name); }

ContentType Part::getContentType() const {
  return ContentType(core().contentTypeOf(core().part(sourceIndex(), session())));
}

std::shared_ptr<OutputStream> Part::getOutputStream() {
  return core().outputStream(sourceIndex(), session());
}

std::unique_ptr<InputStream> Part::getInputStream() const {
  return core().inputStream(sourceIndex(), session());
}

}  // namespace opc::model
