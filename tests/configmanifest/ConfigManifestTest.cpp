// The configuration manifest: the exact document saved for full settings, what a load gives
// back, and the documents a load refuses, each as its message identifier or exception.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/optional/optional_io.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <kzfpackage/kzf_manifest.hpp>
#include <opc/Stream.hpp>
#include <sstream>
#include <xsd_binder/DocumentIO.hpp>
#include <xsd_binder/MalformedDocumentError.hpp>

#include "KzfErrorMatchers.hpp"
#include "MemoryStreams.hpp"
#include "RowLabel.hpp"
#include "kzf_manifest_dom.hpp"

namespace {

using namespace Quorlith::kzfpackage;
using ::testing::HasSubstr;
using StringList = std::vector<fl::i18n::ustring>;

VelmorFunction velmorFunction(std::u16string location, std::u16string name, StringList in = {},
                              StringList out = {}) {
  VelmorFunction f;
  f.location = location, f.name = name, f.inputs = in, f.outputs = out;
  return f;
}

/// Settings with every field filled: two public functions sharing a location, one directory in
/// all three path lists, an expiry date, texts beyond ASCII and key bytes that are UTF-8.
KZFSettings fullSettings() {
  KZFSettings s;
  s.uuid = u"5f1c0d2e-8a4b-4c6d-9e7f-0a1b2c3d4e5f";
  s.componentName = u"Spektralanalyse \u00e4\u00f6\u00fc \u65e5\u672c";
  s.vrtMajorVersion = u"8", s.vrtMinorVersion = u"0", s.vrtReleaseVersion = u"614";
  s.needJava = true, s.needExclusiveVrtProcess = false;
  s.mainFunction = velmorFunction(u"/ignored/main", u"ignored", {u"q"});
  s.publicFunctions = {
      velmorFunction(u"/app/analyse.m", u"analyse", {u"signal", u"rate"}, {u"spectrum"}),
      velmorFunction(u"/app/analyse.m", u"analyseAlias", {u"x"}),
      velmorFunction(u"/app/\u00fcbersicht.m", u"\u00fcbersicht", {}, {u"tabelle", u"plot"})};
  s.expires = boost::gregorian::date(2012, 7, 24);
  s.velmorPath = {u"/opt/app/m", u"/opt/shared dir/\u00e9t\u00e9", u"/opt/app/m"};
  s.javaClassPath = {u"/opt/shared dir/\u00e9t\u00e9", u"/opt/app/jar"};
  s.libraryPath = {u"/opt/shared dir/\u00e9t\u00e9"};
  s.applicationOptions = {u"-app", u"-dropped"};
  s.runtimeOptions = {u"-nojvm", u"-Xmx=2g \u00b5"};
  s.warningState = {u"off:all", u"on:deprecated"};
  s.prefdir = u"/home/user/.prefs";
  s.initStartMessage = u"Starte \u2026", s.initCompleteMessage = u"Fertig <&>";
  s.sessionKey = KZFByteArray(std::string("sk-\xc3\xa4\t\r\n\x7f"));
  s.publicKey = KZFByteArray(std::string("pk-\xe2\x82\xac"));
  return s;
}

/// The document `save` writes for `settings`.
std::string saveToString(const KZFSettings& settings) {
  std::ostringstream out;
  opc::StdOStreamAdaptor stream(out);
  KZFSettingsSerializer().save(stream, settings);
  return out.str();
}

/// Loads `xml` into `settings`.
void loadFromString(const std::string& xml, KZFSettings& settings) {
  std::istringstream in(xml);
  opc::StdIStreamAdaptor stream(in);
  KZFSettingsSerializer().load(stream, settings);
}

KZFSettings loadFromString(const std::string& xml) {
  KZFSettings settings;
  loadFromString(xml, settings);
  return settings;
}

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
  loaded.runtimeOptions = {u"-first"}, loaded.uuid = u"old";
  loadFromString(golden(), loaded);
  // A load adds to the lists and replaces the single values.
  EXPECT_EQ(loaded.runtimeOptions.front(), u"-first");
  loaded.runtimeOptions.erase(loaded.runtimeOptions.begin());
  // Deliberately not carried: application options, the preferences folder, function locations;
  // the main function is the first public function, and functions of one location come back
  // as the one the manifest declares for it.
  EXPECT_TRUE(loaded.applicationOptions.empty());
  EXPECT_EQ(loaded.prefdir, u".velmor");
  ASSERT_EQ(loaded.publicFunctions.size(), 3u);
  EXPECT_EQ(loaded.mainFunction.name, u"analyse");
  EXPECT_EQ(loaded.publicFunctions[1].name, u"analyse");
  // With the locations given back, all the rest saves as the same document.
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(loaded.publicFunctions[i].location, u"");
    loaded.publicFunctions[i].location = fullSettings().publicFunctions[i].location;
  }
  EXPECT_EQ(saveToString(loaded), golden());
  // Printing indents the same document.
  std::ostringstream printed;
  printed << fullSettings();
  EXPECT_THAT(printed.str(), HasSubstr("\n  <configuration"));
  EXPECT_EQ(loadFromString(printed.str()).runtimeOptions, fullSettings().runtimeOptions);
}

