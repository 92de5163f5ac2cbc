// Loading bad manifests: each failure comes out as its message identifier or exception.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <string>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "SettingsTestSupport.hpp"

namespace {

using kzftest::KZFSettings;
using kzftest::loadFromString;

// A valid manifest as another tool might write it: indented, ids of its own choosing.
const std::string kValid = R"(<?xml version="1.0" encoding="UTF-8"?>
<manifest default-config="C" signature="" uuid="u-1" component-name="comp"
    vrt-major-version="8" vrt-minor-version="0" vrt-release-version="614"
    need_java="1" need_exclusive_vrt_process="0">
  <directory id="D1" path="/opt/a"/>
  <directory id="P" path=".velmor"/>
  <function id="F1"><name>f</name><inputs><param name="x"/></inputs><outputs/></function>
  <configuration id="C" name="" require="" expires="2012-Jul-24">
    <session-key>s</session-key>
    <public-key>p</public-key>
    <velmor-path><path-item ref="D1"/></velmor-path>
    <java-class-path/>
    <library-path/>
    <application-options><option>-a</option></application-options>
    <runtime-options/>
    <warning-state/>
    <prefdir ref="P"/>
    <main-function ref="F1"/>
    <public-functions><function ref="F1"/></public-functions>
  </configuration>
</manifest>
)";

// `xml` with the first occurrence of `from` replaced by `to`.
std::string replaced(std::string xml, const std::string& from, const std::string& to) {
  auto at = xml.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) xml.replace(at, from.size(), to);
  return xml;
}

std::string variant(const std::string& from, const std::string& to) {
  return replaced(kValid, from, to);
}

TEST(SettingsLoadTest, TheBaseDocumentLoads) {
  const KZFSettings s = loadFromString(kValid);
  EXPECT_EQ(s.uuid, u"u-1");
  EXPECT_TRUE(s.needJava);
  EXPECT_EQ(s.mainFunction.name, u"f");
  EXPECT_EQ(s.velmorPath, std::vector<fl::i18n::ustring>{u"/opt/a"});
  EXPECT_EQ(s.applicationOptions, std::vector<fl::i18n::ustring>{u"-a"});
  EXPECT_EQ(s.prefdir, u".velmor");
  EXPECT_EQ(s.expires, boost::gregorian::date(2012, 7, 24));
}

enum class Failure { CoreProperties, BadLexicalCast, Malformed };

struct BadRow {
  const char* name;
  std::string from;
  std::string to;
  Failure failure;
  friend void PrintTo(const BadRow& row, std::ostream* os) { *os << row.name; }
};

class SettingsLoadFailure : public ::testing::TestWithParam<BadRow> {};

