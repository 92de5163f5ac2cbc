// printmln: one localized message line on a stream.
#include <fl/i18n/MessageCatalog.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/printmln.hpp>

#include "TextCodec.hpp"

namespace fl::i18n {

void printmln(std::ostream& os, const resource_core::BaseMsgID& id) {
  os << detail::encodeNarrow(MessageCatalog::get_message(id, QlLocale::global()),
                             detail::OnError::Replace)
     << std::endl;
}

}  // namespace fl::i18n
