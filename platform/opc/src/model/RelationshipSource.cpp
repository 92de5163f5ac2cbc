// Relationships of packages and parts.
#include <opc/model/RelationshipSource.hpp>

#include "PackageCore.hpp"

namespace opc::model {

RelationshipSource::RelationshipSource(std::shared_ptr<detail::PackageCore> core,
                                       std::uint32_t source, std::uint32_t session)
    : core_(std::move(core)), source_(source), session_(session) {}

RelationshipSource::~RelationshipSource() = default;

Relationship RelationshipSource::createInternalRelationship(const ustring& type, const URI& target,
                                                            const ustring& id) {
  return core_->addRelationship(source_, session_, type, target, TargetMode::Internal, id);
}

Relationship RelationshipSource::createExternalRelationship(const ustring& type, const URI& target,
                                                            const ustring& id) {
  return core_->addRelationship(source_, session_, type, target, TargetMode::External, id);
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(const ustring& type) const {
  std::vector<Relationship> matching;
  for (const Relationship& relationship : core_->relationships(source_, session_).all()) {
    if (relationship.getType() == type) matching.push_back(relationship);
  }
  return matching;
}

std::vector<Relationship> RelationshipSource::getRelationships() const {
  return core_->relationships(source_, session_).all();
}

}  // namespace opc::model
