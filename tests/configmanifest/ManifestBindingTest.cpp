// The configuration manifest's binding: what reads, what is rejected, what lookups find.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfpackage/kzf_manifest.hpp>
#include <sstream>
#include <string>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/FindElement.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "kzf_manifest_dom.hpp"

namespace {

using kzf_manifest::manifest;
using ::testing::HasSubstr;
using xsd_binder::Element;
using xsd_binder::MalformedDocumentError;
using configuration = manifest::configuration;

Element<manifest> parse(const std::string& xml) {
  std::istringstream in(xml);
  opc::StdIStreamAdaptor stream(in);
  return xsd_binder::parseStream<manifest>(stream, u"", u"");
}

std::string write(const Element<manifest>& tree) {
  std::ostringstream out;
  xsd_binder::writeToStream(tree, out, false, u"");
  return out.str();
}

const std::string kConfigurationBody =
    "<session-key/><public-key/><velmor-path/><java-class-path/><library-path/>"
    "<application-options/><runtime-options/><warning-state/><prefdir ref=\"P\"/>"
    "<public-functions/>";

std::string manifestWith(const std::string& children) {
  return "<manifest default-config=\"C\">" + children + "</manifest>";
}

std::string configurationWith(const std::string& body, const std::string& id = "C") {
  return "<configuration id=\"" + id + "\">" + body + "</configuration>";
}

TEST(ManifestBindingTest, ManifestWithoutChildrenReadsAsAnEmptyList) {
  const Element<manifest> tree = parse("<manifest default-config=\"C\"/>");
  EXPECT_TRUE(tree.children.empty());
  EXPECT_EQ(tree.attributes.default_config, u"C");
  EXPECT_EQ(tree.attributes.uuid, u"");
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<configuration>(tree, u"C"), nullptr);
}

TEST(ManifestBindingTest, MinimalConfigurationIsValid) {
  // No main function, no messages, no feature lists.
  const Element<manifest> tree = parse(manifestWith(configurationWith(kConfigurationBody)));
  const auto* config = xsd_binder::findElementByTypeAndId<configuration>(tree, u"C");
  ASSERT_NE(config, nullptr);
  const auto& rest = config->children.continuation;
  EXPECT_TRUE(rest.main_function.empty());
  EXPECT_TRUE(rest.lm_feature_list.empty());
  EXPECT_TRUE(rest.init_start_msg.empty());
  EXPECT_TRUE(rest.init_complete_msg.empty());
  EXPECT_EQ(rest.prefdir.attributes.ref, u"P");
}

TEST(ManifestBindingTest, KindsMixInAnyOrderAndKeepTheirPlaces) {
  const Element<manifest> tree = parse(manifestWith(
      "<function id=\"F\"><name>f</name><inputs/><outputs/></function>"
      "<file id=\"X\" path=\"/a/f.m\"/>" +
      configurationWith(kConfigurationBody) + "<directory id=\"P\" path=\".velmor\"/>"));
  ASSERT_EQ(tree.children.size(), 4u);
  EXPECT_TRUE(std::holds_alternative<Element<manifest::function>>(tree.children[0]));
  EXPECT_TRUE(std::holds_alternative<Element<manifest::file>>(tree.children[1]));
  EXPECT_TRUE(std::holds_alternative<Element<configuration>>(tree.children[2]));
  EXPECT_TRUE(std::holds_alternative<Element<manifest::directory>>(tree.children[3]));
  EXPECT_EQ(std::get<Element<manifest::file>>(tree.children[1]).attributes.path, u"/a/f.m");
}

TEST(ManifestBindingTest, LookupsGoByKindAndTakeTheFirstMatch) {
  // Both directories are kept, even the one of a path already declared.
  const Element<manifest> tree = parse(
      manifestWith("<directory id=\"X\" path=\"/first\"/><function id=\"X\"><name>f</name><inputs/>"
                   "<outputs/></function><directory id=\"X\" path=\"/first\"/><directory id=\"B\" "
                   "path=\"/first\"/>"));
  ASSERT_EQ(tree.children.size(), 4u);
  const auto* dir = xsd_binder::findElementByTypeAndId<manifest::directory>(tree, u"X");
  ASSERT_NE(dir, nullptr);
  EXPECT_EQ(dir, &std::get<Element<manifest::directory>>(tree.children[0]));
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<manifest::directory>(tree, u"B"),
            &std::get<Element<manifest::directory>>(tree.children[3]));
  const auto* function = xsd_binder::findElementByTypeAndId<manifest::function>(tree, u"X");
  ASSERT_NE(function, nullptr);
  EXPECT_EQ(function->children.name.children, u"f");
  EXPECT_EQ(xsd_binder::findElementByTypeAndId<configuration>(tree, u"X"), nullptr);
}

