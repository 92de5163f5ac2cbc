// Error texts of the zip container: every failure names the archive, and the item if any.
#pragma once

#include <string>

namespace opc::zippackage {

/// "<archive>: item '<item>'", the subject of an item's error messages.
std::string itemLabel(const std::string& archive, const std::string& item);

/// Throws std::runtime_error "<archive>: <reason>".
[[noreturn]] void throwArchiveError(const std::string& archive, const std::string& reason);

/// Throws std::runtime_error "<archive>: item '<item>': <reason>".
[[noreturn]] void throwItemError(const std::string& archive, const std::string& item,
                                 const std::string& reason);

}  // namespace opc::zippackage
