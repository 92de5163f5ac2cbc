// The schema text carried by the serializer: one line in a fixed layout around its namespace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <regex>
#include <string>

namespace {

using Quorlith::kzfpackage::KZFExtractionSerializer;
using ::testing::EndsWith;
using ::testing::StartsWith;

const std::string kSchema = KZFExtractionSerializer::SCHEMA;
const std::string kNamespace = KZFExtractionSerializer::NAMESPACE;

TEST(ManifestSchemaTextTest, IsOneLineWithoutWhitespaceBetweenTags) {
  EXPECT_THAT(kSchema, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>"
                                  "<xsd:schema "));
  EXPECT_THAT(kSchema, EndsWith("</xsd:schema>"));
  EXPECT_FALSE(std::regex_search(kSchema, std::regex("[\\r\\n\\t]|>\\s+<")));
}

TEST(ManifestSchemaTextTest, EveryEmptyElementIsClosedByABlankAndASlash) {
  std::size_t closings = 0;
  for (std::size_t at = kSchema.find("/>"); at != std::string::npos;
       at = kSchema.find("/>", at + 2)) {
    ++closings;
    EXPECT_EQ(kSchema[at - 1], ' ') << "at byte " << at;
  }
  EXPECT_EQ(closings, 12u);  // three enumerations, seven attributes, the two elements
}

TEST(ManifestSchemaTextTest, LengthIsTheFixedLayoutPlusTheNamespaceTwice) {
  // Guards the layout byte for byte: only the namespace (through its host) may vary.
  EXPECT_EQ(std::strlen(KZFExtractionSerializer::SCHEMA), 1270u + 2u * kNamespace.size());
}

}  // namespace
