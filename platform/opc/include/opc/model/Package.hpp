// A package: parts with content types and relationships, over a physical container.
#pragma once

#include <opc/Export.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <opc/interfaces/IPhysicalPartInfo.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Part.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/RelationshipSource.hpp>
#include <optional>
#include <vector>

namespace opc::model {

class PackageHelper;

/// A package over one physical container (not owned; it must outlive the package).
///
/// Create mode writes one part at a time; the content types, the relationship parts and the
/// core properties are written by close(false). Read mode indexes the container once when
/// opened; part lookups are constant time and nothing is rescanned afterwards.
///
/// `strict` decides how reading treats items that break the naming rules: strict refuses
/// the package (InvalidPartName / InvalidPackage), lenient skips such items and malformed
/// relationships. Items of equivalent names are refused in both modes.
class OPC_API Package : public RelationshipSource {
 public:
  /// Binds the package to its container; touches nothing.
  Package(interfaces::IPhysicalPackage& physical, bool strict);
  /// Abandons the package if it is still open (nothing appears at the path in create mode).
  ~Package();
  Package(const Package&) = delete;
  Package& operator=(const Package&) = delete;

  /// Opens the container: Read indexes an existing one and reads its content types; Create
  /// starts a new one. Throws PackageStateError when already open, InvalidPackage (and the
  /// container's and parser's own runtime errors) when the package cannot be read; the
  /// package is then closed again.
  void open(interfaces::OpenMode mode);
  /// Create mode, `abandon` false: writes the core properties, the relationship parts and
  /// "[Content_Types].xml", then closes the container (which writes the file). With
  /// `abandon` true, or in read mode, closes the container without writing anything more.
  /// On failure the container is abandoned and the first error is thrown. The package is
  /// closed afterwards in every case; closing a closed package does nothing.
  void close(bool abandon);
  bool isOpen() const;
  /// The mode of the last open.
  interfaces::OpenMode getMode() const;
  /// The path of the container.
  const ustring& getPath() const;

  /// True when a part of an equivalent name exists.
  bool hasPart(const PartName& name) const;
  /// The part of an equivalent name; throws PackageStateError naming the part when absent.
  Part getPart(const PartName& name) const;
  /// The part of an equivalent name, if there is one: one lookup where hasPart and getPart
  /// take two.
  std::optional<Part> findPart(const PartName& name) const;
  /// Create mode: adds a part and starts its item in the container (finishing the previous
  /// part). Refuses, with InvalidPartName saying why, relationship-part names and names taken
  /// by an equivalent one.
  Part createPart(const PartName& name, const ContentType& contentType,
                  const interfaces::IPhysicalPartInfo& info);
  /// Every part in creation order (create mode) or container order (read mode).
  std::vector<Part> getParts() const;

 private:
  friend class PackageHelper;
};

}  // namespace opc::model
