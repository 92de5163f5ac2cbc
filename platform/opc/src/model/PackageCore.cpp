// The state of one package: indexing a container, creating parts, relationships, closing.
#include "PackageCore.hpp"

#include <opc/model/Exceptions.hpp>
#include <string_view>
#include <utility>

#include "../util/Text.hpp"
#include "PackageXml.hpp"

namespace opc::model::detail {

using interfaces::OpenMode;
using opc::detail::describe;
using opc::detail::widenAscii;

namespace {

constexpr char kContentTypesItem[] = "[Content_Types].xml";
constexpr char kContentTypesKey[] = "[content_types].xml";
constexpr char kPackageRelationshipsItem[] = "_rels/.rels";
constexpr char16_t kCorePartFolder[] = u"/docProps/";
/// Read mode: the part index of an item that is not a part.
constexpr std::uint32_t kNoPart = std::numeric_limits<std::uint32_t>::max();

std::string itemNameOf(const ustring& partName) {
  // Part names are ASCII once validated: one byte per code unit.
  return std::string(partName.begin() + 1, partName.end());
}

std::vector<std::u16string_view> segmentsOf(std::u16string_view path) {
  std::vector<std::u16string_view> segments;
  std::size_t start = 1;
  while (start <= path.size()) {
    std::size_t slash = path.find(u'/', start);
    if (slash == std::u16string_view::npos) slash = path.size();
    segments.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return segments;
}

// The reference from a source (a part name, or "/" for the package) to the part name
// `target`, relative to the source's folder: "/a/b.xml" to "/a/c/d.xml" gives "c/d.xml".
ustring relativeReference(const ustring& source, const ustring& target) {
  std::vector<std::u16string_view> folders = segmentsOf(source);
  folders.pop_back();  // the source's own name (empty for the package)
  std::vector<std::u16string_view> to = segmentsOf(target);
  std::size_t common = 0;
  while (common < folders.size() && common + 1 < to.size() && folders[common] == to[common]) {
    ++common;
  }
  ustring out;
  for (std::size_t i = common; i < folders.size(); ++i) out += u"../";
  // A first segment holding ":" would read as a scheme.
  if (common == folders.size() && to[common].find(u':') != std::u16string_view::npos) {
    out += u"./";
  }
  for (std::size_t i = common; i < to.size(); ++i) {
    if (i > common) out += u'/';
    out += to[i];
  }
  return out;
}

}  // namespace

PackageCore::PackageCore(interfaces::IPhysicalPackage& physical, bool strict)
    : physical_(&physical), path_(physical.getPath()), strict_(strict) {}

void PackageCore::open(OpenMode mode) {
  if (open_) throw PackageStateError(describe(path_) + ": the package is already open");
  reset();
  mode_ = mode;
  ++session_;
  physical_->open(mode);
  open_ = true;
  if (mode == OpenMode::Read) {
    try {
      index();
    } catch (...) {
      try {
        close(true);
      } catch (...) {  // the reason the package cannot be read is the one reported
      }
      throw;
    }
  }
}

void PackageCore::close(bool abandon) {
  if (!open_) return;
  open_ = false;
  bool write = mode_ == OpenMode::Create && !abandon;
  try {
    if (write) writeClosingItems();
    physical_->close(mode_ == OpenMode::Create && abandon);
  } catch (...) {
    if (write) {
      try {
        physical_->close(true);
      } catch (...) {  // the first error is the one reported
      }
    }
    reset();
    throw;
  }
  reset();
}

void PackageCore::detach() { physical_ = nullptr; }

void PackageCore::reset() {
  parts_.clear();
  partsByKey_.clear();
  types_.clear();
  typesByText_.clear();
  packageRelationships_ = RelationshipSet();
  packageRelationshipsRead_ = false;
  currentStream_.reset();
  currentPart_ = kPackageSource;
  coreProperties_.reset();
  corePart_ = kPackageSource;
  itemsByKey_.clear();
  partOfItem_.clear();
  parser_.reset();
}

void PackageCore::requireOpen(const char* operation) const {
  if (!open_) {
    throw PackageStateError(describe(path_) + ": cannot " + operation +
                            ": the package is not open");
  }
}

void PackageCore::requireMode(OpenMode mode, const char* operation) const {
  requireOpen(operation);
  if (mode_ != mode) {
    throw PackageStateError(describe(path_) + ": cannot " + operation + ": the package is open " +
                            (mode_ == OpenMode::Read ? "for reading" : "for creation"));
  }
}

void PackageCore::requireSession(std::uint32_t session) const {
  if (session != session_) {
    throw PackageStateError(describe(path_) +
                            ": a part handle from an earlier opening of the package was used");
  }
}

std::uint32_t PackageCore::internType(const std::string& type) {
  // Most parts share a few types: look up before building a node that is mostly thrown away.
  auto found = typesByText_.find(type);
  if (found != typesByText_.end()) return found->second;
  auto index = static_cast<std::uint32_t>(types_.size());
  typesByText_.emplace(type, index);
  types_.push_back(type);
  return index;
}

std::uint32_t PackageCore::addPart(ustring name, std::uint32_t type) {
  auto index = static_cast<std::uint32_t>(parts_.size());
  PartRecord record;
  record.name = std::move(name);
  record.type = type;
  parts_.push_back(std::move(record));
  return index;
}

std::optional<std::uint32_t> PackageCore::find(const PartName& name) const {
  requireOpen("look up a part");
  std::string key = name.getEquivalenceKey();
  if (mode_ == OpenMode::Read) {
    auto item = itemsByKey_.find(key);
    if (item == itemsByKey_.end() || partOfItem_[item->second] == kNoPart) return std::nullopt;
    return partOfItem_[item->second];
  }
  auto found = partsByKey_.find(key);
  if (found == partsByKey_.end()) return std::nullopt;
  return found->second;
}

std::uint32_t PackageCore::get(const PartName& name) const {
  std::optional<std::uint32_t> index = find(name);
  if (!index) {
    throw PackageStateError(describe(path_) + ": the package has no part \"" +
                            describe(name.toString()) + "\"");
  }
  return *index;
}

std::size_t PackageCore::partCount() const {
  requireOpen("list the parts");
  return parts_.size();
}

std::uint32_t PackageCore::createPart(const PartName& name, const ContentType& type,
                                      const interfaces::IPhysicalPartInfo& info) {
  requireMode(OpenMode::Create, "create a part");
  if (name.isRelationshipPartName()) {
    throw InvalidPartName(name.toString(),
                          "it is a relationship part name; the package writes those itself");
  }
  std::string key = name.getEquivalenceKey();
  auto existing = partsByKey_.find(key);
  if (existing != partsByKey_.end()) {
    throw InvalidPartName(name.toString(), "the package already has the equivalent part \"" +
                                               describe(parts_[existing->second].name) + "\"");
  }
  std::shared_ptr<OutputStream> stream = physical_->createItem(
      name.getItemName(), info.getCompressionType(), info.getSize(), info.getModificationTime());
  std::uint32_t index = addPart(name.toString(), internType(type.toString()));
  partsByKey_.emplace(std::move(key), index);
  currentStream_ = std::move(stream);
  currentPart_ = index;
  return index;
}

const PartRecord& PackageCore::part(std::uint32_t index, std::uint32_t session) const {
  requireOpen("use a part");
  requireSession(session);
  return parts_[index];
}

std::shared_ptr<OutputStream> PackageCore::outputStream(std::uint32_t index,
                                                        std::uint32_t session) {
  requireMode(OpenMode::Create, "write a part");
  requireSession(session);
  const PartRecord& record = parts_[index];
  if (record.managed) {
    throw PackageStateError(describe(path_) + ": the part \"" + describe(record.name) +
                            "\" is written by the package itself when it is closed");
  }
  if (index != currentPart_) {
    throw PackageStateError(describe(path_) + ": the part \"" + describe(record.name) +
                            "\" is finished: another part was created after it");
  }
  return currentStream_;
}

std::unique_ptr<InputStream> PackageCore::inputStream(std::uint32_t index, std::uint32_t session) {
  requireMode(OpenMode::Read, "read a part");
  requireSession(session);
  return physical_->openItemAt(parts_[index].item);
}

URI PackageCore::sourceURI(std::uint32_t source) const {
  return URI(source == kPackageSource ? ustring(1, URI::getSlash()) : parts_[source].name);
}

xercesc::DOMLSParser& PackageCore::parser() {
  if (!parser_) parser_ = util::XercesHelper::createParser();
  return *parser_;
}

ustring PackageCore::documentName(const std::string& itemName) const {
  return path_ + u":" + widenAscii(itemName);
}

RelationshipSet& PackageCore::relationshipsOf(std::uint32_t source) {
  bool reading = mode_ == OpenMode::Read;
  if (source == kPackageSource) {
    if (reading && !packageRelationshipsRead_) {
      auto item = itemsByKey_.find(kPackageRelationshipsItem);
      if (item != itemsByKey_.end()) {
        const std::string& itemName = physical_->getItems()[item->second].name;
        RelationshipSet read;
        readRelationships(parser(), *physical_->openItemAt(item->second), documentName(itemName),
                          strict_, sourceURI(source), read);
        packageRelationships_ = std::move(read);
      }
      packageRelationshipsRead_ = true;
    }
    return packageRelationships_;
  }
  PartRecord& record = parts_[source];
  if (!record.relationships) record.relationships = std::make_unique<RelationshipSet>();
  if (reading && !record.relationshipsRead) {
    std::string key = PartName(record.name).getRelationshipPartName().getEquivalenceKey();
    auto item = itemsByKey_.find(key);
    if (item != itemsByKey_.end()) {
      const std::string& itemName = physical_->getItems()[item->second].name;
      RelationshipSet read;
      readRelationships(parser(), *physical_->openItemAt(item->second), documentName(itemName),
                        strict_, sourceURI(source), read);
      *record.relationships = std::move(read);
    }
    record.relationshipsRead = true;
  }
  return *record.relationships;
}

const RelationshipSet& PackageCore::relationships(std::uint32_t source, std::uint32_t session) {
  requireOpen("read relationships");
  if (source != kPackageSource) requireSession(session);
  return relationshipsOf(source);
}

Relationship PackageCore::addRelationship(std::uint32_t source, std::uint32_t session,
                                          const ustring& type, const URI& target, TargetMode mode,
                                          const ustring& id) {
  requireMode(OpenMode::Create, "add a relationship");
  if (source != kPackageSource) requireSession(session);
  URI from = sourceURI(source);
  std::string sourceText = describe(path_) + ": relationship from \"" + describe(from.toString());
  if (type.empty()) throw InvalidRelationship(sourceText + "\": the type is empty");
  RelationshipSet& set = relationshipsOf(source);
  ustring finalId = id;
  if (finalId.empty()) {
    finalId = set.generateId();
  } else if (!isValidRelationshipId(finalId)) {
    throw InvalidRelationship(sourceText + "\": the id \"" + describe(finalId) +
                              "\" is not a valid XML NCName");
  } else if (set.hasId(finalId)) {
    throw InvalidRelationship(sourceText + "\": the id \"" + describe(finalId) +
                              "\" is already used");
  }
  URI stored = target;
  if (mode == TargetMode::Internal) {
    PartName targetName(from.resolve(target));
    stored = URI(relativeReference(from.toString(), targetName.toString()));
  }
  return set.add(Relationship(std::move(finalId), type, std::move(stored), mode, std::move(from)));
}

void PackageCore::setCoreProperties(const CoreProperties& properties) {
  requireMode(OpenMode::Create, "set the core properties");
  if (corePart_ == kPackageSource) {
    PartName name(ustring(kCorePartFolder) + u"core.xml");
    for (int n = 1; partsByKey_.count(name.getEquivalenceKey()) != 0; ++n) {
      name = PartName(ustring(kCorePartFolder) + u"core" + widenAscii(std::to_string(n)) + u".xml");
    }
    corePart_ = addPart(name.toString(), internType(kCorePropertiesContentType));
    partsByKey_.emplace(name.getEquivalenceKey(), corePart_);
    parts_[corePart_].managed = true;
    addRelationship(kPackageSource, session_, kCorePropertiesRelationship, name.getURI(),
                    TargetMode::Internal, u"");
  }
  coreProperties_ = properties;
}

CoreProperties PackageCore::coreProperties() {
  requireOpen("read the core properties");
  if (mode_ == OpenMode::Create) return coreProperties_.value_or(CoreProperties());
  for (const Relationship& relationship : relationshipsOf(kPackageSource).all()) {
    const ustring& type = relationship.getType();
    if (relationship.getTargetMode() != TargetMode::Internal ||
        (type != kCorePropertiesRelationship && type != kLegacyCorePropertiesRelationship)) {
      continue;
    }
    const PartRecord& record = parts_[get(PartName(relationship.getTargetURI(true)))];
    const std::string& itemName = physical_->getItems()[record.item].name;
    return readCoreProperties(parser(), *physical_->openItemAt(record.item),
                              documentName(itemName));
  }
  return CoreProperties();
}

void PackageCore::index() {
  // Every item is keyed once, and parts are found through their item.
  const std::vector<interfaces::PhysicalItem>& items = physical_->getItems();
  std::vector<const std::string*> keys(items.size());
  itemsByKey_.reserve(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    auto [it, inserted] = itemsByKey_.emplace(opc::detail::asciiLowerCopy(items[i].name),
                                              static_cast<std::uint32_t>(i));
    if (!inserted) {
      throw InvalidPackage(describe(path_) + ": the items \"" + items[it->second].name +
                           "\" and \"" + items[i].name + "\" have equivalent names");
    }
    keys[i] = &it->first;
  }

  auto contentTypesItem = itemsByKey_.find(kContentTypesKey);
  if (contentTypesItem == itemsByKey_.end()) {
    throw InvalidPackage(describe(path_) + ": the package has no " + kContentTypesItem +
                         " item, so it is not a package");
  }
  std::uint32_t contentTypesIndex = contentTypesItem->second;
  const std::string& contentTypesName = items[contentTypesIndex].name;
  ContentTypeTable table = readContentTypes(parser(), *physical_->openItemAt(contentTypesIndex),
                                            documentName(contentTypesName), strict_);

  parts_.reserve(items.size());
  partOfItem_.assign(items.size(), kNoPart);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i == contentTypesIndex || isRelationshipItemName(items[i].name)) continue;
    const std::string& key = *keys[i];
    const std::string* type = table.find(key);
    if (type == nullptr) continue;  // an item without a content type is not a part
    // Bytes are widened one to one, so a raw non-ASCII byte is refused by name validation.
    ustring name = u"/" + ustring(items[i].name.begin(), items[i].name.end());
    try {
      PartName checked(name);
    } catch (const InvalidPartName&) {
      if (strict_) throw;
      continue;
    }
    std::uint32_t index = addPart(std::move(name), internType(*type));
    parts_[index].item = static_cast<std::uint32_t>(i);
    partOfItem_[i] = index;
  }
}

