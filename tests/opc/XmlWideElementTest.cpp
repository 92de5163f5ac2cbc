// The parser factory against an element of very many attributes, which the document tree
// would add in time quadratic in their number.
#include <gtest/gtest.h>

#include <opc/model/Exceptions.hpp>
#include <opc/util/XercesHelper.hpp>
#include <sstream>
#include <string>

#include "OpcTestSupport.hpp"

namespace {

using opc::model::InvalidXMLDocument;
using opc::util::XercesHelper;

/// A root whose child carries `count` attributes, namespace declaration included.
opc::util::DOMDocumentPtr parseWide(std::size_t count) {
  std::string xml = "<r xmlns='urn:t'><e xmlns:p='urn:p'";
  for (std::size_t i = 1; i < count; ++i) xml += " a" + std::to_string(i) + "='v'";
  xml += "/></r>";
  auto parser = XercesHelper::createParser();
  std::istringstream text(xml);
  opc::StdIStreamAdaptor in(text);
  return XercesHelper::readDocumentFromStream(*parser, in, false, u"urn:t", u"", u"wide.xml");
}

TEST(WideElement, UpToTheCapIsRead) {
  EXPECT_NE(parseWide(XercesHelper::kMaxAttributesPerElement), nullptr);
}

TEST(WideElement, OneAttributePastTheCapFails) {
  EXPECT_OPC_ERROR(parseWide(XercesHelper::kMaxAttributesPerElement + 1), InvalidXMLDocument,
                   "wide.xml, line 1, column 1082: an element with more than 128 attributes");
}

}  // namespace
