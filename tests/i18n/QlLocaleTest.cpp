// QlLocale: the encoding name and messages locale of the process locale as set at the time.
#include <gtest/gtest.h>

#include <fl/i18n/QlLocale.hpp>
#include <ostream>
#include <string>
#include <variant>

#include "LocaleGuard.hpp"

namespace {

using fl::i18n::QlLocale;

std::string encodingOf(const QlLocale& locale) {
  const auto name = locale.get_encoding_name();
  EXPECT_TRUE(std::holds_alternative<std::string>(name));
  return std::holds_alternative<std::string>(name) ? std::get<std::string>(name) : "";
}

struct EncodingRow {
  const char* name;
  const char* locale;
  const char* encoding;
  const char* messagesName;
  friend void PrintTo(const EncodingRow& row, std::ostream* os) { *os << row.name; }
};

class QlLocaleEncoding : public ::testing::TestWithParam<EncodingRow> {};

TEST_P(QlLocaleEncoding, ReportsTheCodesetWithTheCLocaleAsUtf8) {
  KZF_USE_LOCALE_OR_SKIP(locale, GetParam().locale);
  EXPECT_EQ(encodingOf(QlLocale::global()), GetParam().encoding);
  EXPECT_EQ(QlLocale::global().name(), GetParam().messagesName);
}

INSTANTIATE_TEST_SUITE_P(Locales, QlLocaleEncoding,
                         ::testing::Values(EncodingRow{"C", "C", "UTF-8", "C"},
                                           EncodingRow{"Posix", "POSIX", "UTF-8", "C"},
                                           EncodingRow{"EnUtf8", "en_US.UTF-8", "UTF-8",
                                                       "en_US.UTF-8"},
                                           EncodingRow{"DeLatin1", "de_DE.ISO-8859-1", "ISO-8859-1",
                                                       "de_DE.ISO-8859-1"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(QlLocale, IsASnapshotOfTheLocaleWhenTaken) {
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  const QlLocale before = QlLocale::global();
  KZF_USE_LOCALE_OR_SKIP(utf8, "en_US.UTF-8");
  EXPECT_EQ(encodingOf(before), "ISO-8859-1");
  EXPECT_EQ(before.name(), "de_DE.ISO-8859-1");
  EXPECT_EQ(encodingOf(QlLocale::global()), "UTF-8");
}

}  // namespace