void PackageCore::writeItem(const std::string& itemName,
                            const std::function<void(OutputStream&)>& body) {
  std::shared_ptr<OutputStream> stream =
      physical_->createItem(itemName, interfaces::CompressionType::Deflated, 0);
  body(*stream);
}

void PackageCore::writeClosingItems() {
  currentStream_.reset();
  util::DOMLSSerializerPtr writer = util::XercesHelper::createWriter();
  if (coreProperties_) {
    writeItem(itemNameOf(parts_[corePart_].name),
              [&](OutputStream& out) { writeCoreProperties(*writer, out, *coreProperties_); });
  }

  std::uint32_t relationshipsType = internType(kRelationshipsContentType);
  std::vector<ItemContentType> written;
  written.reserve(parts_.size() + 1);
  for (const PartRecord& record : parts_) {
    written.push_back({itemNameOf(record.name), record.type});
    if (!record.relationships || record.relationships->empty()) continue;
    std::string relsItem = PartName(record.name).getRelationshipPartName().getItemName();
    writeItem(relsItem,
              [&](OutputStream& out) { writeRelationships(*writer, out, *record.relationships); });
    written.push_back({std::move(relsItem), relationshipsType});
  }
  if (!packageRelationships_.empty()) {
    writeItem(kPackageRelationshipsItem,
              [&](OutputStream& out) { writeRelationships(*writer, out, packageRelationships_); });
    written.push_back({kPackageRelationshipsItem, relationshipsType});
  }
  writeItem(kContentTypesItem,
            [&](OutputStream& out) { writeContentTypes(*writer, out, written, types_); });
}

}  // namespace opc::model::detail
