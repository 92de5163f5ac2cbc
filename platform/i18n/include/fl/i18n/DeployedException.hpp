// DeployedException: the one exception type the package library reports failures with.
#pragma once

#include <exception>
#include <fl/i18n/Export.hpp>
#include <resource_core/BaseMsgID.hpp>
#include <string>

namespace fl::i18n {

/// A failure reported to the caller: the localized message of a message identifier, and that
/// identifier's text. Derives from std::exception only, never from std::runtime_error, so
/// that handlers that rewrap lower-level std::runtime_errors let it pass unchanged.
class FL_I18N_API DeployedException : public std::exception {
 public:
  /// Looks the message of `id` up in the process locale as now set and keeps copies of the
  /// message and of the identifier text; `id` may be destroyed afterwards. Characters the
  /// process encoding cannot represent become '?': building the exception never fails
  /// because of the message's content.
  explicit DeployedException(const resource_core::BaseMsgID& id);
  ~DeployedException() override;

  DeployedException(const DeployedException&) = default;
  DeployedException(DeployedException&&) = default;
  DeployedException& operator=(const DeployedException&) = default;
  DeployedException& operator=(DeployedException&&) = default;

  /// The localized message, in the process encoding.
  const char* what() const noexcept override;
  /// The localized message, in the process encoding.
  const std::string& message() const noexcept { return message_; }
  /// The identifier text of the message, e.g. "KZFPACKAGE_NOT_OPEN".
  const std::string& identifier() const noexcept { return identifier_; }

 private:
  std::string message_;
  std::string identifier_;
};

}  // namespace fl::i18n
