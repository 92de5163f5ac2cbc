// The English texts of the package library's messages, keyed by identifier.
#pragma once

#include <string_view>

namespace fl::i18n::detail {

/// The catalog component whose texts the table holds.
inline constexpr std::string_view kKzfPackageComponent = "kzfpackage";

/// The English text of the package-library message `identifier` (placeholders {0} {1} {2}),
/// which is also its gettext message id; nullptr for an identifier the table lacks.
const char* findKzfPackageMessage(std::string_view identifier);

}  // namespace fl::i18n::detail
