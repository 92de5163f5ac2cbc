// Settings to JSON and back: one JSON member per settings field.
#include "SettingsJson.hpp"

#include <boost/date_time/gregorian/gregorian.hpp>
#include <fstream>
#include <functional>
#include <map>
#include <regex>

#include "Messages.hpp"

namespace kzf::tool {

using nlohmann::json;
using nlohmann::ordered_json;
using Quorlith::kzfpackage::KZFByteArray;
using Quorlith::kzfpackage::KZFSettings;
using Quorlith::kzfpackage::ustring;
using Quorlith::kzfpackage::VelmorFunction;

namespace {

std::string utf8(const ustring& text) { return fl::i18n::ustring_to_utf8(text); }

ordered_json texts(const std::vector<ustring>& list) {
  ordered_json out = ordered_json::array();
  for (const ustring& text : list) out.push_back(utf8(text));
  return out;
}

ordered_json functionToJson(const VelmorFunction& function) {
  return ordered_json{{"name", utf8(function.name)},
                      {"inputs", texts(function.inputs)},
                      {"outputs", texts(function.outputs)}};
}

// Key material is carried in the manifest as UTF-8 text, so its bytes are JSON text as they are.
std::string keyText(const KZFByteArray& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// Reads one settings document, naming the file and the field in every complaint.
class SettingsReader {
 public:
  explicit SettingsReader(std::string origin) : origin_(std::move(origin)) {}

  [[noreturn]] void fail(const std::string& field, const std::string& reason) const {
    throw ToolError("KZF_SETTINGS_INVALID",
                    tr("{0}: setting \"{1}\": {2}", {origin_, field, reason}));
  }

  ustring text(const json& value, const std::string& field) const {
    if (!value.is_string()) fail(field, tr("expected a text"));
    try {
      return fl::i18n::utf8_to_ustring(value.get_ref<const std::string&>());
    } catch (const std::runtime_error& e) {
      fail(field, e.what());
    }
  }

  bool flag(const json& value, const std::string& field) const {
    if (!value.is_boolean()) fail(field, tr("expected true or false"));
    return value.get<bool>();
  }

  std::vector<ustring> textList(const json& value, const std::string& field) const {
    if (!value.is_array()) fail(field, tr("expected a list of texts"));
    std::vector<ustring> out;
    for (const json& item : value) out.push_back(text(item, field));
    return out;
  }

  VelmorFunction function(const json& value, const std::string& field) const {
    if (!value.is_object()) fail(field, tr("expected an object"));
    VelmorFunction out;
    for (const auto& [key, member] : value.items()) {
      const std::string name = field + "." + key;
      if (key == "location") {
        fail(name, tr("the package does not store this setting"));
      } else if (key == "name") {
        out.name = text(member, name);
      } else if (key == "inputs") {
        out.inputs = textList(member, name);
      } else if (key == "outputs") {
        out.outputs = textList(member, name);
      } else {
        fail(name, tr("unknown setting"));
      }
    }
    return out;
  }

  KZFByteArray key(const json& value, const std::string& field) const {
    if (!value.is_string()) fail(field, tr("expected a text"));
    return KZFByteArray(value.get<std::string>());
  }

  boost::optional<boost::gregorian::date> date(const json& value, const std::string& field) const {
    if (value.is_null()) return boost::none;
    // Boost also reads "2031-Dec-24" and "2031/12/24"; only the one documented form is taken.
    static const std::regex form("[0-9]{4}-[0-9]{2}-[0-9]{2}");
    if (value.is_string() && std::regex_match(value.get_ref<const std::string&>(), form)) {
      try {
        return boost::gregorian::from_simple_string(value.get<std::string>());
      } catch (const std::exception&) {
        // a day that does not exist (2031-02-30): reported below with the form expected
      }
    }
    fail(field, tr("expected a date YYYY-MM-DD or null"));
  }

 private:
  std::string origin_;
};

}  // namespace

ordered_json settingsToJson(const KZFSettings& s) {
  ordered_json functions = ordered_json::array();
  for (const VelmorFunction& function : s.publicFunctions) {
    functions.push_back(functionToJson(function));
  }
  return ordered_json{
      {"uuid", utf8(s.uuid)},
      {"componentName", utf8(s.componentName)},
      {"vrtMajorVersion", utf8(s.vrtMajorVersion)},
      {"vrtMinorVersion", utf8(s.vrtMinorVersion)},
      {"vrtReleaseVersion", utf8(s.vrtReleaseVersion)},
      {"needJava", s.needJava},
      {"needExclusiveVrtProcess", s.needExclusiveVrtProcess},
      {"publicFunctions", functions},
      {"expires", s.expires ? ordered_json(boost::gregorian::to_iso_extended_string(*s.expires))
                            : ordered_json(nullptr)},
      {"velmorPath", texts(s.velmorPath)},
      {"javaClassPath", texts(s.javaClassPath)},
      {"libraryPath", texts(s.libraryPath)},
      {"runtimeOptions", texts(s.runtimeOptions)},
      {"warningState", texts(s.warningState)},
      {"initStartMessage", utf8(s.initStartMessage)},
      {"initCompleteMessage", utf8(s.initCompleteMessage)},
      {"sessionKey", keyText(s.sessionKey)},
      {"publicKey", keyText(s.publicKey)}};
}

KZFSettings settingsFromJson(const json& document, const std::string& origin) {
  const SettingsReader read(origin);
  if (!document.is_object()) {
    throw ToolError("KZF_SETTINGS_INVALID",
                    tr("{0}: the settings must be one JSON object", {origin}));
  }
  KZFSettings s;
  using Setter = std::function<void(const json&, const std::string&)>;
  const std::map<std::string, Setter> setters = {
      {"uuid", [&](const json& v, const std::string& f) { s.uuid = read.text(v, f); }},
      {"componentName",
       [&](const json& v, const std::string& f) { s.componentName = read.text(v, f); }},
      {"vrtMajorVersion",
       [&](const json& v, const std::string& f) { s.vrtMajorVersion = read.text(v, f); }},
      {"vrtMinorVersion",
       [&](const json& v, const std::string& f) { s.vrtMinorVersion = read.text(v, f); }},
      {"vrtReleaseVersion",
       [&](const json& v, const std::string& f) { s.vrtReleaseVersion = read.text(v, f); }},
      {"needJava", [&](const json& v, const std::string& f) { s.needJava = read.flag(v, f); }},
      {"needExclusiveVrtProcess",
       [&](const json& v, const std::string& f) { s.needExclusiveVrtProcess = read.flag(v, f); }},
      {"mainFunction",
       [&](const json&, const std::string& f) {
         read.fail(f, tr("the package does not store this setting (the first of "
                         "publicFunctions is the main function)"));
       }},
      {"publicFunctions",
       [&](const json& v, const std::string& f) {
         if (!v.is_array()) read.fail(f, tr("expected a list of functions"));
         for (std::size_t i = 0; i < v.size(); ++i) {
           s.publicFunctions.push_back(read.function(v[i], f + "[" + std::to_string(i) + "]"));
           // The manifest declares functions with equal locations once: each gets its own, one
           // no folder path can equal, so that every function listed is stored.
           s.publicFunctions.back().location =
               u"\u0001function " + fl::i18n::to_ustring(std::to_string(i));
         }
       }},
      {"expires", [&](const json& v, const std::string& f) { s.expires = read.date(v, f); }},
      {"velmorPath",
       [&](const json& v, const std::string& f) { s.velmorPath = read.textList(v, f); }},
      {"javaClassPath",
       [&](const json& v, const std::string& f) { s.javaClassPath = read.textList(v, f); }},
      {"libraryPath",
       [&](const json& v, const std::string& f) { s.libraryPath = read.textList(v, f); }},
      {"applicationOptions",
       [&](const json&, const std::string& f) {
         read.fail(f, tr("the package does not store this setting"));
       }},
      {"runtimeOptions",
       [&](const json& v, const std::string& f) { s.runtimeOptions = read.textList(v, f); }},
      {"warningState",
       [&](const json& v, const std::string& f) { s.warningState = read.textList(v, f); }},
      {"prefdir",
       [&](const json&, const std::string& f) {
         read.fail(f, tr("the package does not store this setting (its preference folder is "
                         "always .velmor)"));
       }},
      {"initStartMessage",
       [&](const json& v, const std::string& f) { s.initStartMessage = read.text(v, f); }},
      {"initCompleteMessage",
       [&](const json& v, const std::string& f) { s.initCompleteMessage = read.text(v, f); }},
      {"sessionKey", [&](const json& v, const std::string& f) { s.sessionKey = read.key(v, f); }},
      {"publicKey", [&](const json& v, const std::string& f) { s.publicKey = read.key(v, f); }},
  };
  for (const auto& [key, value] : document.items()) {
    const auto setter = setters.find(key);
    if (setter == setters.end()) read.fail(key, tr("unknown setting"));
    setter->second(value, key);
  }
  return s;
}

KZFSettings readSettingsFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw ToolError("KZF_SETTINGS_UNREADABLE", tr("{0}: cannot open the settings file", {path}));
  }
  json document;
  try {
    document = json::parse(in);
  } catch (const json::parse_error& e) {
    throw ToolError("KZF_SETTINGS_INVALID", tr("{0}: not a JSON document: {1}", {path, e.what()}));
  }
  return settingsFromJson(document, path);
}

}  // namespace kzf::tool
