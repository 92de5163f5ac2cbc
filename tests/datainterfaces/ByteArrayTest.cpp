// Byte arrays: construction keeps every byte, equality compares bytes, appending may alias.
#include <gtest/gtest.h>

#include <kzfdatainterfaces/KZFByteArray.hpp>
#include <string>
#include <vector>

namespace {

using Quorlith::kzfdatainterfaces::KZFByteArray;

std::string bytesOf(const KZFByteArray& a) { return std::string(a.begin(), a.end()); }

TEST(ByteArrayTest, ConstructionsKeepEmbeddedNuls) {
  const std::string raw("a\0b\xff", 4);
  EXPECT_EQ(bytesOf(KZFByteArray(raw)), raw);
  EXPECT_EQ(bytesOf(KZFByteArray(raw.data(), raw.size())), raw);
  EXPECT_EQ(bytesOf(KZFByteArray(std::vector<char>(raw.begin(), raw.end()))), raw);
  EXPECT_EQ(KZFByteArray(raw).size(), 4u);
}

TEST(ByteArrayTest, NullPointerWithZeroCountIsEmpty) {
  KZFByteArray a(nullptr, 0);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(a.begin(), a.end());
  EXPECT_EQ(a, KZFByteArray());
}

struct EqualityRow {
  const char* label;
  std::string a;
  std::string b;
  bool equal;
};

class ByteArrayEqualityTest : public ::testing::TestWithParam<EqualityRow> {};

TEST_P(ByteArrayEqualityTest, ComparesTheBytes) {
  const KZFByteArray a(GetParam().a), b(GetParam().b);
  EXPECT_EQ(a == b, GetParam().equal);
  EXPECT_EQ(a != b, !GetParam().equal);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, ByteArrayEqualityTest,
    ::testing::Values(EqualityRow{"BothEmpty", "", "", true},
                      EqualityRow{"SameBytes", "abc", "abc", true},
                      EqualityRow{"DifferentLastByte", "abc", "abd", false},
                      EqualityRow{"PrefixOnly", "ab", "abc", false},
                      EqualityRow{"EmptyAgainstNul", "", std::string(1, '\0'), false}),
    [](const ::testing::TestParamInfo<EqualityRow>& row) { return row.param.label; });

TEST(ByteArrayTest, AppendsBytesAndArraysIncludingItself) {
  KZFByteArray a(std::string("ab"));
  a.append("cd", 2);
  a.append(KZFByteArray(std::string("e")));
  a.append(a);
  EXPECT_EQ(bytesOf(a), "abcdeabcde");
}

}  // namespace
