// How a name is shown in a message: readable in the locale, one line, never ambiguous.
#include <gtest/gtest.h>

#include <fl/i18n/Describe.hpp>
#include <fl/i18n/ustring.hpp>
#include <string>

#include "LocaleGuard.hpp"
#include "RowLabel.hpp"

namespace {

struct NameRow {
  std::string label;
  const char* locale;
  fl::i18n::ustring name;
  std::string shown;  // in the locale's encoding
};

class NameInMessage : public ::testing::TestWithParam<NameRow> {};

TEST_P(NameInMessage, ShowsTheNameAsTheTableSays) {
  const NameRow& row = GetParam();
  KZF_USE_LOCALE_OR_SKIP(locale, row.locale);
  EXPECT_EQ(fl::i18n::describe(row.name), row.shown);
}

// Octal escapes: a hex escape would run on into the letters after it.
const NameRow kNames[] = {
    {"LettersInUtf8", "C", u"Gr\u00fc\u00dfe/\u30c7\U0001F600",
     "Gr\303\274\303\237e/\343\203\207\360\237\230\200"},
    {"ControlsAndSeparators", "C", u"a\nb\tc\x7f\u0085d\u2028",
     "a\\u000Ab\\u0009c\\u007F\\u0085d\\u2028"},
    {"BackslashIsEscapedToo", "C", u"a\\u0041", "a\\u005Cu0041"},
    {"LoneSurrogates", "C", u"x\xd800y\xdc00", "x\\uD800y\\uDC00"},
    {"LettersInLatin1", "de_DE.ISO-8859-1", u"\u00e9t\u00e9\u20ac\U0001F600\n",
     "\xe9t\xe9\\u20AC\\uD83D\\uDE00\\u000A"}};
INSTANTIATE_TEST_SUITE_P(Names, NameInMessage, ::testing::ValuesIn(kNames), kzftest::RowLabel());

}  // namespace
