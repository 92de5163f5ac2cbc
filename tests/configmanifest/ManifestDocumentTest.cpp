// The written configuration manifest: declarations once each, references by "ref", every
// attribute present, the configuration last and named by "default-config".
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfpackage/KZFSettings.hpp>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/util/XMLChar.hpp>

#include "SettingsTestSupport.hpp"

namespace {

using fl::i18n::ustring;
using kzftest::fullSettings;
using kzftest::KZFSettings;
using kzftest::saveToString;
using kzftest::WrittenXml;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Elements = std::vector<const xercesc::DOMElement*>;

std::vector<ustring> tagsOf(const Elements& elements) {
  std::vector<ustring> tags;
  for (const auto* e : elements) tags.push_back(e->getTagName());
  return tags;
}

std::vector<ustring> refsOf(const Elements& elements) {
  std::vector<ustring> refs;
  for (const auto* e : elements) refs.push_back(WrittenXml::attribute(*e, u"ref"));
  return refs;
}

class ManifestDocumentTest : public ::testing::Test {
 protected:
  ManifestDocumentTest() : xml(saveToString(fullSettings())), doc(xml) {
    for (const auto* d : WrittenXml::children(doc.root(), u"directory")) {
      dirId[WrittenXml::attribute(*d, u"path")] = WrittenXml::attribute(*d, u"id");
    }
    for (const auto* f : WrittenXml::children(doc.root(), u"function")) {
      functionId[WrittenXml::text(WrittenXml::child(*f, u"name"))] =
          WrittenXml::attribute(*f, u"id");
    }
  }

  const xercesc::DOMElement& config() const {
    return WrittenXml::child(doc.root(), u"configuration");
  }
  const xercesc::DOMElement& configChild(const ustring& name) const {
    return WrittenXml::child(config(), name);
  }

  std::string xml;
  WrittenXml doc;
  std::map<ustring, ustring> dirId;       // path -> id
  std::map<ustring, ustring> functionId;  // name -> id
};

TEST_F(ManifestDocumentTest, DeclaresEachDirectoryAndFunctionOnceThenTheConfiguration) {
  EXPECT_THAT(tagsOf(WrittenXml::children(doc.root())),
              ElementsAre(u"directory", u"directory", u"directory", u"directory", u"function",
                          u"function", u"configuration"));
  std::vector<ustring> paths;
  for (const auto* d : WrittenXml::children(doc.root(), u"directory")) {
    paths.push_back(WrittenXml::attribute(*d, u"path"));
  }
  // In the order of their first reference: the path lists, then the preferences directory.
  EXPECT_THAT(paths, ElementsAre(u"/opt/app/m", u"/opt/shared dir/\u00e9t\u00e9", u"/opt/app/jar",
                                 u".velmor"));
  EXPECT_EQ(functionId.size(), 2u);
  EXPECT_EQ(functionId.count(u"analyseAlias"), 0u);
}

TEST_F(ManifestDocumentTest, PathListsReferToTheSharedDirectories) {
  const ustring shared = dirId.at(u"/opt/shared dir/\u00e9t\u00e9");
  const ustring m = dirId.at(u"/opt/app/m");
  EXPECT_THAT(refsOf(WrittenXml::children(configChild(u"velmor-path"), u"path-item")),
              ElementsAre(m, shared, m));
  EXPECT_THAT(refsOf(WrittenXml::children(configChild(u"java-class-path"), u"path-item")),
              ElementsAre(shared, dirId.at(u"/opt/app/jar")));
  EXPECT_THAT(refsOf(WrittenXml::children(configChild(u"library-path"), u"path-item")),
              ElementsAre(shared));
  EXPECT_EQ(WrittenXml::attribute(configChild(u"prefdir"), u"ref"), dirId.at(u".velmor"));
}

TEST_F(ManifestDocumentTest, FunctionsAreReferredToByRef) {
  const ustring analyse = functionId.at(u"analyse");
  EXPECT_THAT(refsOf(WrittenXml::children(config(), u"main-function")), ElementsAre(analyse));
  EXPECT_THAT(refsOf(WrittenXml::children(configChild(u"public-functions"), u"function")),
              ElementsAre(analyse, analyse, functionId.at(u"\u00fcbersicht")));

  for (const auto* f : WrittenXml::children(doc.root(), u"function")) {
    if (WrittenXml::attribute(*f, u"id") != analyse) continue;
    EXPECT_THAT(tagsOf(WrittenXml::children(*f)), ElementsAre(u"name", u"inputs", u"outputs"));
    std::vector<ustring> inputs;
    for (const auto* p : WrittenXml::children(WrittenXml::child(*f, u"inputs"), u"param")) {
      inputs.push_back(WrittenXml::attribute(*p, u"name"));
    }
    EXPECT_THAT(inputs, ElementsAre(u"signal", u"rate"));
  }
}

TEST_F(ManifestDocumentTest, IdsAreUniqueNCNamesWithTheirKindsPrefix) {
  std::set<ustring> ids;
  for (const auto* e : WrittenXml::children(doc.root())) {
    const ustring id = WrittenXml::attribute(*e, u"id");
    EXPECT_TRUE(xercesc::XMLChar1_0::isValidNCName(id.c_str(), id.size()))
        << fl::i18n::to_string(id);
    EXPECT_TRUE(ids.insert(id).second) << "repeated id " << fl::i18n::to_string(id);
  }
  for (const auto& [path, id] : dirId) EXPECT_THAT(fl::i18n::to_string(id), StartsWith("DIR_"));
  for (const auto& [name, id] : functionId) {
    EXPECT_THAT(fl::i18n::to_string(id), StartsWith("FUNCTION_"));
  }
}

TEST_F(ManifestDocumentTest, RootAndConfigurationCarryTheirValues) {
  const auto& root = doc.root();
  EXPECT_FALSE(WrittenXml::attribute(config(), u"id").empty());
  EXPECT_EQ(WrittenXml::attribute(root, u"default-config"), WrittenXml::attribute(config(), u"id"));
  EXPECT_EQ(WrittenXml::attribute(root, u"uuid"), fullSettings().uuid);
  EXPECT_EQ(WrittenXml::attribute(root, u"component-name"), fullSettings().componentName);
  EXPECT_EQ(WrittenXml::attribute(root, u"vrt-release-version"), u"614");
  EXPECT_EQ(WrittenXml::attribute(root, u"need_java"), u"1");
  EXPECT_EQ(WrittenXml::attribute(root, u"need_exclusive_vrt_process"), u"0");
  EXPECT_EQ(WrittenXml::attribute(config(), u"expires"), u"2012-Jul-24");
  EXPECT_EQ(WrittenXml::text(configChild(u"session-key")), u"sk-\u00e4\t\r\n\x7f");
  EXPECT_EQ(WrittenXml::text(configChild(u"init-complete-msg")), u"Fertig <&>");
}

TEST_F(ManifestDocumentTest, ConfigurationChildrenStandInTheirOrderWithoutApplicationOptions) {
  EXPECT_THAT(tagsOf(WrittenXml::children(config())),
              ElementsAre(u"session-key", u"public-key", u"velmor-path", u"java-class-path",
                          u"library-path", u"application-options", u"runtime-options",
                          u"warning-state", u"prefdir", u"main-function", u"public-functions",
                          u"init-start-msg", u"init-complete-msg"));
  EXPECT_TRUE(WrittenXml::children(configChild(u"application-options")).empty());
  EXPECT_EQ(WrittenXml::children(configChild(u"runtime-options"), u"option").size(), 2u);
}

TEST_F(ManifestDocumentTest, SavedDocumentIsCompactUtf8) {
  EXPECT_THAT(xml, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\""));
  EXPECT_THAT(xml, Not(HasSubstr(">\n")));  // the session key holds a line break of its own
  EXPECT_THAT(xml, HasSubstr("Spektralanalyse \xc3\xa4\xc3\xb6\xc3\xbc \xe6\x97\xa5"));
}

