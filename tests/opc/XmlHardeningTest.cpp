// The hardened parser where the package model reads documents: by file name it still caps the
// size and refuses a DOCTYPE, and "[Content_Types].xml" goes through it too.
#include <gtest/gtest.h>

#include <boost/filesystem/fstream.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/util/XercesHelper.hpp>

#include "OpcTestSupport.hpp"
#include "XmlAttacks.hpp"

namespace {

using opc::model::InvalidXMLDocument;
using opc::util::XercesHelper;

TEST(XmlParser, DocumentsReadByUriAreCappedAndHardenedToo) {
  kzftest::TempDir tmp;
  boost::filesystem::ofstream(tmp / "big.xml") << "<r>" << std::string(4096, 'x') << "</r>";
  boost::filesystem::ofstream(tmp / "doctype.xml") << "<!DOCTYPE r SYSTEM 'file:///etc/x'><r/>";
  auto parser = XercesHelper::createParser(1024);
  EXPECT_OPC_ERROR(parser->parseURI((tmp / "big.xml").c_str()), InvalidXMLDocument,
                   "big.xml: the document is larger than the limit of 1024 bytes");
  EXPECT_OPC_ERROR(parser->parseURI((tmp / "doctype.xml").c_str()), InvalidXMLDocument,
                   "a DOCTYPE declaration is not allowed");
}

class PackageUnderAttack : public opctest::ContainerTest {};

TEST_F(PackageUnderAttack, ContentTypesAreReadByTheHardenedParser) {
  for (const auto& [types, reason] : std::vector<std::pair<std::string, std::string>>{
           {kzftest::billionLaughs("Types") + "<Types/>",
            "p.kzf:[Content_Types].xml, line 1, column 17: a DOCTYPE declaration is not allowed"},
           {"<Types xmlns='urn:evil'/>", "is in namespace \"urn:evil\""}}) {
    container.open(opc::interfaces::OpenMode::Create);
    container.createItem("[Content_Types].xml", opc::interfaces::CompressionType::Stored, 0)
        ->write(types.data(), types.size());
    container.close(false);
    opc::model::Package package(container, true);
    EXPECT_OPC_ERROR(package.open(opc::interfaces::OpenMode::Read), InvalidXMLDocument, reason);
    EXPECT_FALSE(container.isOpen());
  }
}

}  // namespace