TEST(ConfigManifest, EmptyValuesAreWrittenOrLeftOutAsTheLoadExpects) {
  KZFSettings s = fullSettings();
  s.needJava = false, s.needExclusiveVrtProcess = true;
  s.publicFunctions.clear(), s.expires.reset(), s.sessionKey = {};
  s.initStartMessage.clear(), s.initCompleteMessage.clear();
  const std::string xml = saveToString(s);
  EXPECT_EQ(xml.find("init-start-msg"), std::string::npos);
  KZFSettings target;
  target.mainFunction = velmorFunction(u"/keep", u"kept"), target.initStartMessage = u"before";
  target.expires = boost::gregorian::date(2000, 1, 1);
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
  notUtf8.sessionKey = KZFByteArray(std::string("\xff\xfe"));
  EXPECT_THAT([&] { saveToString(notUtf8); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::StartsWith("the session key of the settings cannot be written")));
  KZFSettings control = fullSettings();
  control.publicKey = KZFByteArray(std::string("pk\x01"));
  EXPECT_THAT([&] { saveToString(control); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  HasSubstr("/manifest/configuration/public-key: ")));
  // A function location equal to a path shares its key: the function then refers to a folder.
  KZFSettings shared = fullSettings();
  shared.publicFunctions = {velmorFunction(u"/opt/app/m", u"f")};
  EXPECT_KZF_ERROR(loadFromString(saveToString(shared)),
                   "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
}

/// Matches a call refused as a malformed document for a reason containing `why`.
auto malformed(const char* why) {
  return ::testing::Throws<xsd_binder::MalformedDocumentError>(
      ::testing::Property(&xsd_binder::MalformedDocumentError::reason, HasSubstr(why)));
}

TEST(ConfigManifest, OversizedOrDeepInputStopsEarlyAndStreamFailuresPassUnchanged) {
  KZFSettings s;
  kzftest::TextInputStream huge("<manifest>" + std::string(40u << 20, ' '));
  EXPECT_THAT([&] { KZFSettingsSerializer().load(huge, s); }, malformed("larger than the limit"));
  EXPECT_LE(huge.bytesRead, 33u << 20);
  std::string deep = "<manifest>";
  for (int i = 0; i < 1000000; ++i) deep += "<a>";
  kzftest::TextInputStream in(deep, 64 * 1024);
  EXPECT_THAT([&] { KZFSettingsSerializer().load(in, s); },
              malformed("elements nested deeper than 256 levels"));
  EXPECT_LT(in.bytesRead, 256u * 1024u);
  kzftest::FailingOutputStream full;
  EXPECT_THAT([&] { KZFSettingsSerializer().save(full, fullSettings()); },
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

std::string variant(const std::string& from, const std::string& to, std::string xml = kValid) {
  auto at = xml.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? xml : xml.replace(at, from.size(), to);
}

// References resolve by kind, and an id declared twice to its first declaration; of repeated
// messages the first counts.
TEST(ConfigManifest, AnotherToolsDocumentLoadsWithFirstOccurrencesCounting) {
  const std::string fn = "<inputs/><outputs/></function>";
  KZFSettings s = loadFromString(variant(
      "</public-functions>",
      "</public-functions><lm-feature-list><feature code=\"S\">pro <b>x</b></feature>"
      "</lm-feature-list><init-start-msg/><init-start-msg>second</init-start-msg>"
      "<init-complete-msg>done</init-complete-msg><init-complete-msg>later</init-complete-msg>",
      variant("<directory id=\"D1\" path=\"/opt/a\"/>",
              "<function id=\"D1\"><name>d</name>" + fn +
                  "<directory id=\"F1\" path=\"/f\"/><directory id=\"C\" path=\"/c\"/>"
                  "<directory id=\"D1\" path=\"/opt/a\"/><directory id=\"D1\" path=\"/b\"/>",
              variant("<configuration ",
                      "<function id=\"F1\"><name>later</name>" + fn + "<configuration "))));
  EXPECT_EQ(s.uuid, u"u-1");
  EXPECT_EQ(s.mainFunction.name, u"f");
  ASSERT_EQ(s.publicFunctions.size(), 1u);
  EXPECT_EQ(s.publicFunctions[0].name, u"f");
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
              malformed("refused to load"));
}

// Core: a reference that resolves to nothing of its kind; Cast: a value that is no flag or date;
// Malformed: a document that is no configuration manifest (nothing is touched).
enum class Failure { Core, Cast, Malformed };

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
    case Failure::Core:
      EXPECT_KZF_ERROR(loadFromString(xml, s), "KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES");
      break;
    case Failure::Cast:
      EXPECT_THROW(loadFromString(xml, s), boost::bad_lexical_cast);
      break;
    case Failure::Malformed:
      EXPECT_THROW(loadFromString(xml, s), xsd_binder::MalformedDocumentError);
      EXPECT_EQ(s.uuid, u"") << "a field was touched before the document was read";
      break;
  }
}

