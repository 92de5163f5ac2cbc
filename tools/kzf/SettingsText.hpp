// The readable form of a package's settings, printed by "kzf settings" without --json.
#pragma once

#include <kzfpackage/KZFSettings.hpp>
#include <ostream>

namespace kzf::tool {

/// Writes one labelled line per setting (lists: one line per item, continued under the first),
/// in the process encoding. Key material is shown by its length only: a terminal or a log is
/// no place for it; --json prints it.
void printSettings(const Quorlith::kzfpackage::KZFSettings& settings, std::ostream& out);

}  // namespace kzf::tool
