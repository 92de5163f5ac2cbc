// The error of a document that cannot be parsed or does not fit its bound element tree.
#include <xsd_binder/MalformedDocumentError.hpp>

namespace xsd_binder {

MalformedDocumentError::MalformedDocumentError(const std::string& reason)
    : reason_(reason),
      message_("xsd_binder: Attempted to parse a malformed document" +
               (reason.empty() ? std::string() : ": " + reason)) {}

MalformedDocumentError::~MalformedDocumentError() = default;

const char* MalformedDocumentError::what() const noexcept { return message_.c_str(); }

}  // namespace xsd_binder