TEST_P(SettingsLoadFailure, IsReportedAsItsKind) {
  const std::string xml = variant(GetParam().from, GetParam().to);
  KZFSettings s;
  switch (GetParam().failure) {
    case Failure::CoreProperties:
      EXPECT_KZF_ERROR(loadFromString(xml, s), "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
      break;
    case Failure::BadLexicalCast:
      EXPECT_THROW(loadFromString(xml, s), boost::bad_lexical_cast);
      break;
    case Failure::Malformed:
      EXPECT_THROW(loadFromString(xml, s), xsd_binder::MalformedDocumentError);
      EXPECT_EQ(s.uuid, u"") << "a field was touched before the document was read";
      break;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Documents, SettingsLoadFailure,
    ::testing::Values(
        BadRow{"DefaultConfigNamesNothing", "default-config=\"C\"", "default-config=\"X\"",
               Failure::CoreProperties},
        BadRow{"DefaultConfigAbsent", "default-config=\"C\"", "", Failure::CoreProperties},
        BadRow{"DefaultConfigNamesADirectory", "default-config=\"C\"", "default-config=\"D1\"",
               Failure::CoreProperties},
        BadRow{"MainFunctionDangling", "<main-function ref=\"F1\"/>", "<main-function ref=\"F9\"/>",
               Failure::CoreProperties},
        BadRow{"MainFunctionNamesADirectory", "<main-function ref=\"F1\"/>",
               "<main-function ref=\"D1\"/>", Failure::CoreProperties},
        BadRow{"PublicFunctionDangling", "<function ref=\"F1\"/>", "<function ref=\"F2\"/>",
               Failure::CoreProperties},
        BadRow{"PathItemDangling", "<path-item ref=\"D1\"/>", "<path-item ref=\"D2\"/>",
               Failure::CoreProperties},
        BadRow{"PathItemNamesAFunction", "<path-item ref=\"D1\"/>", "<path-item ref=\"F1\"/>",
               Failure::CoreProperties},
        BadRow{"PrefdirDangling", "<prefdir ref=\"P\"/>", "<prefdir ref=\"Q\"/>",
               Failure::CoreProperties},
        BadRow{"NeedJavaTrue", "need_java=\"1\"", "need_java=\"true\"", Failure::BadLexicalCast},
        BadRow{"NeedJavaEmpty", "need_java=\"1\"", "need_java=\"\"", Failure::BadLexicalCast},
        BadRow{"NeedJavaLeadingZero", "need_java=\"1\"", "need_java=\"01\"",
               Failure::BadLexicalCast},
        BadRow{"NeedJavaSigned", "need_java=\"1\"", "need_java=\"+1\"", Failure::BadLexicalCast},
        BadRow{"NeedExclusiveAbsent", "need_exclusive_vrt_process=\"0\"", "",
               Failure::BadLexicalCast},
        BadRow{"ExpiresNumeric", "expires=\"2012-Jul-24\"", "expires=\"24.07.2012\"",
               Failure::BadLexicalCast},
        BadRow{"ExpiresNoSuchDay", "expires=\"2012-Jul-24\"", "expires=\"2012-Feb-30\"",
               Failure::BadLexicalCast},
        BadRow{"NotWellFormed", "</manifest>", "</manifst>", Failure::Malformed},
        BadRow{"UnknownTopLevelElement", "<configuration ", "<link/><configuration ",
               Failure::Malformed},
        BadRow{"UnknownConfigurationChild", "<prefdir ref=\"P\"/>", "<prefdir ref=\"P\"/><extra/>",
               Failure::Malformed},
        BadRow{"PathListsSwapped", "<java-class-path/>\n    <library-path/>",
               "<library-path/>\n    <java-class-path/>", Failure::Malformed},
        BadRow{"PrefdirMissing", "<prefdir ref=\"P\"/>", "", Failure::Malformed},
        BadRow{"PublicFunctionsMissing",
               "<public-functions><function ref=\"F1\"/></public-functions>", "",
               Failure::Malformed},
        BadRow{"FunctionWithoutOutputs", "<outputs/>", "", Failure::Malformed},
        BadRow{"TextInsideADirectory", "<directory id=\"D1\" path=\"/opt/a\"/>",
               "<directory id=\"D1\" path=\"/opt/a\">x</directory>", Failure::Malformed},
        BadRow{"RootInANamespace", "<manifest ", "<manifest xmlns=\"urn:kzf\" ",
               Failure::Malformed},
        BadRow{"Doctype", "<manifest ", "<!DOCTYPE manifest [<!ENTITY e \"x\">]><manifest ",
               Failure::Malformed},
        BadRow{"ExternalEntity", "<manifest ",
               "<!DOCTYPE manifest [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><manifest ",
               Failure::Malformed}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SettingsLoadTest, FieldsFilledBeforeADanglingReferenceKeepTheirValues) {
  KZFSettings s;
  EXPECT_KZF_ERROR(loadFromString(variant("<prefdir ref=\"P\"/>", "<prefdir ref=\"Q\"/>"), s),
                   "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
  EXPECT_EQ(s.uuid, u"u-1");
  EXPECT_EQ(s.mainFunction.name, u"f");
  EXPECT_EQ(s.velmorPath, std::vector<fl::i18n::ustring>{u"/opt/a"});
  EXPECT_EQ(s.prefdir, u"");
}

TEST(SettingsLoadTest, DanglingReferenceMessageNamesTheId) {
  EXPECT_KZF_ERROR_WITH(
      loadFromString(variant("<path-item ref=\"D1\"/>", "<path-item ref=\"D-missing\"/>")),
      "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES", "\"directory\" with the id \"D-missing\"");
}

TEST(SettingsLoadTest, EmptyStartMessageLoadsAsABlankButEmptyCompleteMessageStaysEmpty) {
  KZFSettings s;
  s.initCompleteMessage = u"before";
  loadFromString(
      variant("</public-functions>",
              "</public-functions><init-start-msg/><init-start-msg>second</init-start-msg>"
              "<init-complete-msg></init-complete-msg>"),
      s);
  EXPECT_EQ(s.initStartMessage, u" ");
  EXPECT_EQ(s.initCompleteMessage, u"");
}

TEST(SettingsLoadTest, OnlyTheFirstMainFunctionAndMessagesCount) {
  std::string xml = replaced(kValid, "<main-function ref=\"F1\"/>",
                             "<main-function ref=\"F1\"/><main-function ref=\"F9\"/>");
  xml = replaced(xml, "</public-functions>",
                 "</public-functions><init-start-msg>one</init-start-msg>"
                 "<init-start-msg>two</init-start-msg><init-complete-msg>done</init-complete-msg>"
                 "<init-complete-msg>later</init-complete-msg>");
  const KZFSettings s = loadFromString(xml);
  EXPECT_EQ(s.mainFunction.name, u"f");
  EXPECT_EQ(s.initStartMessage, u"one");
  EXPECT_EQ(s.initCompleteMessage, u"done");
}

}  // namespace
