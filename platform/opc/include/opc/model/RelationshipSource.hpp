// What packages and parts share: a list of relationships to other parts or resources.
#pragma once

#include <cstdint>
#include <memory>
#include <opc/Export.hpp>
#include <opc/String.hpp>
#include <opc/model/Relationship.hpp>
#include <opc/model/URI.hpp>
#include <vector>

namespace opc::model {

namespace detail {
class PackageCore;
}

/// The relationships of a package or of one of its parts. Relationships are created while the
/// package is open for creation and written when it is closed; in a package opened for
/// reading they are read from the relationship part on first use.
class OPC_API RelationshipSource {
 public:
  /// Adds a relationship to a part of this package. `target` is a part-name path ("/a/b.xml")
  /// or a reference relative to the source ("b.xml"); it is stored relative to the source.
  /// An empty `id` is replaced by a generated one ("rId1", "rId2", ...); a given id must be
  /// a valid XML NCName not yet used by this source. Throws InvalidRelationship naming the
  /// source and the reason, InvalidPartName when the target is not a valid part name, and
  /// PackageStateError unless the package is open for creation.
  Relationship createInternalRelationship(const ustring& type, const URI& target,
                                          const ustring& id);
  /// Adds a relationship to a resource outside the package (`target` stored as given).
  Relationship createExternalRelationship(const ustring& type, const URI& target,
                                          const ustring& id);

  /// Every relationship of this type (exact comparison), in the order the source holds them.
  std::vector<Relationship> getRelationshipsByType(const ustring& type) const;
  /// Every relationship, in order.
  std::vector<Relationship> getRelationships() const;

 protected:
  /// `source` is detail::kPackageSource for the package, else the part's index; `session`
  /// counts the openings of the package, so a handle from an earlier one is refused.
  RelationshipSource(std::shared_ptr<detail::PackageCore> core, std::uint32_t source,
                     std::uint32_t session);
  RelationshipSource(const RelationshipSource&) = default;
  RelationshipSource& operator=(const RelationshipSource&) = default;
  ~RelationshipSource();

  detail::PackageCore& core() const { return *core_; }
  const std::shared_ptr<detail::PackageCore>& sharedCore() const { return core_; }
  std::uint32_t sourceIndex() const { return source_; }
  std::uint32_t session() const { return session_; }

 private:
  std::shared_ptr<detail::PackageCore> core_;
  std::uint32_t source_;
  std::uint32_t session_;
};

}  // namespace opc::model
