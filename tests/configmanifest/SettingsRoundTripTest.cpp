// Saving and loading settings: everything comes back but what the manifest deliberately does
// not carry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kzfpackage/KZFSettings.hpp>
#include <string>

#include "SettingsTestSupport.hpp"

namespace {

using kzftest::fullSettings;
using kzftest::KZFSettings;
using kzftest::loadFromString;
using kzftest::saveToString;
using kzftest::VelmorFunction;

// What a load of the saved `settings` yields: the application options are not written, the
// preferences directory is always ".velmor", the main function is the first public function,
// and no function keeps its location. Functions of one location come back as the first of
// them, the one the manifest declares.
KZFSettings expectedAfterRoundTrip(const KZFSettings& settings) {
  KZFSettings expected = settings;
  expected.applicationOptions.clear();
  expected.prefdir = u".velmor";
  std::vector<VelmorFunction> declared;
  expected.publicFunctions.clear();
  for (const VelmorFunction& f : settings.publicFunctions) {
    VelmorFunction loaded = f;
    for (const VelmorFunction& first : settings.publicFunctions) {
      if (first.location == f.location) {
        loaded = first;
        break;
      }
    }
    loaded.location.clear();
    expected.publicFunctions.push_back(loaded);
  }
  expected.mainFunction =
      expected.publicFunctions.empty() ? VelmorFunction() : expected.publicFunctions.front();
  return expected;
}

TEST(SettingsRoundTripTest, FullSettingsComeBackFieldByField) {
  const KZFSettings original = fullSettings();
  const KZFSettings loaded = loadFromString(saveToString(original));
  kzftest::expectSettingsEqual(loaded, expectedAfterRoundTrip(original));

  // The deliberate differences, spelt out.
  EXPECT_TRUE(loaded.applicationOptions.empty());
  EXPECT_EQ(loaded.prefdir, u".velmor");
  EXPECT_EQ(loaded.mainFunction.name, u"analyse");
  EXPECT_EQ(loaded.publicFunctions[1].name, u"analyse");
  EXPECT_EQ(loaded.publicFunctions[0].location, u"");
}

TEST(SettingsRoundTripTest, FlagsComeBackAsSetNotSwapped) {
  // The full settings need Java but no exclusive process; here it is the other way round.
  KZFSettings s = fullSettings();
  s.needJava = false;
  s.needExclusiveVrtProcess = true;
  const KZFSettings loaded = loadFromString(saveToString(s));
  EXPECT_FALSE(loaded.needJava);
  EXPECT_TRUE(loaded.needExclusiveVrtProcess);
}

TEST(SettingsRoundTripTest, NoPublicFunctionsLeaveTheLoadedFunctionsUntouched) {
  KZFSettings s = fullSettings();
  s.publicFunctions.clear();
  const std::string xml = saveToString(s);

  KZFSettings target;
  target.mainFunction = kzftest::velmorFunction(u"/keep", u"kept", {u"i"}, {u"o"});
  target.publicFunctions = {kzftest::velmorFunction(u"", u"existing", {}, {})};
  loadFromString(xml, target);
  EXPECT_EQ(target.mainFunction.name, u"kept");
  EXPECT_EQ(target.mainFunction.location, u"/keep");
  ASSERT_EQ(target.publicFunctions.size(), 1u);
  EXPECT_EQ(target.publicFunctions[0].name, u"existing");
}

TEST(SettingsRoundTripTest, LoadAppendsToListsAndOverwritesTexts) {
  const std::string xml = saveToString(fullSettings());
  KZFSettings target;
  target.uuid = u"old";
  target.runtimeOptions = {u"-first"};
  loadFromString(xml, target);
  EXPECT_EQ(target.uuid, fullSettings().uuid);
  EXPECT_EQ(target.runtimeOptions,
            (std::vector<fl::i18n::ustring>{u"-first", u"-nojvm", u"-Xmx=2g \u00b5"}));
}

TEST(SettingsRoundTripTest, NoExpiryDateComesBackUnsetAndClearsAnOldOne) {
  KZFSettings s = fullSettings();
  s.expires.reset();
  KZFSettings target;
  target.expires = boost::gregorian::date(2000, 1, 1);
  loadFromString(saveToString(s), target);
  EXPECT_FALSE(target.expires.has_value());
}

TEST(SettingsRoundTripTest, EmptyMessagesAreNotWrittenAndKeepTheTargetsValues) {
  KZFSettings s = fullSettings();
  s.initStartMessage.clear();
  s.initCompleteMessage.clear();
  const std::string xml = saveToString(s);
  EXPECT_EQ(xml.find("init-start-msg"), std::string::npos);
  EXPECT_EQ(xml.find("init-complete-msg"), std::string::npos);

  KZFSettings target;
  target.initStartMessage = u"before";
  loadFromString(xml, target);
  EXPECT_EQ(target.initStartMessage, u"before");
  EXPECT_EQ(target.initCompleteMessage, u"");
}

TEST(SettingsRoundTripTest, EmptyKeysComeBackEmpty) {
  KZFSettings s = fullSettings();
  s.sessionKey = {};
  s.publicKey = {};
  const KZFSettings loaded = loadFromString(saveToString(s));
  EXPECT_TRUE(loaded.sessionKey.empty());
  EXPECT_TRUE(loaded.publicKey.empty());
}

TEST(SettingsRoundTripTest, KeyBytesThatAreNotXmlTextCannotBeSaved) {
  KZFSettings notUtf8 = fullSettings();
  notUtf8.sessionKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("\xff\xfe"));
  EXPECT_THAT([&] { saveToString(notUtf8); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::StartsWith("the session key of the settings cannot be written")));
  // Valid UTF-8, but a control character no XML 1.0 document may contain.
  KZFSettings control = fullSettings();
  control.publicKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("pk\x01"));
  EXPECT_THAT([&] { saveToString(control); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::HasSubstr("/manifest/configuration/public-key: ")));
}

TEST(SettingsRoundTripTest, PrintedDocumentLoadsLikeTheSavedOne) {
  std::ostringstream printed;
  printed << fullSettings();
  kzftest::expectSettingsEqual(loadFromString(printed.str()),
                               loadFromString(saveToString(fullSettings())));
}

}  // namespace
