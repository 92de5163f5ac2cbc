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
    const KzfRun run =
        kzf({"create", "--settings", "settings.json", "--title", "Overview", "app.kzf", "app"});
    ASSERT_EQ(0, run.status) << describe(run);
  }
};

TEST_F(SettingsCommandTest, StoredSettingsComeBackAsJson) {
  const KzfRun run = kzf({"settings", "--json", "app.kzf"});
  ASSERT_EQ(0, run.status) << describe(run);
  const json settings = parseJson(run);
  EXPECT_EQ("Übersicht", settings["componentName"]);
  EXPECT_EQ("12", settings["vrtMinorVersion"]);
  EXPECT_EQ(true, settings["needJava"]);
  EXPECT_EQ(false, settings["needExclusiveVrtProcess"]);
  EXPECT_EQ("helper", settings["publicFunctions"][1]["name"]);  // each function is stored
  EXPECT_EQ(json::parse(R"(["a","b"])"), settings["publicFunctions"][0]["inputs"]);
  EXPECT_EQ("2031-12-24", settings["expires"]);
  EXPECT_EQ(json::parse(R"(["app","app/lib"])"), settings["velmorPath"]);
  EXPECT_EQ("s3cret-ключ", settings["sessionKey"]);
  EXPECT_EQ("", settings["publicKey"]);
}

TEST_F(SettingsCommandTest, PrintedJsonMakesTheSamePackageAgainAndMatchesTheExtractedFolder) {
  const KzfRun first = kzf({"settings", "--json", "app.kzf"});
  writeFile("printed.json", first.out);
  ASSERT_EQ(0, kzf({"create", "--settings", "printed.json", "second.kzf", "app"}).status);
  EXPECT_EQ(first.out, kzf({"settings", "--json", "second.kzf"}).out);

  ASSERT_EQ(0, kzf({"extract", "app.kzf", "out"}).status);
  const KzfRun fromFolder = kzf({"settings", "--json", "out"});
  ASSERT_EQ(0, fromFolder.status) << describe(fromFolder);
  EXPECT_EQ(first.out, fromFolder.out);
}

TEST_F(SettingsCommandTest, TextFormIsLabelledLines) {
  const KzfRun run = kzf({"settings", "app.kzf"});
  ASSERT_EQ(0, run.status) << describe(run);
  for (const char* line :
       {"Component:                Übersicht\n", "Runtime version:          9.12.1\n",
        "Needs Java:               yes\n", "Main function:            main(a, b) -> [c]\n",
        "Expires:                  2031-12-24\n",
        "Search path:              app\n                          app/lib\n",
        // The key itself stays out of terminals and logs.
        "Session key:              15 bytes\n"}) {
    EXPECT_NE(std::string::npos, run.out.find(line)) << line << "\nin:\n" << run.out;
  }
}

struct BadSettings {
  const char* name;
  const char* text;
  const char* message;  // after "kzf: bad.json: "
};

// Rows print as their names in test listings.
void PrintTo(const BadSettings& row, std::ostream* out) { *out << row.name; }

class BadSettingsTest : public KzfCliTest, public ::testing::WithParamInterface<BadSettings> {};

TEST_P(BadSettingsTest, IsRefusedNamingTheKey) {
  writeFile("app/main.m", "x");
  writeFile("bad.json", GetParam().text);
  const KzfRun run = kzf({"create", "--settings", "bad.json", "app.kzf", "app"});
  EXPECT_EQ(1, run.status) << describe(run);
  EXPECT_EQ(std::string("kzf: bad.json: ") + GetParam().message + " [KZF_SETTINGS_INVALID]\n",
            run.err);
  EXPECT_FALSE(fs::exists(tmp / "app.kzf"));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BadSettingsTest,
    ::testing::Values(
        BadSettings{"UnknownKey", R"({"colour": "red"})", R"(setting "colour": unknown setting)"},
        BadSettings{"NumberForText", R"({"uuid": 7})", R"(setting "uuid": expected a text)"},
        BadSettings{"TextForFlag", R"({"needJava": "yes"})",
                    R"(setting "needJava": expected true or false)"},
        BadSettings{"TextForList", R"({"velmorPath": "app"})",
                    R"(setting "velmorPath": expected a list of texts)"},
        BadSettings{"MonthName", R"({"expires": "2031-Dec-24"})",
                    R"(setting "expires": expected a date YYYY-MM-DD or null)"},
        BadSettings{"NoSuchDay", R"({"expires": "2031-02-30"})",
                    R"(setting "expires": expected a date YYYY-MM-DD or null)"},
        BadSettings{"UnknownFunctionKey", R"({"publicFunctions": [{"name": "f"}, {"nmae": "g"}]})",
                    R"(setting "publicFunctions[1].nmae": unknown setting)"},
        // What the package does not store is refused rather than silently dropped.
        BadSettings{"Prefdir", R"({"prefdir": "p"})",
                    R"(setting "prefdir": the package does not store this setting (its )"
                    "preference folder is always .velmor)"},
        BadSettings{"ApplicationOptions", R"({"applicationOptions": []})",
                    R"(setting "applicationOptions": the package does not store this setting)"},
        BadSettings{"MainFunction", R"({"mainFunction": {}})",
                    R"(setting "mainFunction": the package does not store this setting (the )"
                    "first of publicFunctions is the main function)"},
        BadSettings{"FunctionLocation", R"({"publicFunctions": [{"location": "/a"}]})",
                    R"(setting "publicFunctions[0].location": the package does not store )"
                    "this setting"},
        BadSettings{"NotAnObject", R"(["uuid"])", "the settings must be one JSON object"}),
    [](const ::testing::TestParamInfo<BadSettings>& row) { return row.param.name; });

}  // namespace
}  // namespace kzftest