TEST(ManifestDocumentAttributesTest, EveryAttributeIsWrittenEvenWhenEmpty) {
  KZFSettings s;  // empty texts, no expiry date
  const WrittenXml doc(saveToString(s));
  for (const char16_t* name : {u"default-config", u"signature", u"uuid", u"component-name",
                               u"vrt-major-version", u"vrt-minor-version", u"vrt-release-version",
                               u"need_java", u"need_exclusive_vrt_process"}) {
    EXPECT_TRUE(doc.root().hasAttribute(name)) << fl::i18n::to_string(name);
  }
  EXPECT_EQ(WrittenXml::attribute(doc.root(), u"signature"), u"");
  const auto& config = WrittenXml::child(doc.root(), u"configuration");
  for (const char16_t* name : {u"id", u"name", u"require", u"expires"}) {
    EXPECT_TRUE(config.hasAttribute(name)) << fl::i18n::to_string(name);
  }
  EXPECT_EQ(WrittenXml::attribute(config, u"expires"), u"");
}

TEST(ManifestDocumentPrintTest, DefaultSettingsPrintOneConfigurationAndOneDirectory) {
  KZFSettings s;
  s.needJava = false;
  s.needExclusiveVrtProcess = true;
  std::ostringstream printed;
  printed << s;
  const WrittenXml doc(printed.str());
  EXPECT_THAT(tagsOf(WrittenXml::children(doc.root())),
              ElementsAre(u"directory", u"configuration"));
  EXPECT_EQ(WrittenXml::attribute(WrittenXml::child(doc.root(), u"directory"), u"path"),
            u".velmor");
  EXPECT_EQ(WrittenXml::attribute(doc.root(), u"need_exclusive_vrt_process"), u"1");
  // Printing indents, saving does not.
  EXPECT_THAT(printed.str(), HasSubstr("\n  <configuration"));
}

}  // namespace
