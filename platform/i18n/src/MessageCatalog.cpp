// The message catalog: English texts translated through gettext, arguments filled in.
#include <dlfcn.h>
#include <libintl.h>
#include <locale.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fl/i18n/MessageCatalog.hpp>
#include <mutex>

#include "KzfPackageMessages.hpp"
#include "TextCodec.hpp"

namespace fl::i18n {
namespace {

constexpr const char* kTextDomain = "qlkzfpackage";

using Argument = resource_core::BaseMsgID::Argument;

void bindTextDomainOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    ::bindtextdomain(kTextDomain, MessageCatalog::localeFolder().c_str());
    // Translations come back as UTF-8 whatever the locale's codeset; the one conversion to the
    // process encoding happens where the text leaves as narrow text.
    ::bind_textdomain_codeset(kTextDomain, "UTF-8");
  });
}

/// Makes the calling thread look messages up in the named locale while it lives, leaving the
/// process locale alone. Changes nothing if that locale cannot be loaded.
class MessagesLocaleScope {
 public:
  explicit MessagesLocaleScope(const std::string& name)
      : locale_(::newlocale(LC_MESSAGES_MASK, name.c_str(), static_cast<locale_t>(nullptr))),
        previous_(locale_ != nullptr ? ::uselocale(locale_) : nullptr) {}
  ~MessagesLocaleScope() {
    if (locale_ == nullptr) return;
    ::uselocale(previous_);
    ::freelocale(locale_);
  }
  MessagesLocaleScope(const MessagesLocaleScope&) = delete;
  MessagesLocaleScope& operator=(const MessagesLocaleScope&) = delete;

 private:
  locale_t locale_;
  locale_t previous_;
};

ustring argumentText(const Argument& argument) {
  if (const auto* narrow = std::get_if<std::string>(&argument)) {
    return detail::decodeNarrow(*narrow, detail::OnError::Replace);
  }
  if (const auto* text = std::get_if<ustring>(&argument)) return *text;
  const std::string digits = std::to_string(std::get<long long>(argument));
  return ustring(digits.begin(), digits.end());
}

// Replaces each placeholder {0}..{9} that has an argument; others stay as they are.
ustring substitute(const ustring& pattern, const std::vector<Argument>& arguments) {
  ustring out;
  out.reserve(pattern.size() + 64);
  for (std::size_t i = 0; i < pattern.size();) {
    if (pattern[i] == u'{' && i + 2 < pattern.size() && pattern[i + 1] >= u'0' &&
        pattern[i + 1] <= u'9' && pattern[i + 2] == u'}') {
      const auto index = static_cast<std::size_t>(pattern[i + 1] - u'0');
      if (index < arguments.size()) {
        out += argumentText(arguments[index]);
        i += 3;
        continue;
      }
    }
    out += pattern[i++];
  }
  return out;
}

// What an identifier the catalog lacks reads as: "IDENTIFIER: arg0, arg1".
ustring unknownMessage(const resource_core::BaseMsgID& id) {
  ustring out = detail::decodeNarrow(id.identifier(), detail::OnError::Replace);
  const char16_t* separator = u": ";
  for (const Argument& argument : id.arguments()) {
    out += separator;
    out += argumentText(argument);
    separator = u", ";
  }
  return out;
}

}  // namespace

std::string MessageCatalog::localeFolder() {
  const char* dir = std::getenv("KZF_LOCALEDIR");
  if (dir != nullptr && *dir != '\0') return dir;
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&MessageCatalog::localeFolder), &info) != 0 &&
      info.dli_fname != nullptr) {
    const std::string library = info.dli_fname;
    const std::size_t slash = library.rfind('/');
    if (slash != std::string::npos) {
      const std::string folder = library.substr(0, slash) + "/" KZF_LOCALEDIR_FROM_LIBDIR;
      struct stat status {};
      if (::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return folder;
    }
  }
  return KZF_LOCALEDIR;
}

ustring MessageCatalog::get_message(const resource_core::BaseMsgID& id, const QlLocale& locale) {
  const char* english = id.component() == detail::kKzfPackageComponent
                            ? detail::findKzfPackageMessage(id.identifier())
                            : nullptr;
  if (english == nullptr) return unknownMessage(id);

  bindTextDomainOnce();
  ustring pattern;
  {
    const MessagesLocaleScope scope(locale.name());
    pattern = detail::decodeUtf8(::dgettext(kTextDomain, english), detail::OnError::Replace);
  }
  return substitute(pattern, id.arguments());
}

}  // namespace fl::i18n
