// DeployedException: a localized failure message and its identifier.
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/MessageCatalog.hpp>
#include <fl/i18n/QlLocale.hpp>

#include "TextCodec.hpp"

namespace fl::i18n {

// The conversion replaces what the process encoding lacks instead of throwing: an exception
// that failed to build would hide the failure it was meant to report.
DeployedException::DeployedException(const resource_core::BaseMsgID& id)
    : message_(detail::encodeNarrow(MessageCatalog::get_message(id, QlLocale::global()),
                                    detail::OnError::Replace)),
      identifier_(id.identifier()) {}

DeployedException::~DeployedException() = default;

const char* DeployedException::what() const noexcept { return message_.c_str(); }

}  // namespace fl::i18n
