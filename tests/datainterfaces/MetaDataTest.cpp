// Metadata: a replaced property is found with its last value; a missing one names its key.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <stdexcept>

namespace {

using Quorlith::kzfdatainterfaces::KZFMetaData;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(MetaDataTest, SetReplacesAndAMissingPropertyIsReportedByKey) {
  KZFMetaData meta;
  meta.set("cipher", "none");
  meta.set("cipher", "aes");
  EXPECT_EQ(meta.get("cipher"), "aes");
  EXPECT_FALSE(meta.has("key-id"));
  EXPECT_THAT([&] { meta.get("key-id"); },
              ThrowsMessage<std::out_of_range>(HasSubstr("metadata property 'key-id' is not set")));
}

}  // namespace
