// Relationships and the resolution of their targets.
#include <opc/model/Relationship.hpp>
#include <utility>

namespace opc::model {

Relationship::Relationship(ustring id, ustring type, URI target, TargetMode mode, URI source)
    : id_(std::move(id)),
      type_(std::move(type)),
      target_(std::move(target)),
      mode_(mode),
      source_(std::move(source)) {}

URI Relationship::getTargetURI(bool absolute) const {
  if (!absolute || mode_ == TargetMode::External) return target_;
  return source_.resolve(target_);
}

}  // namespace opc::model
