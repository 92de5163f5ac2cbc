// QlLocale: a snapshot of the process locale's encoding and messages locale.
#include <clocale>
#include <fl/i18n/QlLocale.hpp>
#include <utility>

#include "TextCodec.hpp"

namespace fl::i18n {

QlLocale::QlLocale(std::string messagesName, std::string encodingName)
    : messagesName_(std::move(messagesName)), encodingName_(std::move(encodingName)) {}

QlLocale QlLocale::global() {
  const char* messages = std::setlocale(LC_MESSAGES, nullptr);
  return QlLocale(messages != nullptr ? messages : "C", detail::processEncodingName());
}

std::variant<std::monostate, std::string> QlLocale::get_encoding_name() const {
  if (encodingName_.empty()) return std::monostate{};
  return encodingName_;
}

std::string QlLocale::name() const { return messagesName_; }

}  // namespace fl::i18n
