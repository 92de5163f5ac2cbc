// Metadata: properties set, replaced and looked up; a missing property names its key.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <stdexcept>

namespace {

using Quorlith::kzfdatainterfaces::KZFMetaData;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(MetaDataTest, SetReplacesAndGetFinds) {
  KZFMetaData meta;
  EXPECT_TRUE(meta.empty());
  meta.set("cipher", "none");
  meta.set("cipher", "aes");
  EXPECT_FALSE(meta.empty());
  EXPECT_TRUE(meta.has("cipher"));
  EXPECT_FALSE(meta.has("key"));
  EXPECT_EQ(meta.get("cipher"), "aes");
}

TEST(MetaDataTest, MissingPropertyIsReportedByKey) {
  KZFMetaData meta;
  meta.set("cipher", "aes");
  EXPECT_THAT([&] { meta.get("key-id"); },
              ThrowsMessage<std::out_of_range>(HasSubstr("metadata property 'key-id' is not set")));
}

}  // namespace
