// Private: the state of one package, shared by the Package object and its Part handles.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <opc/interfaces/IPhysicalPartInfo.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/Relationship.hpp>
#include <opc/util/XercesHelper.hpp>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "RelationshipSet.hpp"

namespace opc::model::detail {

/// The source index that stands for the package itself.
constexpr std::uint32_t kPackageSource = std::numeric_limits<std::uint32_t>::max();

/// One part as the package keeps it.
struct PartRecord {
  ustring name;                    ///< the encoded part name, with its leading "/"
  std::uint32_t type = 0;          ///< index into the package's content types
  std::uint32_t item = 0;          ///< read mode: index of the container item
  bool managed = false;            ///< written by the package itself at close (core properties)
  bool relationshipsRead = false;  ///< read mode: relationship part read
  std::unique_ptr<RelationshipSet> relationships;  ///< made on first use
};

/// Parts, content types and relationships of an open package, indexed by equivalence key.
class PackageCore {
 public:
  PackageCore(interfaces::IPhysicalPackage& physical, bool strict);

  void open(interfaces::OpenMode mode);
  void close(bool abandon);
  /// The Package object is gone: handles left over fail from now on.
  void detach();
  bool isOpen() const { return open_; }
  interfaces::OpenMode mode() const { return mode_; }
  std::uint32_t session() const { return session_; }
  const ustring& path() const { return path_; }

  /// The index of the part of an equivalent name, if any.
  std::optional<std::uint32_t> find(const PartName& name) const;
  /// The index of that part; throws PackageStateError naming it when there is none.
  std::uint32_t get(const PartName& name) const;
  std::uint32_t createPart(const PartName& name, const ContentType& type,
                           const interfaces::IPhysicalPartInfo& info);
  /// The number of parts; throws PackageStateError when the package is not open.
  std::size_t partCount() const;

  /// Checks that a handle of `session` may still use part `index`.
  const PartRecord& part(std::uint32_t index, std::uint32_t session) const;
  const std::string& contentTypeOf(const PartRecord& record) const { return types_[record.type]; }
  std::shared_ptr<OutputStream> outputStream(std::uint32_t index, std::uint32_t session);
  std::unique_ptr<InputStream> inputStream(std::uint32_t index, std::uint32_t session);

  /// The relationships of a source (kPackageSource or a part), read on first use in read mode.
  const RelationshipSet& relationships(std::uint32_t source, std::uint32_t session);
  Relationship addRelationship(std::uint32_t source, std::uint32_t session, const ustring& type,
                               const URI& target, TargetMode mode, const ustring& id);

  /// Create mode: sets the core properties, reserving their part and relationship on first use.
  void setCoreProperties(const CoreProperties& properties);
  /// Read mode: the properties of the part the core-properties relationship points at;
  /// create mode: those set so far.
  CoreProperties coreProperties();

 private:
  void requireOpen(const char* operation) const;
  void requireMode(interfaces::OpenMode mode, const char* operation) const;
  void requireSession(std::uint32_t session) const;
  std::uint32_t internType(const std::string& type);
  /// Appends a part record; the caller files it under its key in partsByKey_.
  std::uint32_t addPart(ustring name, std::uint32_t type);
  URI sourceURI(std::uint32_t source) const;
  RelationshipSet& relationshipsOf(std::uint32_t source);
  xercesc::DOMLSParser& parser();
  ustring documentName(const std::string& itemName) const;
  void index();
  void writeClosingItems();
  void writeItem(const std::string& itemName, const std::function<void(OutputStream&)>& body);
  void reset();

  interfaces::IPhysicalPackage* physical_;
  ustring path_;
  bool strict_;
  bool open_ = false;
  interfaces::OpenMode mode_ = interfaces::OpenMode::Read;
  std::uint32_t session_ = 0;

  std::vector<PartRecord> parts_;
  /// Create mode: part indexes by equivalence key.
  std::unordered_map<std::string, std::uint32_t> partsByKey_;
  std::vector<std::string> types_;
  std::unordered_map<std::string, std::uint32_t> typesByText_;
  RelationshipSet packageRelationships_;
  bool packageRelationshipsRead_ = false;

  // Create mode.
  std::shared_ptr<OutputStream> currentStream_;
  std::uint32_t currentPart_ = kPackageSource;
  std::optional<CoreProperties> coreProperties_;
  std::uint32_t corePart_ = kPackageSource;

  // Read mode.
  /// Every item's index in the container's listing by equivalence key.
  std::unordered_map<std::string, std::uint32_t> itemsByKey_;
  /// Each item's part index; kNoPart (in the source) for relationship and content types items,
  /// items without a content type and, when not strict, items with invalid names.
  std::vector<std::uint32_t> partOfItem_;
  util::DOMLSParserPtr parser_;
};

}  // namespace opc::model::detail
