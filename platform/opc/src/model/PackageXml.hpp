// Private: the XML of the package's own parts (content types, relationships, core properties).
#pragma once

#include <cstdint>
#include <opc/Stream.hpp>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/URI.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>
#include <xercesc/dom/DOMLSParser.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>

namespace opc::model::detail {

class RelationshipSet;

constexpr char kRelationshipsContentType[] =
    "application/vnd.openxmlformats-package.relationships+xml";
constexpr char kCorePropertiesContentType[] =
    "application/vnd.openxmlformats-package.core-properties+xml";
constexpr char16_t kCorePropertiesRelationship[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
// Older writers point at their core properties with this type; reading accepts it too.
constexpr char16_t kLegacyCorePropertiesRelationship[] =
    u"http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/"
    u"core-properties";

/// The lower-cased extension of an item name (after the last "." of its last segment);
/// empty when there is none.
std::string extensionOf(std::string_view itemName);

/// True for the item name of a relationship part ("_rels/.rels", "a/_rels/b.xml.rels").
bool isRelationshipItemName(std::string_view itemName);

/// The content types read from "[Content_Types].xml".
struct ContentTypeTable {
  std::unordered_map<std::string, std::string> defaults;   ///< lower-cased extension
  std::unordered_map<std::string, std::string> overrides;  ///< equivalence key of the part
  /// The content type of an item (Override first, then Default), or null.
  const std::string* find(const std::string& equivalenceKey) const;
};

/// Reads a content-types document. Duplicate Defaults (extensions compared ignoring case)
/// or Overrides (equivalent part names) are refused; `strict` also refuses unknown
/// elements, invalid part names and invalid content types, which lenient reading skips.
ContentTypeTable readContentTypes(xercesc::DOMLSParser& parser, InputStream& in,
                                  const ustring& documentName, bool strict);

/// One written item and the index of its content type.
struct ItemContentType {
  std::string itemName;
  std::uint32_t type;
};

/// Writes the content types of `items`: one Default per extension (the type most of its items
/// have; the first seen on a tie) and an Override for every item without an extension or
/// whose type differs from its extension's Default.
void writeContentTypes(xercesc::DOMLSSerializer& writer, OutputStream& out,
                       const std::vector<ItemContentType>& items,
                       const std::vector<std::string>& types);

/// Reads a relationships document into `into`; `source` is the source part name ("/" for
/// the package). `strict` refuses what lenient reading skips: relationships without an id,
/// type or target, duplicate or malformed ids, unknown target modes and unknown elements.
void readRelationships(xercesc::DOMLSParser& parser, InputStream& in, const ustring& documentName,
                       bool strict, const URI& source, RelationshipSet& into);

void writeRelationships(xercesc::DOMLSSerializer& writer, OutputStream& out,
                        const RelationshipSet& relationships);

CoreProperties readCoreProperties(xercesc::DOMLSParser& parser, InputStream& in,
                                  const ustring& documentName);

void writeCoreProperties(xercesc::DOMLSSerializer& writer, OutputStream& out,
                         const CoreProperties& properties);

/// True when `id` is a valid XML NCName (relationship ids must be).
bool isValidRelationshipId(const ustring& id);

}  // namespace opc::model::detail
