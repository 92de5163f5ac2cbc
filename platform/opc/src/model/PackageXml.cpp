// The XML of the package's own parts: content types, relationships and core properties.
#include "PackageXml.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <opc/model/ContentType.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/PartName.hpp>
#include <opc/util/XercesHelper.hpp>
#include <stdexcept>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/XMLChar.hpp>

#include "../util/Dom.hpp"
#include "../util/Text.hpp"
#include "RelationshipSet.hpp"

namespace opc::model::detail {

namespace x = xercesc;
using opc::detail::attributeOrNull;
using opc::detail::describe;
using opc::detail::firstChildElement;
using opc::detail::isElement;
using opc::detail::nextSiblingElement;
using opc::detail::view;
using opc::detail::widenAscii;
using util::XercesHelper;

namespace {

constexpr char16_t kContentTypesNs[] =
    u"http://schemas.openxmlformats.org/package/2006/content-types";
constexpr char16_t kRelationshipsNs[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships";
constexpr char16_t kCoreNs[] =
    u"http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr char16_t kDcNs[] = u"http://purl.org/dc/elements/1.1/";
constexpr char16_t kDcTermsNs[] = u"http://purl.org/dc/terms/";
constexpr char16_t kXsiNs[] = u"http://www.w3.org/2001/XMLSchema-instance";
constexpr char16_t kXmlnsNs[] = u"http://www.w3.org/2000/xmlns/";

std::string narrowAscii(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char16_t c : text) {
    if (c > 0x7F) return describe(ustring(text));
    out.push_back(static_cast<char>(c));
  }
  return out;
}

[[noreturn]] void refuse(const ustring& documentName, const std::string& reason) {
  throw InvalidPackage(describe(documentName) + ": " + reason);
}

void checkUnknownElement(const ustring& documentName, bool strict, const x::DOMElement* element) {
  if (strict) {
    refuse(documentName,
           "unexpected element \"" + describe(ustring(view(element->getNodeName()))) + "\"");
  }
}

// Writes a finished document with the one serializer of the close.
void write(x::DOMLSSerializer& writer, OutputStream& out, const x::DOMDocument& document) {
  XercesHelper::writeDocumentToStream(writer, document, out);
}

}  // namespace

std::string extensionOf(std::string_view itemName) {
  std::size_t slash = itemName.rfind('/');
  std::string_view last = slash == std::string_view::npos ? itemName : itemName.substr(slash + 1);
  std::size_t dot = last.rfind('.');
  if (dot == std::string_view::npos) return std::string();
  return opc::detail::asciiLowerCopy(last.substr(dot + 1));
}

bool isRelationshipItemName(std::string_view itemName) {
  constexpr std::string_view kSuffix = ".rels";
  constexpr std::string_view kFolder = "_rels";
  std::size_t slash = itemName.rfind('/');
  if (slash == std::string_view::npos) return false;
  std::string_view last = itemName.substr(slash + 1);
  if (last.size() < kSuffix.size() ||
      !opc::detail::equalsIgnoreAsciiCase(last.substr(last.size() - kSuffix.size()), kSuffix)) {
    return false;
  }
  std::size_t folderStart = itemName.rfind('/', slash == 0 ? 0 : slash - 1);
  folderStart =
      (folderStart == std::string_view::npos || folderStart >= slash) ? 0 : folderStart + 1;
  return opc::detail::equalsIgnoreAsciiCase(itemName.substr(folderStart, slash - folderStart),
                                            kFolder);
}

const std::string* ContentTypeTable::find(const std::string& equivalenceKey) const {
  auto override = overrides.find(equivalenceKey);
  if (override != overrides.end()) return &override->second;
  std::string extension = extensionOf(equivalenceKey);
  if (extension.empty()) return nullptr;
  auto fallback = defaults.find(extension);
  return fallback == defaults.end() ? nullptr : &fallback->second;
}

ContentTypeTable readContentTypes(x::DOMLSParser& parser, InputStream& in,
                                  const ustring& documentName, bool strict) {
  util::DOMDocumentPtr document =
      XercesHelper::readDocumentFromStream(parser, in, false, kContentTypesNs, u"", documentName);
  ContentTypeTable table;
  for (x::DOMElement* entry = firstChildElement(document->getDocumentElement()); entry != nullptr;
       entry = nextSiblingElement(entry)) {
    bool isDefault = isElement(entry, kContentTypesNs, u"Default");
    bool isOverride = !isDefault && isElement(entry, kContentTypesNs, u"Override");
    if (!isDefault && !isOverride) {
      checkUnknownElement(documentName, strict, entry);
      continue;
    }
    const char16_t* keyName = isDefault ? u"Extension" : u"PartName";
    const XMLCh* key = attributeOrNull(entry, keyName);
    const XMLCh* type = attributeOrNull(entry, u"ContentType");
    std::string element = isDefault ? "Default" : "Override";
    if (key == nullptr || type == nullptr || view(key).empty()) {
      if (!strict) continue;
      refuse(documentName, element + " without " +
                               (type == nullptr ? "ContentType" : "a " + narrowAscii(keyName)));
    }
    std::string typeText = narrowAscii(view(type));
    std::string mapKey;
    try {
      ContentType checked(typeText);
      mapKey = isDefault ? opc::detail::asciiLowerCopy(narrowAscii(view(key)))
                         : PartName(ustring(key)).getEquivalenceKey();
    } catch (const std::runtime_error&) {
      if (strict) throw;
      continue;
    }
    auto& map = isDefault ? table.defaults : table.overrides;
    if (!map.emplace(std::move(mapKey), std::move(typeText)).second) {
      refuse(documentName, "two " + element + " entries for \"" + describe(ustring(key)) + "\"");
    }
  }
  return table;
}

void writeContentTypes(x::DOMLSSerializer& writer, OutputStream& out,
                       const std::vector<ItemContentType>& items,
                       const std::vector<std::string>& types) {
  // For each extension, how many items of each type it has, in first-seen order.
  struct Tally {
    std::vector<std::pair<std::uint32_t, std::size_t>> counts;
    std::uint32_t best() const {
      std::size_t bestIndex = 0;
      for (std::size_t i = 1; i < counts.size(); ++i) {
        if (counts[i].second > counts[bestIndex].second) bestIndex = i;
      }
      return counts[bestIndex].first;
    }
  };
  std::map<std::string, Tally> tallies;
  std::vector<std::string> extensions;
  extensions.reserve(items.size());
  for (const ItemContentType& item : items) {
    extensions.push_back(extensionOf(item.itemName));
    if (extensions.back().empty()) continue;
    auto& counts = tallies[extensions.back()].counts;
    auto found = std::find_if(counts.begin(), counts.end(),
                              [&](const auto& c) { return c.first == item.type; });
    if (found == counts.end()) {
      counts.emplace_back(item.type, 1);
    } else {
      ++found->second;
    }
  }

  util::DOMDocumentPtr document = XercesHelper::createDocument(kContentTypesNs, u"Types");
  x::DOMElement* root = document->getDocumentElement();
  std::map<std::string, std::uint32_t> defaults;
  for (const auto& [extension, tally] : tallies) {
    std::uint32_t type = tally.best();
    defaults.emplace(extension, type);
    x::DOMElement* entry = document->createElementNS(kContentTypesNs, u"Default");
    entry->setAttribute(u"Extension", widenAscii(extension).c_str());
    entry->setAttribute(u"ContentType", widenAscii(types[type]).c_str());
    root->appendChild(entry);
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    auto fallback = defaults.find(extensions[i]);
    if (fallback != defaults.end() && fallback->second == items[i].type) continue;
    x::DOMElement* entry = document->createElementNS(kContentTypesNs, u"Override");
    entry->setAttribute(u"PartName", (u"/" + widenAscii(items[i].itemName)).c_str());
    entry->setAttribute(u"ContentType", widenAscii(types[items[i].type]).c_str());
    root->appendChild(entry);
  }
  write(writer, out, *document);
}

bool isValidRelationshipId(const ustring& id) {
  return !id.empty() && x::XMLChar1_0::isValidNCName(id.c_str(), id.size());
}

void readRelationships(x::DOMLSParser& parser, InputStream& in, const ustring& documentName,
                       bool strict, const URI& source, RelationshipSet& into) {
  util::DOMDocumentPtr document =
      XercesHelper::readDocumentFromStream(parser, in, false, kRelationshipsNs, u"", documentName);
  for (x::DOMElement* entry = firstChildElement(document->getDocumentElement()); entry != nullptr;
       entry = nextSiblingElement(entry)) {
    if (!isElement(entry, kRelationshipsNs, u"Relationship")) {
      checkUnknownElement(documentName, strict, entry);
      continue;
    }
    const XMLCh* id = attributeOrNull(entry, u"Id");
    const XMLCh* type = attributeOrNull(entry, u"Type");
    const XMLCh* target = attributeOrNull(entry, u"Target");
    const XMLCh* mode = attributeOrNull(entry, u"TargetMode");
    std::string problem;
    TargetMode targetMode = TargetMode::Internal;
    if (id == nullptr || type == nullptr || target == nullptr) {
      problem = "a relationship lacks its Id, Type or Target";
    } else if (!isValidRelationshipId(ustring(id))) {
      problem = "relationship id \"" + describe(ustring(id)) + "\" is not a valid NCName";
    } else if (into.hasId(ustring(id))) {
      problem = "relationship id \"" + describe(ustring(id)) + "\" is used twice";
    } else if (view(type).empty()) {
      problem = "relationship \"" + describe(ustring(id)) + "\" has an empty type";
    } else if (mode != nullptr && view(mode) == u"External") {
      targetMode = TargetMode::External;
    } else if (mode != nullptr && view(mode) != u"Internal") {
      problem = "relationship \"" + describe(ustring(id)) + "\" has the unknown target mode \"" +
                describe(ustring(mode)) + "\"";
    }
    if (!problem.empty()) {
      if (!strict) continue;
      throw InvalidRelationship(describe(documentName) + ": " + problem);
    }
    into.add(Relationship(ustring(id), ustring(type), URI(ustring(target)), targetMode, source));
  }
}

void writeRelationships(x::DOMLSSerializer& writer, OutputStream& out,
                        const RelationshipSet& relationships) {
  util::DOMDocumentPtr document = XercesHelper::createDocument(kRelationshipsNs, u"Relationships");
  x::DOMElement* root = document->getDocumentElement();
  for (const Relationship& relationship : relationships.all()) {
    x::DOMElement* entry = document->createElementNS(kRelationshipsNs, u"Relationship");
    entry->setAttribute(u"Id", relationship.getId().c_str());
    entry->setAttribute(u"Type", relationship.getType().c_str());
    entry->setAttribute(u"Target", relationship.getTargetURI(false).toString().c_str());
    if (relationship.getTargetMode() == TargetMode::External) {
      entry->setAttribute(u"TargetMode", u"External");
    }
    root->appendChild(entry);
  }
  write(writer, out, *document);
}

namespace {

// The core properties, their element names and where each is kept.
struct CoreField {
  const char16_t* namespaceUri;
  const char16_t* prefix;
  const char16_t* localName;
  ustring CoreProperties::*text;
  boost::posix_time::ptime CoreProperties::*time;
  bool w3cdtf;  // written with xsi:type="dcterms:W3CDTF"
};

const CoreField kCoreFields[] = {
    {kCoreNs, u"cp", u"category", &CoreProperties::category, nullptr, false},
    {kCoreNs, u"cp", u"contentStatus", &CoreProperties::contentStatus, nullptr, false},
    {kDcTermsNs, u"dcterms", u"created", nullptr, &CoreProperties::created, true},
    {kDcNs, u"dc", u"creator", &CoreProperties::creator, nullptr, false},
    {kDcNs, u"dc", u"description", &CoreProperties::description, nullptr, false},
    {kDcNs, u"dc", u"identifier", &CoreProperties::identifier, nullptr, false},
    {kCoreNs, u"cp", u"keywords", &CoreProperties::keywords, nullptr, false},
    {kDcNs, u"dc", u"language", &CoreProperties::language, nullptr, false},
    {kCoreNs, u"cp", u"lastModifiedBy", &CoreProperties::lastModifiedBy, nullptr, false},
    {kCoreNs, u"cp", u"lastPrinted", nullptr, &CoreProperties::lastPrinted, false},
    {kDcTermsNs, u"dcterms", u"modified", nullptr, &CoreProperties::modified, true},
    {kCoreNs, u"cp", u"revision", &CoreProperties::revision, nullptr, false},
    {kDcNs, u"dc", u"subject", &CoreProperties::subject, nullptr, false},
    {kDcNs, u"dc", u"title", &CoreProperties::title, nullptr, false},
    {kCoreNs, u"cp", u"version", &CoreProperties::version, nullptr, false},
};

ustring trimmed(const ustring& text) {
  std::size_t begin = text.find_first_not_of(u" \t\r\n");
  if (begin == ustring::npos) return ustring();
  return text.substr(begin, text.find_last_not_of(u" \t\r\n") - begin + 1);
}

}  // namespace

CoreProperties readCoreProperties(x::DOMLSParser& parser, InputStream& in,
                                  const ustring& documentName) {
  util::DOMDocumentPtr document =
      XercesHelper::readDocumentFromStream(parser, in, false, kCoreNs, u"", documentName);
  CoreProperties properties;
  std::vector<bool> seen(std::size(kCoreFields), false);
  for (x::DOMElement* element = firstChildElement(document->getDocumentElement());
       element != nullptr; element = nextSiblingElement(element)) {
    for (std::size_t i = 0; i < std::size(kCoreFields); ++i) {
      const CoreField& field = kCoreFields[i];
      if (!isElement(element, field.namespaceUri, field.localName)) continue;
      std::string name = narrowAscii(field.prefix) + ":" + narrowAscii(field.localName);
      if (seen[i]) refuse(documentName, "the property " + name + " occurs twice");
      seen[i] = true;
      ustring text(view(element->getTextContent()));
      if (field.text != nullptr) {
        properties.*field.text = text;
      } else {
        try {
          properties.*field.time = CoreProperties::convertStringToTime(trimmed(text));
        } catch (const std::runtime_error& e) {
          refuse(documentName, "the property " + name + ": " + e.what());
        }
      }
    }
  }
  return properties;
}

void writeCoreProperties(x::DOMLSSerializer& writer, OutputStream& out,
                         const CoreProperties& properties) {
  util::DOMDocumentPtr document = XercesHelper::createDocument(kCoreNs, u"cp:coreProperties");
  x::DOMElement* root = document->getDocumentElement();
  root->setAttributeNS(kXmlnsNs, u"xmlns:dc", kDcNs);
  root->setAttributeNS(kXmlnsNs, u"xmlns:dcterms", kDcTermsNs);
  root->setAttributeNS(kXmlnsNs, u"xmlns:xsi", kXsiNs);
  for (const CoreField& field : kCoreFields) {
    ustring text = field.text != nullptr
                       ? properties.*field.text
                       : CoreProperties::convertTimeToString(properties.*field.time);
    if (text.empty()) continue;
    ustring qualified = ustring(field.prefix) + u":" + field.localName;
    x::DOMElement* element = document->createElementNS(field.namespaceUri, qualified.c_str());
    if (field.w3cdtf) element->setAttributeNS(kXsiNs, u"xsi:type", u"dcterms:W3CDTF");
    element->setTextContent(text.c_str());
    root->appendChild(element);
  }
  write(writer, out, *document);
}

}  // namespace opc::model::detail
