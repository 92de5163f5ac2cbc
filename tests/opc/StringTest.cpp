// Narrow text to UTF-16, and the storage hints of new parts.
#include <gtest/gtest.h>

#include <opc/String.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "OpcTestSupport.hpp"

namespace {

TEST(OpcStringTest, AsciiLiteralsWidenUnitForUnit) {
  EXPECT_EQ(opc::toStringFromASCIIStringLiteral("/.META/manifest.xml"), u"/.META/manifest.xml");
  EXPECT_EQ(opc::toStringFromASCIIStringLiteral(""), u"");
  EXPECT_OPC_ERROR(opc::toStringFromASCIIStringLiteral("caf\xc3\xa9"), std::runtime_error,
                   "non-ASCII byte at offset 3");
  EXPECT_OPC_ERROR(opc::toStringFromASCIIStringLiteral(nullptr), std::runtime_error, "null text");
}

TEST(OpcStringTest, NarrowTextUsesTheProcessEncoding) {
  // The tests run in the C locale, whose encoding counts as UTF-8.
  EXPECT_EQ(opc::toString("caf\xc3\xa9"), u"caf\u00e9");
}

TEST(StandardPartInfoTest, NumbersNameTheCompression) {
  using opc::interfaces::CompressionType;
  EXPECT_EQ(opc::model::StandardPartInfo(1, 7).getCompressionType(), CompressionType::Deflated);
  EXPECT_EQ(opc::model::StandardPartInfo(0, 7).getCompressionType(), CompressionType::Stored);
  EXPECT_EQ(opc::model::StandardPartInfo(0, 7).getSize(), 7u);
  EXPECT_OPC_ERROR(opc::model::StandardPartInfo(8, 0), std::runtime_error,
                   "unknown compression type 8 (0 stored, 1 deflated)");
}

}  // namespace
