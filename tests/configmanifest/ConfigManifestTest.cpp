// The configuration manifest: the exact document saved for full settings, what a load gives
// back, and the documents a load refuses, each as its message identifier or exception.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <kzfpackage/kzf_manifest.hpp>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "KzfErrorMatchers.hpp"
#include "MemoryStreams.hpp"
#include "RowLabel.hpp"
#include "SettingsFixture.hpp"
#include "kzf_manifest_dom.hpp"

namespace {

using kzftest::fullSettings;
using kzftest::loadFromString;
using kzftest::saveToString;
using Quorlith::kzfpackage::KZFSettings;
using ::testing::HasSubstr;
using StringList = std::vector<fl::i18n::ustring>;

// The manifest saved for fullSettings(): declarations once each in the order of their first
// reference, references by "ref", every attribute present, the application options left out,
// the configuration last. KZF_UPDATE_GOLDEN=1 rewrites it after a deliberate change.
const std::string kGoldenPath = KZF_TEST_SOURCE_DIR "/full-settings-manifest.xml";

std::string golden() {
  std::ifstream in(kGoldenPath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(ConfigManifest, FullSettingsAreSavedAsTheGoldenDocument) {
  const std::string saved = saveToString(fullSettings());
  if (std::getenv("KZF_UPDATE_GOLDEN") != nullptr) std::ofstream(kGoldenPath) << saved;
  EXPECT_EQ(saved, golden());
}

TEST(ConfigManifest, LoadGivesBackAllButWhatTheManifestDoesNotCarry) {
  KZFSettings loaded;
  loaded.runtimeOptions = {u"-first"};
  loaded.uuid = u"old";
  loadFromString(golden(), loaded);
  const KZFSettings full = fullSettings();
  EXPECT_EQ(loaded.uuid, full.uuid);
  EXPECT_EQ(loaded.componentName, full.componentName);
  EXPECT_TRUE(loaded.needJava);
  EXPECT_FALSE(loaded.needExclusiveVrtProcess);
  EXPECT_EQ(loaded.expires, full.expires);
  EXPECT_EQ(loaded.velmorPath, full.velmorPath);
  EXPECT_EQ(loaded.javaClassPath, full.javaClassPath);
  EXPECT_EQ(loaded.runtimeOptions, (StringList{u"-first", u"-nojvm", u"-Xmx=2g \u00b5"}));
  EXPECT_EQ(loaded.warningState, full.warningState);
  EXPECT_EQ(loaded.initStartMessage, full.initStartMessage);
  EXPECT_TRUE(loaded.sessionKey == full.sessionKey);
  EXPECT_TRUE(loaded.publicKey == full.publicKey);
  // Deliberately not carried: application options, the preferences folder, function locations;
  // the main function is the first public function, and functions of one location come back
  // as the one the manifest declares for it.
  EXPECT_TRUE(loaded.applicationOptions.empty());
  EXPECT_EQ(loaded.prefdir, u".velmor");
  ASSERT_EQ(loaded.publicFunctions.size(), 3u);
  EXPECT_EQ(loaded.mainFunction.name, u"analyse");
  EXPECT_EQ(loaded.publicFunctions[1].name, u"analyse");
  EXPECT_EQ(loaded.publicFunctions[1].inputs, (StringList{u"signal", u"rate"}));
  EXPECT_EQ(loaded.publicFunctions[2].outputs, (StringList{u"tabelle", u"plot"}));
  EXPECT_EQ(loaded.publicFunctions[0].location, u"");
  // Printing indents the same document.
  std::ostringstream printed;
  printed << fullSettings();
  EXPECT_THAT(printed.str(), HasSubstr("\n  <configuration"));
  EXPECT_EQ(loadFromString(printed.str()).runtimeOptions, full.runtimeOptions);
}

TEST(ConfigManifest, EmptyValuesAreWrittenOrLeftOutAsTheLoadExpects) {
  KZFSettings s = fullSettings();
  s.needJava = false;
  s.needExclusiveVrtProcess = true;
  s.publicFunctions.clear();
  s.expires.reset();
  s.initStartMessage.clear();
  s.initCompleteMessage.clear();
  s.sessionKey = {};
  const std::string xml = saveToString(s);
  EXPECT_EQ(xml.find("init-start-msg"), std::string::npos);
  KZFSettings target;
  target.mainFunction = kzftest::velmorFunction(u"/keep", u"kept");
  target.expires = boost::gregorian::date(2000, 1, 1);
  target.initStartMessage = u"before";
  loadFromString(xml, target);
  EXPECT_FALSE(target.needJava);
  EXPECT_TRUE(target.needExclusiveVrtProcess);
  EXPECT_EQ(target.mainFunction.name, u"kept");
  EXPECT_TRUE(target.publicFunctions.empty());
  EXPECT_FALSE(target.expires.has_value());
  EXPECT_EQ(target.initStartMessage, u"before");
  EXPECT_TRUE(target.sessionKey.empty());
}

TEST(ConfigManifest, UnwritableOrUnloadableSettingsFailTheSave) {
  KZFSettings notUtf8 = fullSettings();
  notUtf8.sessionKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("\xff\xfe"));
  EXPECT_THAT([&] { saveToString(notUtf8); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::StartsWith("the session key of the settings cannot be written")));
  KZFSettings control = fullSettings();
  control.publicKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("pk\x01"));
  EXPECT_THAT([&] { saveToString(control); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  HasSubstr("/manifest/configuration/public-key: ")));
  // A function location equal to a path shares its key: the function then refers to a folder.
  KZFSettings shared = fullSettings();
  shared.publicFunctions = {kzftest::velmorFunction(u"/opt/app/m", u"f")};
  EXPECT_KZF_ERROR(loadFromString(saveToString(shared)),
                   "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
}

TEST(ConfigManifest, EndlessOrDeepInputStopsEarlyAndStreamFailuresPassUnchanged) {
  auto reason = [](opc::InputStream& in) {
    KZFSettings s;
    try {
      Quorlith::kzfpackage::KZFSettingsSerializer().load(in, s);
    } catch (const xsd_binder::MalformedDocumentError& e) {
      return e.reason();
    }
    return std::string("accepted");
  };
  kzftest::EndlessInputStream endless("<manifest>");
  EXPECT_THAT(reason(endless), HasSubstr("larger than the limit"));
  EXPECT_LE(endless.bytesRead, 33u * 1024u * 1024u);
  std::string deep = "<manifest>";
  for (int i = 0; i < 1000000; ++i) deep += "<a>";
  kzftest::TextInputStream in(deep, 64 * 1024);
  EXPECT_THAT(reason(in), HasSubstr("elements nested deeper than 256 levels"));
  EXPECT_LT(in.bytesRead, 256u * 1024u);
  kzftest::FailingOutputStream full;
  EXPECT_THAT([&] { Quorlith::kzfpackage::KZFSettingsSerializer().save(full, fullSettings()); },
              ::testing::ThrowsMessage<std::exception>(HasSubstr("no space left on device")));
  std::ostringstream failed;
  failed.setstate(std::ios::failbit);
  EXPECT_NO_THROW(failed << fullSettings());
}

// A valid manifest as another tool might write it: indented, ids of its own choosing.
const std::string kValid = R"(<manifest default-config="C" signature="" uuid="u-1"
    component-name="comp" vrt-major-version="8" vrt-minor-version="0" vrt-release-version="614"
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

std::string variant(const std::string& from, const std::string& to) {
  std::string xml = kValid;
  auto at = xml.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? xml : xml.replace(at, from.size(), to);
}

TEST(ConfigManifest, AnotherToolsDocumentLoadsWithFirstOccurrencesCounting) {
  KZFSettings s = loadFromString(variant(
      "</public-functions>",
      "</public-functions><lm-feature-list><feature code=\"S\">pro <b>x</b></feature>"
      "</lm-feature-list><init-start-msg/><init-start-msg>second</init-start-msg>"
      "<init-complete-msg>done</init-complete-msg><init-complete-msg>later</init-complete-msg>"));
  EXPECT_EQ(s.uuid, u"u-1");
  EXPECT_EQ(s.mainFunction.name, u"f");
  EXPECT_EQ(s.velmorPath, StringList{u"/opt/a"});
  EXPECT_EQ(s.applicationOptions, StringList{u"-a"});
  EXPECT_EQ(s.expires, boost::gregorian::date(2012, 7, 24));
  EXPECT_EQ(s.initStartMessage, u" ");  // an empty start message loads as a blank
  EXPECT_EQ(s.initCompleteMessage, u"done");
}

TEST(ConfigManifest, TheBindingCarriesFeatureListsThroughAndNeverFetchesASchema) {
  const std::string features = "<lm-feature-list><feature code=\"S\">pro <b>x</b></feature>";
  std::istringstream text(
      variant("</public-functions>", "</public-functions>" + features + "</lm-feature-list>"));
  opc::StdIStreamAdaptor in(text);
  std::ostringstream out;
  xsd_binder::writeToStream(xsd_binder::parseStream<kzf_manifest::manifest>(in, u"", u""), out,
                            false, u"");
  EXPECT_THAT(out.str(), HasSubstr(features));
  std::istringstream again(kValid);
  opc::StdIStreamAdaptor named(again);
  EXPECT_THAT([&] { xsd_binder::parseStream<kzf_manifest::manifest>(named, u"urn:x", u"x.xsd"); },
              ::testing::Throws<xsd_binder::MalformedDocumentError>(::testing::Property(
                  &xsd_binder::MalformedDocumentError::reason, HasSubstr("refused to load"))));
}

// References resolve through an index of the declarations: by kind, and where an id is
// declared twice, to the first declaration in document order.
TEST(ConfigManifest, EachKindResolvesToItsFirstDeclarationOfTheId) {
  // "X" names two directories, a function and the configuration; "P" names a directory only
  // after a function of that id.
  const KZFSettings s = loadFromString(R"(<?xml version="1.0"?>
<manifest default-config="X" signature="" uuid="u" component-name="c" vrt-major-version="8"
    vrt-minor-version="0" vrt-release-version="1" need_java="0" need_exclusive_vrt_process="0">
  <function id="P"><name>p</name><inputs/><outputs/></function>
  <directory id="X" path="/first"/>
  <function id="X"><name>x</name><inputs/><outputs/></function>
  <directory id="X" path="/second"/>
  <directory id="P" path=".velmor"/>
  <function id="X"><name>later</name><inputs/><outputs/></function>
  <configuration id="X" name="" require="" expires="">
    <session-key/><public-key/>
    <velmor-path><path-item ref="X"/><path-item ref="P"/><path-item ref="X"/></velmor-path>
    <java-class-path/><library-path/><application-options/><runtime-options/><warning-state/>
    <prefdir ref="P"/>
    <main-function ref="X"/>
    <public-functions><function ref="P"/><function ref="X"/></public-functions>
  </configuration>
</manifest>
)");
  EXPECT_EQ(s.velmorPath, (StringList{u"/first", u".velmor", u"/first"}));
  EXPECT_EQ(s.prefdir, u".velmor");
  EXPECT_EQ(s.mainFunction.name, u"x");
  ASSERT_EQ(s.publicFunctions.size(), 2u);
  EXPECT_EQ(s.publicFunctions[0].name, u"p");
  EXPECT_EQ(s.publicFunctions[1].name, u"x");
}

enum class Failure { CoreProperties, BadLexicalCast, Malformed };

struct BadRow {
  std::string label;
  std::string from;
  std::string to;
  Failure failure;
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

const std::string kPrefdir = "<prefdir ref=\"P\"/>";
const std::string kMain = "<main-function ref=\"F1\"/>";

INSTANTIATE_TEST_SUITE_P(
    Documents, SettingsLoadFailure,
    ::testing::Values(
        BadRow{"DefaultConfigNamesNothing", "default-config=\"C\"", "default-config=\"X\"",
               Failure::CoreProperties},
        BadRow{"MainFunctionDangling", kMain, "<main-function ref=\"F9\"/>",
               Failure::CoreProperties},
        BadRow{"MainFunctionNamesADirectory", kMain, "<main-function ref=\"D1\"/>",
               Failure::CoreProperties},
        BadRow{"PublicFunctionDangling", "<function ref=\"F1\"/>", "<function ref=\"F2\"/>",
               Failure::CoreProperties},
        BadRow{"PathItemNamesAFunction", "<path-item ref=\"D1\"/>", "<path-item ref=\"F1\"/>",
               Failure::CoreProperties},
        BadRow{"PrefdirDangling", kPrefdir, "<prefdir ref=\"Q\"/>", Failure::CoreProperties},
        BadRow{"NeedJavaTrue", "need_java=\"1\"", "need_java=\"true\"", Failure::BadLexicalCast},
        BadRow{"NeedExclusiveAbsent", "need_exclusive_vrt_process=\"0\"", "",
               Failure::BadLexicalCast},
        BadRow{"ExpiresNoSuchDay", "expires=\"2012-Jul-24\"", "expires=\"2012-Feb-30\"",
               Failure::BadLexicalCast},
        BadRow{"NotWellFormed", "</manifest>", "</manifst>", Failure::Malformed},
        BadRow{"WrongRoot", kValid, "<manifests/>", Failure::Malformed},
        BadRow{"ChildInAnotherNamespace", kPrefdir, "<prefdir xmlns=\"urn:x\" ref=\"P\"/>",
               Failure::Malformed},
        BadRow{"UnknownTopLevelElement", "<configuration ", "<link/><configuration ",
               Failure::Malformed},
        BadRow{"UnknownConfigurationChild", kPrefdir, kPrefdir + "<extra/>", Failure::Malformed},
        BadRow{"PathListsSwapped", "<java-class-path/>\n    <library-path/>",
               "<library-path/>\n    <java-class-path/>", Failure::Malformed},
        BadRow{"PrefdirMissing", kPrefdir, "", Failure::Malformed},
        BadRow{"MessageBeforeFeatureList", "</public-functions>",
               "</public-functions><init-start-msg/><lm-feature-list/>", Failure::Malformed},
        BadRow{"MainFunctionAfterPublicFunctions", "</public-functions>",
               "</public-functions>" + kMain, Failure::Malformed},
        BadRow{"OptionWithMarkup", "<option>-a</option>", "<option><b/></option>",
               Failure::Malformed},
        BadRow{"FunctionOutOfOrder", "<name>f</name><inputs><param name=\"x\"/></inputs>",
               "<inputs/><name>f</name>", Failure::Malformed},
        BadRow{"ParamWithChildren", "<param name=\"x\"/>", "<param name=\"x\"><param/></param>",
               Failure::Malformed},
        BadRow{"RootInANamespace", "<manifest ", "<manifest xmlns=\"urn:kzf\" ",
               Failure::Malformed}),
    kzftest::RowLabel());

}  // namespace
