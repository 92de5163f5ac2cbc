// The settings model: defaults and deep copies.
#include <gtest/gtest.h>

#include <kzfpackage/KZFSettings.hpp>

#include "SettingsTestSupport.hpp"

namespace {

using kzftest::fullSettings;
using kzftest::KZFSettings;

TEST(SettingsModelTest, DefaultsAreEmptyWithFlagsFalseAndNoExpiry) {
  const KZFSettings s;
  EXPECT_TRUE(s.uuid.empty());
  EXPECT_FALSE(s.needJava);
  EXPECT_FALSE(s.needExclusiveVrtProcess);
  EXPECT_FALSE(s.expires.has_value());
  EXPECT_TRUE(s.publicFunctions.empty());
  EXPECT_TRUE(s.mainFunction.name.empty());
  EXPECT_TRUE(s.sessionKey.empty());
  EXPECT_TRUE(s.prefdir.empty());
}

TEST(SettingsModelTest, CopiesAreEqualAndDeep) {
  const KZFSettings original = fullSettings();
  KZFSettings copy = original;
  kzftest::expectSettingsEqual(copy, original);

  copy.velmorPath.push_back(u"/more");
  copy.publicFunctions[0].inputs.clear();
  copy.sessionKey.append("!", 1);
  copy.expires = boost::gregorian::date(2030, 1, 1);
  kzftest::expectSettingsEqual(original, fullSettings());
}

TEST(SettingsModelTest, CopyOfSettingsWithoutExpiryHasNone) {
  KZFSettings original = fullSettings();
  original.expires.reset();
  KZFSettings assigned = fullSettings();
  assigned = original;
  EXPECT_FALSE(KZFSettings(original).expires.has_value());
  EXPECT_FALSE(assigned.expires.has_value());
}

}  // namespace
