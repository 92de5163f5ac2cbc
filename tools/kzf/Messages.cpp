// The kzf tool's messages: gettext lookup in the domain "kzf" and placeholder filling.
#include "Messages.hpp"

#include <libintl.h>

#include <cstdlib>
#include <fl/i18n/MessageCatalog.hpp>
#include <vector>

namespace kzf::tool {

namespace {

constexpr const char* kDomain = "kzf";

// Replaces each placeholder {0}..{9} that has an argument; others stay as they are.
std::string fill(const std::string& pattern, const std::vector<std::string>& args) {
  std::string out;
  out.reserve(pattern.size() + 64);
  for (std::size_t i = 0; i < pattern.size();) {
    if (pattern[i] == '{' && i + 2 < pattern.size() && pattern[i + 1] >= '0' &&
        pattern[i + 1] <= '9' && pattern[i + 2] == '}') {
      const auto index = static_cast<std::size_t>(pattern[i + 1] - '0');
      if (index < args.size()) {
        out += args[index];
        i += 3;
        continue;
      }
    }
    out += pattern[i++];
  }
  return out;
}

}  // namespace

void initMessages() { ::bindtextdomain(kDomain, fl::i18n::MessageCatalog::localeFolder().c_str()); }

std::string tr(const char* english, std::initializer_list<std::string> arguments) {
  return fill(::dgettext(kDomain, english), arguments);
}

std::string trPlural(const char* singular, const char* plural, unsigned long n,
                     std::initializer_list<std::string> arguments) {
  return fill(::dngettext(kDomain, singular, plural, n), arguments);
}

}  // namespace kzf::tool