const std::string kPrefdir = "<prefdir ref=\"P\"/>";
const std::string kEnd = "</public-functions>";
using F = Failure;

const std::vector<BadRow> kBadRows = {
    {"DefaultConfigNamesNothing", "default-config=\"C\"", "default-config=\"X\"", F::Core},
    {"PublicFunctionDangling", "<function ref=\"F1\"/>", "<function ref=\"F2\"/>", F::Core},
    {"PathItemNamesAFunction", "<path-item ref=\"D1\"/>", "<path-item ref=\"F1\"/>", F::Core},
    {"PrefdirDangling", kPrefdir, "<prefdir ref=\"Q\"/>", F::Core},
    {"NeedJavaTrue", "need_java=\"1\"", "need_java=\"true\"", F::Cast},
    {"NeedExclusiveAbsent", "need_exclusive_vrt_process=\"0\"", "", F::Cast},
    {"ExpiresNoSuchDay", "expires=\"2012-Jul-24\"", "expires=\"2012-Feb-30\"", F::Cast},
    {"NotWellFormed", "</manifest>", "</manifst>", F::Malformed},
    {"WrongRoot", kValid, "<manifests/>", F::Malformed},
    {"ChildInAnotherNamespace", kPrefdir, "<prefdir xmlns=\"urn:x\" ref=\"P\"/>", F::Malformed},
    {"UnknownTopLevelElement", "<configuration ", "<link/><configuration ", F::Malformed},
    {"PathListsSwapped", "<java-class-path/>\n    <library-path/>",
     "<library-path/>\n    <java-class-path/>", F::Malformed},
    {"PrefdirMissing", kPrefdir, "", F::Malformed},
    {"MessageBeforeFeatureList", kEnd, kEnd + "<init-start-msg/><lm-feature-list/>", F::Malformed},
    {"OptionWithMarkup", "<option>-a</option>", "<option><b/></option>", F::Malformed},
    {"FunctionOutOfOrder", "<name>f</name><inputs><param name=\"x\"/></inputs>",
     "<inputs/><name>f</name>", F::Malformed},
    {"ParamWithChild", "<param name=\"x\"/>", "<param name=\"x\"><param/></param>", F::Malformed},
    {"RootInANamespace", "<manifest ", "<manifest xmlns=\"urn:kzf\" ", F::Malformed}};
INSTANTIATE_TEST_SUITE_P(Documents, SettingsLoadFailure, ::testing::ValuesIn(kBadRows),
                         kzftest::RowLabel());

}  // namespace
