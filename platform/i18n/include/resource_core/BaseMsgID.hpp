// A message identifier: which catalog message to show, and the arguments to fill into it.
#pragma once

#include <fl/i18n/Export.hpp>
#include <fl/i18n/ustring.hpp>
#include <string>
#include <variant>
#include <vector>

namespace resource_core {

/// Identifies one catalog message and carries its arguments. A value object: built on the
/// stack, passed by const reference and destroyed after use; whatever is made from it (a
/// localized text, an exception) keeps copies.
class FL_I18N_API BaseMsgID {
 public:
  /// One argument: a narrow text in the process encoding, a UTF-16 text, or a number.
  using Argument = std::variant<std::string, fl::i18n::ustring, long long>;

  /// `component` names the catalog the message belongs to ("kzfpackage"), `identifier` the
  /// message within it ("KZFPACKAGE_NOT_OPEN"); `arguments` fill its placeholders {0}, {1}, ...
  BaseMsgID(std::string component, std::string identifier, std::vector<Argument> arguments);
  virtual ~BaseMsgID();

  BaseMsgID(const BaseMsgID&) = default;
  BaseMsgID(BaseMsgID&&) = default;
  BaseMsgID& operator=(const BaseMsgID&) = default;
  BaseMsgID& operator=(BaseMsgID&&) = default;

  /// The arguments in placeholder order.
  const std::vector<Argument>& arguments() const noexcept { return arguments_; }
  /// The catalog the message belongs to.
  const std::string& component() const noexcept { return component_; }
  /// The message's identifier text, e.g. "KZFPACKAGE_NOT_OPEN".
  const std::string& identifier() const noexcept { return identifier_; }

 private:
  std::vector<Argument> arguments_;
  std::string component_;
  std::string identifier_;
};

}  // namespace resource_core
