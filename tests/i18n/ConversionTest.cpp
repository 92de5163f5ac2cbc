// Conversions between UTF-16 and narrow text: round trips per locale, and refused input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/ustring.hpp>
#include <stdexcept>
#include <string>
#include <variant>

#include "LocaleGuard.hpp"
#include "RowLabel.hpp"

namespace {

using namespace fl::i18n;

/// Matches a call that throws std::runtime_error with the text `what`.
template <typename Text>
auto fails(Text what) {
  return ::testing::ThrowsMessage<std::runtime_error>(what);
}

struct RoundTripRow {
  std::string label;
  const char* locale;
  ustring text;
  std::string narrow;    // the expected bytes in the locale's encoding
  std::string encoding;  // the encoding QlLocale reports, the C locale's as UTF-8
};

class ProcessEncodingRoundTrip : public ::testing::TestWithParam<RoundTripRow> {};

TEST_P(ProcessEncodingRoundTrip, NarrowsToTheLocaleBytesAndBack) {
  const RoundTripRow& row = GetParam();
  KZF_USE_LOCALE_OR_SKIP(locale, row.locale);
  EXPECT_EQ(fl::i18n::to_string(row.text), row.narrow);
  EXPECT_EQ(fl::i18n::to_ustring(row.narrow), row.text);
  const fl::i18n::QlLocale current = fl::i18n::QlLocale::global();
  EXPECT_EQ(std::get<std::string>(current.get_encoding_name()), row.encoding);
  EXPECT_EQ(current.name(), row.label == "C" || row.label == "Posix" ? "C" : row.locale);
}

const ustring kLatinPath = u"/tmp/Gr\u00fc\u00dfe/\u00e9t\u00e9.m";
const ustring kAstralPath = u"/\u30c7/\U0001D11E/\U0001F600.m";
const std::string kAstralUtf8 = "/\xe3\x83\x87/\xf0\x9d\x84\x9e/\xf0\x9f\x98\x80.m";

// Octal escapes: a hex escape would run on into the letters after it.
const RoundTripRow kRoundTrips[] = {
    {"C", "C", kAstralPath, kAstralUtf8, "UTF-8"},
    {"Posix", "POSIX", kAstralPath, kAstralUtf8, "UTF-8"},
    {"CUtf8", "C.UTF-8", kAstralPath, kAstralUtf8, "UTF-8"},
    {"EnUtf8", "en_US.UTF-8", kLatinPath, "/tmp/Gr\303\274\303\237e/\303\251t\303\251.m", "UTF-8"},
    {"DeLatin1", "de_DE.ISO-8859-1", kLatinPath, "/tmp/Gr\374\337e/\351t\351.m", "ISO-8859-1"}};
INSTANTIATE_TEST_SUITE_P(Paths, ProcessEncodingRoundTrip, ::testing::ValuesIn(kRoundTrips),
                         kzftest::RowLabel());

TEST(ProcessEncoding, Latin1NamesWhatItCannotHoldAndGrowsItsBuffer) {
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  EXPECT_THAT([] { fl::i18n::to_string(u"ab\u00e9\u20ac"); },
              fails("character U+20AC at code unit offset 3 cannot be represented in ISO-8859-1"));
  EXPECT_THAT([] { fl::i18n::to_string(u"x\U0001F600"); },
              fails("character U+1F600 at code unit offset 1 cannot be represented in ISO-8859-1"));
  ustring text;
  for (int i = 0; i < 5000; ++i) text += u"dir\u00e4/";
  const std::string narrow = fl::i18n::to_string(text);
  EXPECT_EQ(narrow.size(), text.size());
  EXPECT_EQ(fl::i18n::to_ustring(narrow), text);
}

// UTF-8 at the edges of each sequence length; refused bytes and lone surrogates with their
// offsets, through every converter that meets them.
struct Utf8Row {
  std::string label;
  ustring text;
  std::string utf8;
  std::string error;  // "" for a valid pair
};

class Utf8Codec : public ::testing::TestWithParam<Utf8Row> {};

TEST_P(Utf8Codec, EncodesAndDecodesExactlyOrRefusesWithTheOffset) {
  const Utf8Row& row = GetParam();
  KZF_USE_LOCALE_OR_SKIP(locale, "C");
  if (row.error.empty()) {
    EXPECT_EQ(fl::i18n::ustring_to_utf8(row.text), row.utf8);
    EXPECT_EQ(fl::i18n::utf8_to_ustring(row.utf8), row.text);
  } else if (row.utf8.empty()) {
    EXPECT_THAT([&] { fl::i18n::ustring_to_utf8(row.text); }, fails(row.error));
    EXPECT_THAT([&] { fl::i18n::to_string(row.text); }, fails(row.error));
    EXPECT_THAT([&] { Converter("ISO-8859-1").from_ustring(row.text); }, fails(row.error));
  } else {
    EXPECT_THAT([&] { fl::i18n::utf8_to_ustring(row.utf8); }, fails(row.error));
    EXPECT_THAT([&] { fl::i18n::to_ustring(row.utf8); }, fails(row.error));
    EXPECT_THAT([&] { Converter("UTF-8").to_ustring(row.utf8); }, fails(row.error));
  }
}

std::string bad(const std::string& offset, const std::string& why) {
  return "invalid UTF-8 sequence at byte offset " + offset + " (" + why + ")";
}

const Utf8Row kUtf8Rows[] = {
    {"Empty", u"", "", ""},
    {"SequenceLengthEdges", u"\u007f\u0080\u07ff\u0800\uffff\U00010000\U0010FFFF",
     "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", ""},
    {"TruncatedAtEnd", u"", "abc\xc3", bad("3", "truncated sequence")},
    {"TruncatedFourByte", u"", "\xf0\x9f\x98", bad("0", "truncated sequence")},
    {"OverlongTwoByte", u"", "ab\xc0\xaf", bad("2", "overlong encoding")},
    {"OverlongFourByte", u"", "\xf0\x8f\xbf\xbf", bad("0", "overlong encoding")},
    {"EncodedSurrogate", u"", "abc\xed\xa0\x80", bad("3", "encoded surrogate")},
    {"AboveMaximum", u"", "1\xf4\x90\x80\x80", bad("1", "code point above U+10FFFF")},
    {"StrayContinuation", u"", "a\xc3\xa9\x80", bad("3", "unexpected continuation byte")},
    {"LeadFF", u"", "ok\xff", bad("2", "invalid lead byte")},
    {"LoneHigh", u"abc\xd800", "", "lone surrogate at code unit offset 3 (U+D800)"},
    {"LoneLow", u"\xdc00x", "", "lone surrogate at code unit offset 0 (U+DC00)"},
    {"LoneAfterPair", u"\U0001F600\xdfff", "", "lone surrogate at code unit offset 2 (U+DFFF)"}};
INSTANTIATE_TEST_SUITE_P(CodePoints, Utf8Codec, ::testing::ValuesIn(kUtf8Rows),
                         kzftest::RowLabel());

TEST(Converter, MapsEveryLatin1ByteAndNamesWhatAnEncodingRefuses) {
  const Converter latin1("ISO-8859-1");
  std::string bytes;
  ustring expected;
  for (int b = 1; b < 256; ++b) {
    bytes += static_cast<char>(b);
    expected += static_cast<char16_t>(b);
  }
  EXPECT_EQ(latin1.to_ustring(bytes), expected);
  EXPECT_EQ(latin1.from_ustring(expected), bytes);
  EXPECT_EQ(Converter("utf8").from_ustring(kAstralPath), kAstralUtf8);
  EXPECT_THAT([] { Converter("NO-SUCH-CODESET"); },
              fails(::testing::HasSubstr("between UTF-16 and the encoding 'NO-SUCH-CODESET'")));
  EXPECT_THAT([] { Converter("ASCII").to_ustring("abc\xe9"); },
              fails("invalid ASCII sequence at byte offset 3 (not valid in this encoding)"));
  EXPECT_THAT([] { Converter("EUC-JP").to_ustring("ab\xa4"); },
              fails("invalid EUC-JP sequence at byte offset 2 (truncated sequence)"));
}

}  // namespace
