// The reference manager: one declaration per key, ids by kind, and the key map that paths and
// function locations share.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfpackage/KZFManifestReferenceManager.hpp>
#include <string>
#include <variant>

#include "SettingsTestSupport.hpp"

namespace {

using kzf_manifest::function_list;
using kzf_manifest::manifest;
using kzf_manifest::path_list;
using Quorlith::kzfpackage::KZFManifestReferenceManager;
using ::testing::StartsWith;
using xsd_binder::Element;
using configuration = manifest::configuration;

class ReferenceManagerTest : public ::testing::Test {
 protected:
  template <typename K>
  std::vector<const Element<K>*> declared() const {
    std::vector<const Element<K>*> found;
    for (const auto& child : tree.children) {
      if (const auto* e = std::get_if<Element<K>>(&child)) found.push_back(e);
    }
    return found;
  }

  xsd_binder::IDGenerator generator;
  Element<manifest> tree;
  KZFManifestReferenceManager references{generator, tree};
};

TEST_F(ReferenceManagerTest, DeclaresADirectoryOnFirstUseOnly) {
  const auto first = references.make_reference_to_dir<path_list::path_item>(u"/opt/a b/\u00e4");
  const auto again = references.make_reference_to_dir<configuration::prefdir>(u"/opt/a b/\u00e4");
  const auto other = references.make_reference_to_dir<path_list::path_item>(u"/opt/c");

  const auto dirs = declared<manifest::directory>();
  ASSERT_EQ(dirs.size(), 2u);
  EXPECT_EQ(dirs[0]->attributes.path, u"/opt/a b/\u00e4");
  EXPECT_EQ(first.attributes.ref, dirs[0]->attributes.id);
  EXPECT_EQ(again.attributes.ref, dirs[0]->attributes.id);
  EXPECT_EQ(other.attributes.ref, dirs[1]->attributes.id);
  EXPECT_THAT(fl::i18n::to_string(dirs[0]->attributes.id), StartsWith("DIR_"));
}

TEST_F(ReferenceManagerTest, DeclaresAFunctionPerLocationWithItsParameters) {
  const auto f = kzftest::velmorFunction(u"/app/f.m", u"f", {u"a", u"b"}, {u"c"});
  const auto alias = kzftest::velmorFunction(u"/app/f.m", u"g", {}, {});
  const auto main = references.make_reference_to_function<configuration::main_function>(f);
  const auto listed = references.make_reference_to_function<function_list::function>(alias);

  const auto functions = declared<manifest::function>();
  ASSERT_EQ(functions.size(), 1u);
  const auto& declaredF = *functions[0];
  EXPECT_THAT(fl::i18n::to_string(declaredF.attributes.id), StartsWith("FUNCTION_f_"));
  EXPECT_EQ(main.attributes.ref, declaredF.attributes.id);
  EXPECT_EQ(listed.attributes.ref, declaredF.attributes.id);
  EXPECT_EQ(declaredF.children.name.children, u"f");
  ASSERT_EQ(declaredF.children.inputs.children.size(), 2u);
  EXPECT_EQ(declaredF.children.inputs.children[1].attributes.name, u"b");
  ASSERT_EQ(declaredF.children.outputs.children.size(), 1u);
  EXPECT_EQ(declaredF.children.outputs.children[0].attributes.name, u"c");
}

TEST_F(ReferenceManagerTest, PathsAndLocationsShareOneKeyMap) {
  const auto dir = references.make_reference_to_dir<path_list::path_item>(u"/shared");
  const auto function = references.make_reference_to_function<function_list::function>(
      kzftest::velmorFunction(u"/shared", u"f", {}, {}));
  EXPECT_EQ(function.attributes.ref, dir.attributes.ref);
  EXPECT_TRUE(declared<manifest::function>().empty());
}

TEST_F(ReferenceManagerTest, FunctionsWithoutLocationAreAllOne) {
  references.make_reference_to_function<function_list::function>(
      kzftest::velmorFunction(u"", u"f", {}, {}));
  references.make_reference_to_function<function_list::function>(
      kzftest::velmorFunction(u"", u"g", {}, {}));
  EXPECT_EQ(declared<manifest::function>().size(), 1u);
}

TEST(ReferenceManagerSettingsTest, LocationEqualToAPathMakesTheSavedManifestUnloadable) {
  // The shared key map is kept as it is: the main function then refers to a directory.
  auto settings = kzftest::fullSettings();
  settings.publicFunctions = {kzftest::velmorFunction(u"/opt/app/m", u"f", {}, {})};
  const std::string xml = kzftest::saveToString(settings);
  EXPECT_EQ(xml.find("<function id="), std::string::npos);
  EXPECT_KZF_ERROR(kzftest::loadFromString(xml), "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
}

}  // namespace
