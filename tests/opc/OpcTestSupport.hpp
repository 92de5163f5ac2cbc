// Test support for the package model: error matchers, reading parts, a zip container per test
// that can also be laid out item by item, and a look at written XML.
#pragma once

#include <gmock/gmock.h>

#include <map>
#include <opc/Stream.hpp>
#include <opc/String.hpp>
#include <opc/model/Part.hpp>
#include <opc/util/XercesHelper.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "MemoryStreams.hpp"
#include "RowLabel.hpp"
#include "TempDir.hpp"

/// Expects `statement` to throw `Type` whose text contains `text`.
#define EXPECT_OPC_ERROR(statement, Type, text) \
  EXPECT_THAT([&] { statement; }, ::testing::ThrowsMessage<Type>(::testing::HasSubstr(text)))

namespace opctest {

inline std::string readAll(opc::InputStream& in) {
  std::ostringstream out;
  opc::StreamHelper::copyStreamToStream(in, out);
  return out.str();
}

inline std::string readPart(const opc::model::Part& part) {
  return readAll(*part.getInputStream());
}

/// UTF-16 to ASCII for assertions (each code unit must be ASCII).
inline std::string ascii(const opc::ustring& text) { return std::string(text.begin(), text.end()); }

/// A fresh zip file per test: `container` to build packages on, and raw items for reading.
class ContainerTest : public kzftest::TempDirTest {
 protected:
  /// Writes `items` (name, bytes) as they stand; "[Content_Types].xml" holds `types` first.
  void layOut(const std::string& types,
              const std::vector<std::pair<std::string, std::string>>& items) {
    container.open(opc::interfaces::OpenMode::Create);
    std::vector<std::pair<std::string, std::string>> all = {
        {"[Content_Types].xml",
         "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>" + types +
             "</Types>"}};
    all.insert(all.end(), items.begin(), items.end());
    for (const auto& [name, bytes] : all) {
      container.createItem(name, opc::interfaces::CompressionType::Deflated, 0)
          ->write(bytes.data(), bytes.size());
    }
    container.close(false);
  }
  /// The names of the stored items, in their order.
  std::vector<std::string> itemNames() {
    opc::zippackage::ZipPhysicalPackage reader(path, false, false);
    reader.open(opc::interfaces::OpenMode::Read);
    std::vector<std::string> names;
    for (const auto& item : reader.getItems()) names.push_back(item.name);
    return names;
  }
  std::string item(const std::string& name) {
    opc::zippackage::ZipPhysicalPackage reader(path, false, false);
    reader.open(opc::interfaces::OpenMode::Read);
    return readAll(*reader.openItem(name));
  }

  const opc::ustring path = opc::toString((tmp / "p.kzf").string());
  opc::zippackage::ZipPhysicalPackage container{path, false, false};
};

/// The elements under the root of an XML text, each as "Name attr=value attr=value" with the
/// attributes sorted by name, for comparing written documents independent of attribute order.
inline std::vector<std::string> childElements(const std::string& xml) {
  auto parser = opc::util::XercesHelper::createParser();
  kzftest::TextInputStream in(xml);
  auto document = opc::util::XercesHelper::readDocumentFromStream(*parser, in, false, u"", u"");
  std::vector<std::string> out;
  for (auto* node = document->getDocumentElement()->getFirstElementChild(); node != nullptr;
       node = node->getNextElementSibling()) {
    std::map<std::string, std::string> attributes;
    auto* map = node->getAttributes();
    for (XMLSize_t i = 0; i < map->getLength(); ++i) {
      attributes[ascii(map->item(i)->getNodeName())] = ascii(map->item(i)->getNodeValue());
    }
    std::string line = ascii(node->getLocalName());
    for (const auto& [name, value] : attributes) line += " " + name + "=" + value;
    out.push_back(line);
  }
  return out;
}

}  // namespace opctest
