// Media types of parts, such as "application/xml" or "application/x;platform=glnxa64".
#pragma once

#include <opc/Export.hpp>
#include <string>

namespace opc::model {

/// A media type "type/subtype" with optional ";name=value" parameters and no white space.
/// Construction validates it and throws InvalidContentType naming the text and the reason.
class OPC_API ContentType {
 public:
  explicit ContentType(const std::string& text);

  /// The media type exactly as given.
  const std::string& toString() const { return text_; }

  /// Exact comparison of the texts (parameters included).
  friend bool operator==(const ContentType& a, const ContentType& b) { return a.text_ == b.text_; }
  friend bool operator!=(const ContentType& a, const ContentType& b) { return !(a == b); }

 private:
  std::string text_;
};

}  // namespace opc::model
