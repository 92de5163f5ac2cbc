// Test support for the package model: error matchers and small stream helpers.
#pragma once

#include <gmock/gmock.h>

#include <map>
#include <opc/Stream.hpp>
#include <opc/String.hpp>
#include <opc/model/Part.hpp>
#include <opc/util/XercesHelper.hpp>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

/// Expects `statement` to throw `Type` whose text contains `text`.
#define EXPECT_OPC_ERROR(statement, Type, text) \
  EXPECT_THAT([&] { statement; }, ::testing::ThrowsMessage<Type>(::testing::HasSubstr(text)))

namespace opctest {

inline opc::ustring u16(const std::string& ascii) {
  return opc::ustring(ascii.begin(), ascii.end());
}

/// Writes `bytes` to the part's output stream.
inline void writePart(opc::model::Part part, const std::string& bytes) {
  auto out = part.getOutputStream();
  ASSERT_EQ(out->write(bytes.data(), bytes.size()), bytes.size());
}

/// Reads the whole of the part.
inline std::string readPart(const opc::model::Part& part) {
  auto in = part.getInputStream();
  std::ostringstream out;
  opc::StreamHelper::copyStreamToStream(*in, out);
  return out.str();
}

/// Names the rows of a TEST_P table after their `label` field.
struct RowLabel {
  template <typename Row>
  std::string operator()(const ::testing::TestParamInfo<Row>& row) const {
    return row.param.label;
  }
};

/// UTF-16 to ASCII for assertions (each code unit must be ASCII).
inline std::string ascii(const opc::ustring& text) { return std::string(text.begin(), text.end()); }

/// The elements under the root of an XML text, each as "Name attr=value attr=value" with the
/// attributes sorted by name, for comparing written documents independent of attribute order.
inline std::vector<std::string> childElements(const std::string& xml) {
  auto parser = opc::util::XercesHelper::createParser();
  std::istringstream text(xml);
  opc::StdIStreamAdaptor in(text);
  auto document = opc::util::XercesHelper::readDocumentFromStream(*parser, in, false, u"", u"");
  std::vector<std::string> out;
  for (auto* node = document->getDocumentElement()->getFirstChild(); node != nullptr;
       node = node->getNextSibling()) {
    if (node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
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
