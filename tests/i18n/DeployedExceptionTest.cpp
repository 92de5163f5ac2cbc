// DeployedException: localized texts that outlive their identifiers.
#include <gtest/gtest.h>

#include <algorithm>
#include <fl/i18n/DeployedException.hpp>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "LocaleGuard.hpp"
#include "RowLabel.hpp"

namespace {

using fl::i18n::DeployedException;
using fl::i18n::ustring;
using resource_core::BaseMsgID;

class DeployedExceptionTest : public ::testing::Test {
 protected:
  kzftest::LocaleGuard locale_{"C"};
};

TEST_F(DeployedExceptionTest, OutlivesTheIdentifierItWasBuiltFrom) {
  auto id =
      std::make_unique<BaseMsgID>("kzfpackage", "KZFPACKAGE_CLOSE_FAILED",
                                  std::vector<BaseMsgID::Argument>{"/tmp/a.kzf", "disk full"});
  const DeployedException error(*id);
  id.reset();
  EXPECT_EQ(error.identifier(), "KZFPACKAGE_CLOSE_FAILED");
  EXPECT_EQ(error.message(), "Could not close the package /tmp/a.kzf: disk full");
  EXPECT_STREQ(error.what(), error.message().c_str());
  // A rewrapping handler catches std::runtime_error; the library's own errors must pass it.
  EXPECT_EQ(dynamic_cast<const std::runtime_error*>(static_cast<const std::exception*>(&error)),
            nullptr);
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

INSTANTIATE_TEST_SUITE_P(Locales, DeployedExceptionEncoding,
                         ::testing::Values(LossyRow{"Utf8Astral", "C", u"/\U0001F600",
                                                    "The file /\xf0\x9f\x98\x80 does not exist."},
                                           LossyRow{"Utf8LoneSurrogate", "C", u"/a\xd800",
                                                    "The file /a\xef\xbf\xbd does not exist."},
                                           LossyRow{"Latin1Euro", "de_DE.ISO-8859-1",
                                                    u"/\u20ac\u00fc",
                                                    "The file /?\xfc does not exist."},
                                           LossyRow{"Latin1LoneSurrogate", "de_DE.ISO-8859-1",
                                                    u"/\xdc00", "The file /? does not exist."}),
                         kzftest::RowLabel());

}  // namespace
