// kzf settings and kzf create --settings: the JSON form, its round trip, the text form, errors.
#include <gtest/gtest.h>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using nlohmann::json;

const char* const kSettings = R"({
  "uuid": "4f1c2b7e-0000-4000-8000-000000000001",
  "componentName": "Übersicht",
  "vrtMajorVersion": "9", "vrtMinorVersion": "12", "vrtReleaseVersion": "1",
  "needJava": true,
  "publicFunctions": [{"name": "main", "inputs": ["a", "b"], "outputs": ["c"]},
                      {"name": "helper", "inputs": [], "outputs": []}],
  "expires": "2031-12-24",
  "velmorPath": ["app", "app/lib"],
  "runtimeOptions": ["-nojvm"],
  "initStartMessage": "Starting",
  "sessionKey": "s3cret-ключ"
})";

class SettingsCommandTest : public KzfCliTest {
 protected:
  void SetUp() override {
    writeFile("app/main.m", "x");
    writeFile("settings.json", kSettings);
    ok({"create", "--settings", "settings.json", "--title", "Overview", "app.kzf", "app"});
  }
};

TEST_F(SettingsCommandTest, PrintedAsJsonThatMakesTheSamePackageAndAsLabelledText) {
  const KzfRun first = kzf({"settings", "--json", "app.kzf"});
  const json settings = parseJson(first);
  EXPECT_EQ("Übersicht", settings["componentName"]);
  EXPECT_EQ(true, settings["needJava"]);
  EXPECT_EQ(false, settings["needExclusiveVrtProcess"]);
  EXPECT_EQ("helper", settings["publicFunctions"][1]["name"]);  // each function is stored
  EXPECT_EQ(json::parse(R"(["a","b"])"), settings["publicFunctions"][0]["inputs"]);
  EXPECT_EQ("2031-12-24", settings["expires"]);
  EXPECT_EQ(json::parse(R"(["app","app/lib"])"), settings["velmorPath"]);
  EXPECT_EQ("s3cret-ключ", settings["sessionKey"]);
  writeFile("printed.json", first.out);
  ok({"create", "--settings", "printed.json", "second.kzf", "app"});
  EXPECT_EQ(first.out, kzf({"settings", "--json", "second.kzf"}).out);
  ok({"extract", "app.kzf", "out"});
  EXPECT_EQ(first.out, kzf({"settings", "--json", "out"}).out);

  const KzfRun text = kzf({"settings", "app.kzf"});
  for (const char* line :
       {"Component:                Übersicht\n", "Runtime version:          9.12.1\n",
        "Needs Java:               yes\n", "Main function:            main(a, b) -> [c]\n",
        "Expires:                  2031-12-24\n",
        "Search path:              app\n                          app/lib\n",
        // The key itself stays out of terminals and logs.
        "Session key:              15 bytes\n"}) {
    EXPECT_NE(std::string::npos, text.out.find(line)) << line << "\nin:\n" << text.out;
  }
}

TEST_F(SettingsCommandTest, BadSettingsAreRefusedNamingTheKey) {
  const std::pair<const char*, std::string> rows[] = {
      {R"({"colour": "red"})", R"(setting "colour": unknown setting)"},
      {R"({"uuid": 7})", R"(setting "uuid": expected a text)"},
      {R"({"needJava": "yes"})", R"(setting "needJava": expected true or false)"},
      {R"({"velmorPath": "app"})", R"(setting "velmorPath": expected a list of texts)"},
      {R"({"expires": "2031-Dec-24"})", R"(setting "expires": expected a date YYYY-MM-DD or null)"},
      {R"({"expires": "2031-02-30"})", R"(setting "expires": expected a date YYYY-MM-DD or null)"},
      {R"({"publicFunctions": [{"name": "f"}, {"nmae": "g"}]})",
       R"(setting "publicFunctions[1].nmae": unknown setting)"},
      // What the package does not store is refused rather than silently dropped.
      {R"({"prefdir": "p"})", R"(setting "prefdir": the package does not store this setting )"
                              "(its preference folder is always .velmor)"},
      {R"({"applicationOptions": []})",
       R"(setting "applicationOptions": the package does not store this setting)"},
      {R"({"mainFunction": {}})", R"(setting "mainFunction": the package does not store this )"
                                  "setting (the first of publicFunctions is the main function)"},
      {R"({"publicFunctions": [{"location": "/a"}]})",
       R"(setting "publicFunctions[0].location": the package does not store this setting)"},
      {R"(["uuid"])", "the settings must be one JSON object"}};
  for (const auto& [text, message] : rows) {
    writeFile("bad.json", text);
    expectRefused({"create", "--settings", "bad.json", "bad.kzf", "app"},
                  "kzf: bad.json: " + message + " [KZF_SETTINGS_INVALID]\n", "bad.kzf");
  }
}

}  // namespace
}  // namespace kzftest
