// The kzf tool's own messages (translated through gettext) and the errors it reports.
#pragma once

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

namespace kzf::tool {

/// A failure found by the tool itself (a missing source, a bad settings file, a dangling link):
/// exit status 1. Carries an identifier in the manner of the library's message identifiers,
/// so that every failure line ends in "[IDENTIFIER]" whichever side found it.
class ToolError : public std::runtime_error {
 public:
  ToolError(std::string identifier, const std::string& message)
      : std::runtime_error(message), identifier_(std::move(identifier)) {}
  /// The identifier text, e.g. "KZF_DANGLING_LINKS".
  const std::string& identifier() const noexcept { return identifier_; }

 private:
  std::string identifier_;
};

/// A command line that does not make sense: exit status 2, followed by the command's usage.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Binds the tool's message domain "kzf" to the library's catalog folder
/// (MessageCatalog::localeFolder). Call once, after setlocale.
void initMessages();

/// The translation of `english` in the messages locale, converted to the process encoding,
/// with each placeholder {0} .. {9} replaced by the argument of that index.
std::string tr(const char* english, std::initializer_list<std::string> arguments = {});

/// As tr, for a text whose form depends on the count `n` (the language's plural rule chooses).
std::string trPlural(const char* singular, const char* plural, unsigned long n,
                     std::initializer_list<std::string> arguments);

}  // namespace kzf::tool
