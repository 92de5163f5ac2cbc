// printmln: writes the localized text of a message identifier as one line (used for warnings).
#pragma once

#include <fl/i18n/Export.hpp>
#include <ostream>
#include <resource_core/BaseMsgID.hpp>

namespace fl::i18n {

/// Writes the message of `id`, localized in the process locale and converted to the process
/// encoding ('?' for characters it cannot represent), followed by a newline, and flushes.
FL_I18N_API void printmln(std::ostream& os, const resource_core::BaseMsgID& id);

}  // namespace fl::i18n
