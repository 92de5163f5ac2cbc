// The JSON form of a package's settings, printed by "kzf settings" and read by "kzf create".
#pragma once

#include <kzfpackage/KZFSettings.hpp>
#include <nlohmann/json.hpp>
#include <string>

namespace kzf::tool {

/// Every field the package stores (not mainFunction, the first public function; not prefdir,
/// applicationOptions or function locations) under its own name, texts as UTF-8, the expiry date as
/// "YYYY-MM-DD" (null when unset) and the key material as the text it is stored as.
nlohmann::ordered_json settingsToJson(const Quorlith::kzfpackage::KZFSettings& settings);

/// The settings in `document` (the form settingsToJson writes; absent fields keep their
/// defaults). Throws ToolError naming `origin` and the field for an unknown field, a value of
/// the wrong type, a malformed date, or a field the package does not store.
Quorlith::kzfpackage::KZFSettings settingsFromJson(const nlohmann::json& document,
                                                   const std::string& origin);

/// The settings in the JSON file at `path`. Throws ToolError naming the file for a file that
/// cannot be read or is no JSON, and as settingsFromJson.
Quorlith::kzfpackage::KZFSettings readSettingsFile(const std::string& path);

}  // namespace kzf::tool
