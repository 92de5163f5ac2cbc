// IDGenerator: ids are NCNames, readable after their prefix, and never repeat in a document.
#include <gtest/gtest.h>

#include <fl/i18n/ustring.hpp>
#include <set>
#include <string>
#include <vector>
#include <xercesc/util/XMLChar.hpp>
#include <xsd_binder/IDGenerator.hpp>

#include "RowLabel.hpp"

namespace {

using xsd_binder::IDGenerator;

// The parser library's own test of what an XML id may be.
bool isNCName(const std::string& id) {
  std::u16string wide(id.begin(), id.end());  // ids are ASCII
  return xercesc::XMLChar1_0::isValidNCName(wide.c_str(), wide.size());
}

struct PrefixRow {
  std::string label;
  std::string prefix;
  std::string expected;  // the id of the first call
};

class IDGeneratorPrefix : public ::testing::TestWithParam<PrefixRow> {};

TEST_P(IDGeneratorPrefix, KeepsNameCharactersAndReplacesTheRest) {
  IDGenerator generator;
  std::string id = generator.generate(GetParam().prefix);
  EXPECT_EQ(id, GetParam().expected);
  EXPECT_TRUE(isNCName(id)) << id;
}

INSTANTIATE_TEST_SUITE_P(
    Prefixes, IDGeneratorPrefix,
    ::testing::Values(PrefixRow{"AbsolutePath", "DIR_/usr/lib/velmor", "DIR__usr_lib_velmor_1"},

                      PrefixRow{"NonAsciiUtf8", "DIR_/home/j\xc3\xbcrgen/\xe6\x97\xa5",
                                "DIR__home_j_rgen__1"},
                      PrefixRow{"ColonIsNoNCNameChar", "DIR_c:\\tmp", "DIR_c_tmp_1"},
                      PrefixRow{"LeadingDigit", "7up", "_7up_1"},
                      PrefixRow{"LeadingSlash", "/", "___1"}, PrefixRow{"Empty", "", "__1"}),
    kzftest::RowLabel());

TEST(IDGeneratorTest, PrefixesThatFlattenAlikeStillGetDistinctIds) {
  // Each of these reads "DIR__a_b" (or ends in what looks like a counter) once flattened.
  const std::vector<std::string> prefixes = {"DIR_/a/b",
                                             "DIR_ a b",
                                             "DIR_\xc3\xa4"
                                             "a\xc3\xa4"
                                             "b",
                                             "DIR_/a/b",
                                             "DIR__a_b",
                                             "DIR__a_b_1",
                                             "DIR__a_b_12",
                                             "DIR__a_b_1_2",
                                             "",
                                             "ID",
                                             "ID_1"};
  IDGenerator generator;
  std::set<std::string> ids;
  for (int round = 0; round < 20; ++round) {
    for (const std::string& prefix : prefixes) {
      std::string id = generator.generate(prefix);
      EXPECT_TRUE(isNCName(id)) << id;
      EXPECT_TRUE(ids.insert(id).second) << "repeated id " << id;
    }
    EXPECT_TRUE(ids.insert(generator.generate()).second);
  }
}

}  // namespace
