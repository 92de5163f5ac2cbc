// The relationships of one source.
#include "RelationshipSet.hpp"

#include <string>

namespace opc::model::detail {

const Relationship& RelationshipSet::add(Relationship relationship) {
  ids_.insert(relationship.getId());
  list_.push_back(std::move(relationship));
  return list_.back();
}

ustring RelationshipSet::generateId() {
  for (;;) {
    std::string number = std::to_string(++counter_);
    ustring id = u"rId" + ustring(number.begin(), number.end());
    if (!hasId(id)) return id;
  }
}

}  // namespace opc::model::detail
