// The message catalog and DeployedException: arguments filled in, unknown identifiers, gettext
// translations. That every identifier has a text using each argument, and that an exception
// outlives its identifier, is checked with the identifiers themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/MessageCatalog.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "LocaleGuard.hpp"
#include "RowLabel.hpp"

namespace {

using namespace fl::i18n;
using resource_core::BaseMsgID;

ustring messageOf(const std::string& identifier, std::vector<BaseMsgID::Argument> arguments,
                  const std::string& component = "kzfpackage") {
  return MessageCatalog::get_message(BaseMsgID(component, identifier, std::move(arguments)),
                                     QlLocale::global());
}

class MessageCatalogTest : public ::testing::Test {
 protected:
  // English texts regardless of the machine's environment.
  kzftest::LocaleGuard locale_{"C"};
};

TEST_F(MessageCatalogTest, FillsPlaceholdersOrNamesTheUnknownIdentifier) {
  EXPECT_EQ(messageOf("KZFPACKAGE_OPEN_FAILED", {"/tmp/a.kzf", "Read", "no such file"}),
            u"Could not open the package /tmp/a.kzf: no such file");
  // Placeholders without arguments stay; argument texts are not scanned for placeholders.
  EXPECT_EQ(messageOf("KZFPACKAGE_OPEN_FAILED", {"{1}"}), u"Could not open the package {1}: {2}");
  EXPECT_EQ(messageOf("KZFPACKAGE_CLOSE_FAILED", {ustring(u"/\U0001F600.kzf"), -42LL}),
            u"Could not close the package /\U0001F600.kzf: -42");
  EXPECT_EQ(messageOf("KZFPACKAGE_NOT_OPEN", {"/tmp/\xff.kzf"}),
            u"The package /tmp/\ufffd.kzf is not open.");
  EXPECT_EQ(messageOf("KZFPACKAGE_NO_SUCH_MESSAGE", {"a", 7LL}),
            u"KZFPACKAGE_NO_SUCH_MESSAGE: a, 7");
  EXPECT_EQ(messageOf("KZFPACKAGE_NO_SUCH_MESSAGE", {}), u"KZFPACKAGE_NO_SUCH_MESSAGE");
  // A known identifier of another component is unknown too.
  EXPECT_EQ(messageOf("KZFPACKAGE_NOT_OPEN", {"/p"}, "othercomponent"), u"KZFPACKAGE_NOT_OPEN: /p");
}

struct LossyRow {
  std::string label;
  const char* locale;
  ustring argument;
  std::string expected;  // the message in the locale's encoding
};

class DeployedExceptionEncoding : public ::testing::TestWithParam<LossyRow> {};

TEST_P(DeployedExceptionEncoding, ReplacesWhatTheProcessEncodingCannotHold) {
  KZF_USE_LOCALE_OR_SKIP(locale, GetParam().locale);
  const DeployedException error(
      BaseMsgID("kzfpackage", "KZFPACKAGE_FILE_ENTRY_NOT_EXIST", {GetParam().argument}));
  EXPECT_EQ(error.message(), GetParam().expected);
}

const LossyRow kLossyRows[] = {
    {"Utf8Astral", "C", u"/\U0001F600", "The file /\xf0\x9f\x98\x80 does not exist."},
    {"Utf8LoneSurrogate", "C", u"/a\xd800", "The file /a\xef\xbf\xbd does not exist."},
    {"Latin1Euro", "de_DE.ISO-8859-1", u"/\u20ac\u00fc", "The file /?\xfc does not exist."},
    {"Latin1LoneSurrogate", "de_DE.ISO-8859-1", u"/\xdc00", "The file /? does not exist."}};
INSTANTIATE_TEST_SUITE_P(Locales, DeployedExceptionEncoding, ::testing::ValuesIn(kLossyRows),
                         kzftest::RowLabel());

// Translations through gettext, from the catalog folder named by KZF_LOCALEDIR. The binding is
// made once per process, so each check runs in a fresh child process.

#ifdef KZF_TEST_LOCALEDIR

// In the child: exits 0 if the German test catalog is used, as the process locale says.
[[noreturn]] void checkGermanTranslation(const char* locale, const std::string& expected) {
  setenv("KZF_LOCALEDIR", KZF_TEST_LOCALEDIR, 1);
  const QlLocale english = QlLocale::global();
  if (std::setlocale(LC_ALL, locale) == nullptr) std::exit(2);
  const BaseMsgID notOpen("kzfpackage", "KZFPACKAGE_NOT_OPEN", {std::string("/p.kzf")});
  const DeployedException german(notOpen);
  const ustring stillEnglish = MessageCatalog::get_message(notOpen, english);
  const ustring untranslated = messageOf("KZFPACKAGE_ALREADY_OPENED", {"/p.kzf"});
  std::cerr << german.what() << '\n';
  std::exit(german.message() != expected || stillEnglish != u"The package /p.kzf is not open." ||
            untranslated != u"The package /p.kzf is already open.");
}

struct TranslationRow {
  std::string label;
  const char* locale;
  std::string expected;  // in the locale's encoding
};

class GettextTranslation : public ::testing::TestWithParam<TranslationRow> {};

TEST_P(GettextTranslation, ReplacesTheEnglishTextInTheLocaleEncoding) {
  { KZF_USE_LOCALE_OR_SKIP(probe, GetParam().locale); }
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(checkGermanTranslation(GetParam().locale, GetParam().expected),
              ::testing::ExitedWithCode(0), "");
}

// Octal escapes: a hex escape would swallow the "ff" after the umlaut.
const TranslationRow kGerman[] = {
    {"Utf8", "de_DE.UTF-8", "Das Paket /p.kzf ist nicht ge\303\266ffnet."},
    {"Latin1", "de_DE.ISO-8859-1", "Das Paket /p.kzf ist nicht ge\366ffnet."}};
INSTANTIATE_TEST_SUITE_P(German, GettextTranslation, ::testing::ValuesIn(kGerman),
                         kzftest::RowLabel());

#endif

}  // namespace
