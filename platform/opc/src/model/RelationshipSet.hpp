// Private: the relationships of one source, in order, with their ids indexed.
#pragma once

#include <cstdint>
#include <opc/model/Relationship.hpp>
#include <unordered_set>
#include <vector>

namespace opc::model::detail {

/// The relationships of a package or part. Ids are kept in a hash set, so adding stays
/// constant time however many relationships one source has.
class RelationshipSet {
 public:
  const std::vector<Relationship>& all() const { return list_; }
  bool empty() const { return list_.empty(); }
  bool hasId(const ustring& id) const { return ids_.count(id) != 0; }
  /// Appends a relationship whose id is not yet used.
  const Relationship& add(Relationship relationship);
  /// The next unused id of the form "rId<n>".
  ustring generateId();

 private:
  std::vector<Relationship> list_;
  std::unordered_set<ustring> ids_;
  std::uint64_t counter_ = 0;
};

}  // namespace opc::model::detail
