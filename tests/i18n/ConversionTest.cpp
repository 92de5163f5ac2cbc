// Conversions between UTF-16 and narrow text: round trips per locale, and refused input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fl/i18n/ustring.hpp>
#include <ostream>
#include <stdexcept>
#include <string>

#include "LocaleGuard.hpp"

namespace {

using fl::i18n::Converter;
using fl::i18n::ustring;
using ::testing::HasSubstr;

// Runs `call`, which must throw std::runtime_error, and returns its text.
template <typename Call>
std::string errorText(Call call) {
  try {
    call();
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  ADD_FAILURE() << "no std::runtime_error was thrown";
  return {};
}

// ---------------------------------------------------------------------------------------------
// Round trips of paths through the process encoding, locale by locale.

struct RoundTripRow {
  const char* name;
  const char* locale;
  ustring text;
  std::string narrow;  // the expected bytes in the locale's encoding
  friend void PrintTo(const RoundTripRow& row, std::ostream* os) { *os << row.name; }
};

std::string rowName(const ::testing::TestParamInfo<RoundTripRow>& info) { return info.param.name; }

class ProcessEncodingRoundTrip : public ::testing::TestWithParam<RoundTripRow> {};

TEST_P(ProcessEncodingRoundTrip, NarrowsToTheLocaleBytesAndBack) {
  const RoundTripRow& row = GetParam();
  KZF_USE_LOCALE_OR_SKIP(locale, row.locale);
  EXPECT_EQ(fl::i18n::to_string(row.text), row.narrow);
  EXPECT_EQ(fl::i18n::to_ustring(row.narrow), row.text);
}

const ustring kAsciiPath = u"app/lib/libfoo.so.1";
const ustring kLatinPath = u"/tmp/Gr\u00fc\u00dfe/\u00e9t\u00e9.m";
const ustring kCjkPath = u"/\u30c7\u30fc\u30bf/\u6587\u4ef6.m";
const ustring kAstralPath = u"/music/\U0001D11E/\U0001F600.m";  // G clef, grinning face

const std::string kLatinUtf8 =
    "/tmp/Gr\xc3\xbc\xc3\x9f"
    "e/\xc3\xa9t\xc3\xa9.m";
const std::string kCjkUtf8 = "/\xe3\x83\x87\xe3\x83\xbc\xe3\x82\xbf/\xe6\x96\x87\xe4\xbb\xb6.m";
const std::string kAstralUtf8 = "/music/\xf0\x9d\x84\x9e/\xf0\x9f\x98\x80.m";

INSTANTIATE_TEST_SUITE_P(
    Paths, ProcessEncodingRoundTrip,
    ::testing::Values(RoundTripRow{"C_Ascii", "C", kAsciiPath, "app/lib/libfoo.so.1"},
                      RoundTripRow{"C_Cjk", "C", kCjkPath, kCjkUtf8},
                      RoundTripRow{"C_Astral", "C", kAstralPath, kAstralUtf8},
                      RoundTripRow{"Posix_Astral", "POSIX", kAstralPath, kAstralUtf8},
                      RoundTripRow{"CUtf8_Astral", "C.UTF-8", kAstralPath, kAstralUtf8},
                      RoundTripRow{"EnUtf8_Latin", "en_US.UTF-8", kLatinPath, kLatinUtf8},
                      RoundTripRow{"EnUtf8_Astral", "en_US.UTF-8", kAstralPath, kAstralUtf8},
                      RoundTripRow{"DeLatin1_Ascii", "de_DE.ISO-8859-1", kAsciiPath,
                                   "app/lib/libfoo.so.1"},
                      RoundTripRow{"DeLatin1_Latin", "de_DE.ISO-8859-1", kLatinPath,
                                   "/tmp/Gr\xfc\xdf"
                                   "e/\xe9t\xe9.m"}),
    rowName);

TEST(ProcessEncoding, FollowsSetlocaleBetweenCalls) {
  const ustring text = u"\u00fc";
  {
    KZF_USE_LOCALE_OR_SKIP(utf8, "de_DE.UTF-8");
    EXPECT_EQ(fl::i18n::to_string(text), "\xc3\xbc");
  }
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  EXPECT_EQ(fl::i18n::to_string(text), "\xfc");
}

TEST(ProcessEncoding, NamesWhatLatin1CannotRepresent) {
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  EXPECT_EQ(errorText([] { fl::i18n::to_string(u"ab\u00e9\u20ac"); }),
            "character U+20AC at code unit offset 3 cannot be represented in ISO-8859-1");
  EXPECT_EQ(errorText([] { fl::i18n::to_string(u"x\U0001F600"); }),
            "character U+1F600 at code unit offset 1 cannot be represented in ISO-8859-1");
}

TEST(ProcessEncoding, LongTextGrowsTheIconvBuffer) {
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  ustring text;
  for (int i = 0; i < 5000; ++i) text += u"dir\u00e4/";
  const std::string narrow = fl::i18n::to_string(text);
  EXPECT_EQ(narrow.size(), text.size());
  EXPECT_EQ(fl::i18n::to_ustring(narrow), text);
}

// ---------------------------------------------------------------------------------------------
// The UTF-8 codec at the edges of each sequence length.

struct BoundaryRow {
  const char* name;
  ustring text;
  std::string utf8;
  friend void PrintTo(const BoundaryRow& row, std::ostream* os) { *os << row.name; }
};

class Utf8Boundary : public ::testing::TestWithParam<BoundaryRow> {};

TEST_P(Utf8Boundary, EncodesAndDecodesExactly) {
  EXPECT_EQ(fl::i18n::ustring_to_utf8(GetParam().text), GetParam().utf8);
  EXPECT_EQ(fl::i18n::utf8_to_ustring(GetParam().utf8), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    CodePoints, Utf8Boundary,
    ::testing::Values(BoundaryRow{"Empty", u"", ""},
                      BoundaryRow{"Nul", ustring(1, u'\0'), std::string(1, '\0')},
                      BoundaryRow{"U007F", u"\u007f", "\x7f"},
                      BoundaryRow{"U0080", u"\u0080", "\xc2\x80"},
                      BoundaryRow{"U07FF", u"\u07ff", "\xdf\xbf"},
                      BoundaryRow{"U0800", u"\u0800", "\xe0\xa0\x80"},
                      BoundaryRow{"UD7FF", u"\ud7ff", "\xed\x9f\xbf"},
                      BoundaryRow{"UE000", u"\ue000", "\xee\x80\x80"},
                      BoundaryRow{"UFFFF", u"\uffff", "\xef\xbf\xbf"},
                      BoundaryRow{"U10000", u"\U00010000", "\xf0\x90\x80\x80"},
                      BoundaryRow{"U10FFFF", u"\U0010FFFF", "\xf4\x8f\xbf\xbf"},
                      BoundaryRow{"Mixed", u"a\u00e9\u20ac\U0001F600z",
                                  "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80z"}),
    [](const ::testing::TestParamInfo<BoundaryRow>& row) { return row.param.name; });

// ---------------------------------------------------------------------------------------------
// Invalid UTF-8: refused with the offset of the offending sequence, through the UTF-8
// converters and through the process encoding of the C locale alike.

struct InvalidUtf8Row {
  const char* name;
  std::string bytes;
  std::string error;
  friend void PrintTo(const InvalidUtf8Row& row, std::ostream* os) { *os << row.name; }
};

class InvalidUtf8 : public ::testing::TestWithParam<InvalidUtf8Row> {};

TEST_P(InvalidUtf8, IsRefusedWithItsOffset) {
  const InvalidUtf8Row& row = GetParam();
  EXPECT_EQ(errorText([&] { fl::i18n::utf8_to_ustring(row.bytes); }), row.error);
  EXPECT_EQ(errorText([&] { Converter("utf-8").to_ustring(row.bytes); }), row.error);
  KZF_USE_LOCALE_OR_SKIP(locale, "C");
  EXPECT_EQ(errorText([&] { fl::i18n::to_ustring(row.bytes); }), row.error);
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, InvalidUtf8,
    ::testing::Values(
        InvalidUtf8Row{"TruncatedAtEnd", "abc\xc3",
                       "invalid UTF-8 sequence at byte offset 3 (truncated sequence)"},
        InvalidUtf8Row{"TruncatedByAscii", "a\xe2\x82z",
                       "invalid UTF-8 sequence at byte offset 1 (truncated sequence)"},
        InvalidUtf8Row{"TruncatedFourByte", "\xf0\x9f\x98",
                       "invalid UTF-8 sequence at byte offset 0 (truncated sequence)"},
        InvalidUtf8Row{"OverlongTwoByte", "ab\xc0\xaf",
                       "invalid UTF-8 sequence at byte offset 2 (overlong encoding)"},
        InvalidUtf8Row{"OverlongThreeByte", "xyz\xe0\x80\xaf",
                       "invalid UTF-8 sequence at byte offset 3 (overlong encoding)"},
        InvalidUtf8Row{"OverlongFourByte", "\xf0\x8f\xbf\xbf",
                       "invalid UTF-8 sequence at byte offset 0 (overlong encoding)"},
        InvalidUtf8Row{"HighSurrogate", "abc\xed\xa0\x80",
                       "invalid UTF-8 sequence at byte offset 3 (encoded surrogate)"},
        InvalidUtf8Row{"LowSurrogate", "\xed\xbf\xbf",
                       "invalid UTF-8 sequence at byte offset 0 (encoded surrogate)"},
        InvalidUtf8Row{"AboveMaximum", "12345\xf4\x90\x80\x80",
                       "invalid UTF-8 sequence at byte offset 5 (code point above U+10FFFF)"},
        InvalidUtf8Row{"LeadF5", "\xf5\x80\x80\x80",
                       "invalid UTF-8 sequence at byte offset 0 (code point above U+10FFFF)"},
        InvalidUtf8Row{"StrayContinuation", "a\xc3\xa9\x80",
                       "invalid UTF-8 sequence at byte offset 3 (unexpected continuation byte)"},
        InvalidUtf8Row{"LeadFF", "ok\xff",
                       "invalid UTF-8 sequence at byte offset 2 (invalid lead byte)"}),
    [](const ::testing::TestParamInfo<InvalidUtf8Row>& row) { return row.param.name; });

// ---------------------------------------------------------------------------------------------
// Lone surrogates: refused with their code-unit offset, whatever the target encoding.

struct LoneSurrogateRow {
  const char* name;
  ustring text;
  std::string error;
  friend void PrintTo(const LoneSurrogateRow& row, std::ostream* os) { *os << row.name; }
};

class LoneSurrogate : public ::testing::TestWithParam<LoneSurrogateRow> {};

TEST_P(LoneSurrogate, IsRefusedWithItsOffset) {
  const LoneSurrogateRow& row = GetParam();
  EXPECT_EQ(errorText([&] { fl::i18n::ustring_to_utf8(row.text); }), row.error);
  EXPECT_EQ(errorText([&] { Converter("ISO-8859-1").from_ustring(row.text); }), row.error);
  {
    KZF_USE_LOCALE_OR_SKIP(c, "C");
    EXPECT_EQ(errorText([&] { fl::i18n::to_string(row.text); }), row.error);
  }
  KZF_USE_LOCALE_OR_SKIP(latin1, "de_DE.ISO-8859-1");
  EXPECT_EQ(errorText([&] { fl::i18n::to_string(row.text); }), row.error);
}

INSTANTIATE_TEST_SUITE_P(
    Units, LoneSurrogate,
    ::testing::Values(LoneSurrogateRow{"HighAtEnd", u"abc\xd800",
                                       "lone surrogate at code unit offset 3 (U+D800)"},
                      LoneSurrogateRow{"HighBeforeAscii", u"ab\xd83dx",
                                       "lone surrogate at code unit offset 2 (U+D83D)"},
                      LoneSurrogateRow{"LowFirst", u"\xdc00x",
                                       "lone surrogate at code unit offset 0 (U+DC00)"},
                      LoneSurrogateRow{"ReversedPair", u"a\xdc00\xd800",
                                       "lone surrogate at code unit offset 1 (U+DC00)"},
                      LoneSurrogateRow{"AfterValidPair", u"\U0001F600\xdfff",
                                       "lone surrogate at code unit offset 2 (U+DFFF)"}),
    [](const ::testing::TestParamInfo<LoneSurrogateRow>& row) { return row.param.name; });

// ---------------------------------------------------------------------------------------------
// Converters built from an encoding name.

TEST(Converter, RecognisesUtf8NamesInAnyCase) {
  for (const char* name : {"UTF-8", "utf-8", "utf8", "UTF8"}) {
    const Converter converter(name);
    EXPECT_EQ(converter.encodingName(), name);
    EXPECT_EQ(converter.from_ustring(kAstralPath), kAstralUtf8) << name;
  }
}

TEST(Converter, Latin1MapsEveryByte) {
  const Converter latin1("ISO-8859-1");
  std::string bytes;
  ustring expected;
  for (int b = 1; b < 256; ++b) {
    bytes += static_cast<char>(b);
    expected += static_cast<char16_t>(b);
  }
  EXPECT_EQ(latin1.to_ustring(bytes), expected);
  EXPECT_EQ(latin1.from_ustring(expected), bytes);
}

TEST(Converter, MultiByteEncodingRoundTrips) {
  const Converter eucJp("EUC-JP");
  const std::string bytes = eucJp.from_ustring(kCjkPath);
  EXPECT_EQ(bytes.size(), 2 * 5 + 4u);  // five two-byte characters, two slashes, ".m"
  EXPECT_EQ(eucJp.to_ustring(bytes), kCjkPath);
}

TEST(Converter, NamesTheOffsetOfBytesTheEncodingRefusesAndAnEncodingIconvLacks) {
  EXPECT_THAT(errorText([] { Converter("NO-SUCH-CODESET"); }),
              HasSubstr("cannot convert between UTF-16 and the encoding 'NO-SUCH-CODESET'"));
  EXPECT_EQ(errorText([] { Converter("ASCII").to_ustring("abc\xe9"); }),
            "invalid ASCII sequence at byte offset 3 (not valid in this encoding)");
  EXPECT_EQ(errorText([] { Converter("EUC-JP").to_ustring("ab\xa4"); }),
            "invalid EUC-JP sequence at byte offset 2 (truncated sequence)");
}

}  // namespace