TEST(ManifestBindingTest, FeatureListsAreCarriedThroughUnread) {
  const std::string features =
      "<lm-feature-list><feature code=\"SIG\" seats=\"5\">signal <b>pro</b></feature>"
      "<feature/></lm-feature-list><lm-feature-list/>";
  const std::string xml = manifestWith(
      configurationWith(kConfigurationBody + features + "<init-start-msg>go</init-start-msg>"));
  const Element<manifest> tree = parse(xml);
  const auto& rest = std::get<Element<configuration>>(tree.children[0]).children.continuation;
  ASSERT_EQ(rest.lm_feature_list.size(), 2u);
  ASSERT_EQ(rest.lm_feature_list[0].children.size(), 2u);
  EXPECT_EQ(rest.lm_feature_list[0].children[0].children.attributes.size(), 2u);
  ASSERT_EQ(rest.init_start_msg.size(), 1u);

  EXPECT_THAT(write(tree), HasSubstr(features));
  EXPECT_EQ(parse(write(tree)), tree);
}

TEST(ManifestBindingTest, WrittenTreeReadsBackEqual) {
  Element<manifest> tree;
  tree.attributes.uuid = u"\u00fc";
  Element<manifest::function> function;
  function.attributes.id = u"F";
  function.children.name.children = u"f";
  function.children.outputs.children.resize(2);
  function.children.outputs.children[1].attributes.name = u"y";
  tree.children.emplace_back(function);
  Element<configuration> config;
  config.attributes.expires = u"2012-Jul-24";
  config.children.velmor_path.children.resize(1);
  config.children.continuation.main_function.resize(3);
  config.children.continuation.init_complete_msg.resize(1);
  tree.children.emplace_back(config);
  EXPECT_EQ(parse(write(tree)), tree);
}

struct MisfitRow {
  const char* name;
  std::string xml;
  std::string reason;
  friend void PrintTo(const MisfitRow& row, std::ostream* os) { *os << row.name; }
};

class ManifestBindingMisfit : public ::testing::TestWithParam<MisfitRow> {};

TEST_P(ManifestBindingMisfit, IsRejectedAsMalformed) {
  try {
    parse(GetParam().xml);
    FAIL() << "accepted";
  } catch (const MalformedDocumentError& e) {
    EXPECT_THAT(e.reason(), HasSubstr(GetParam().reason));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Documents, ManifestBindingMisfit,
    ::testing::Values(
        MisfitRow{"WrongRoot", "<manifests/>", "expected the element \"manifest\""},
        MisfitRow{"UnknownTopLevel", manifestWith("<folder id=\"A\"/>"),
                  "/manifest/folder: an element the tree does not allow here"},
        MisfitRow{"EmptyConfiguration", manifestWith("<configuration id=\"C\"/>"),
                  "/manifest/configuration: the required element \"session-key\" is missing"},
        MisfitRow{"ContinuationMissing",
                  manifestWith(configurationWith(
                      "<session-key/><public-key/><velmor-path/><java-class-path/>"
                      "<library-path/><application-options/><runtime-options/>")),
                  "the required element \"warning-state\" is missing"},
        MisfitRow{"MessageBeforeFeatureList",
                  manifestWith(configurationWith(kConfigurationBody +
                                                 "<init-start-msg/><lm-feature-list/>")),
                  "/manifest/configuration/lm-feature-list: an element the tree does not"},
        MisfitRow{
            "MainFunctionAfterPublicFunctions",
            manifestWith(configurationWith(kConfigurationBody + "<main-function ref=\"F\"/>")),
            "/manifest/configuration/main-function: an element the tree does not"},
        MisfitRow{"OptionWithMarkup",
                  manifestWith(configurationWith(
                      "<session-key/><public-key/><velmor-path/><java-class-path/>"
                      "<library-path/><application-options><option><b/></option>"
                      "</application-options>")),
                  "a text-only element holds the element \"b\""},
        MisfitRow{"PathItemInOptionList",
                  manifestWith(configurationWith(
                      "<session-key/><public-key/><velmor-path/><java-class-path/>"
                      "<library-path/><application-options><path-item ref=\"D\"/>"
                      "</application-options>")),
                  "found where the element \"option\" was expected"},
        MisfitRow{"FunctionOutOfOrder",
                  manifestWith("<function id=\"F\"><inputs/><name>f</name><outputs/></function>"),
                  "/manifest/function/inputs: found where the element \"name\" was expected"},
        MisfitRow{"ParamWithChildren",
                  manifestWith("<function id=\"F\"><name>f</name><inputs><param name=\"a\">"
                               "<param/></param></inputs><outputs/></function>"),
                  "/manifest/function/inputs/param/param: an element the tree does not"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
