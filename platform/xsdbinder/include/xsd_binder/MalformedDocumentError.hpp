// The error of a document that cannot be parsed or does not fit its bound element tree.
#pragma once

#include <exception>
#include <string>
#include <xsd_binder/Export.hpp>

namespace xsd_binder {

/// A document that the parser rejects (malformed XML, a refused DOCTYPE or external
/// resource, input past the size cap) or whose elements do not fit the binding's tree.
/// `what()` starts with "xsd_binder: Attempted to parse a malformed document" and goes on
/// with where and why; `reason()` alone holds the where and why.
class XSDB_API MalformedDocumentError : public std::exception {
 public:
  /// `reason` names the document or element and what is wrong with it.
  explicit MalformedDocumentError(const std::string& reason);
  ~MalformedDocumentError() override;

  const char* what() const noexcept override;
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string reason_;
  std::string message_;
};

}  // namespace xsd_binder
