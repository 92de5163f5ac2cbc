// The manifest's words for the entry kinds: exact in both directions.
#include <gtest/gtest.h>

#include <kzfpackage/KZFFileEntry.hpp>
#include <ostream>
#include <string>

#include "FileManifestWords.hpp"
#include "KzfErrorMatchers.hpp"

namespace {

using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::filemanifest::entryTypeFromWord;
using Quorlith::kzfpackage::filemanifest::entryTypeWord;

struct WordRow {
  const char* label;
  KZFFileEntryType type;
  const char16_t* word;
};

// Rows print as their label, also in the test names CTest shows.
void PrintTo(const WordRow& row, std::ostream* os) { *os << row.label; }

class FileManifestWordsTest : public ::testing::TestWithParam<WordRow> {};

TEST_P(FileManifestWordsTest, KindAndWordMapBothWays) {
  EXPECT_EQ(std::u16string(entryTypeWord(GetParam().type)), GetParam().word);
  EXPECT_EQ(entryTypeFromWord(GetParam().word), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FileManifestWordsTest,
    ::testing::Values(WordRow{"File", KZFFileEntryType::File, u"File"},
                      WordRow{"SymLink", KZFFileEntryType::SymLink, u"SymLink"},
                      WordRow{"Folder", KZFFileEntryType::Folder, u"Folder"}),
    [](const ::testing::TestParamInfo<WordRow>& row) { return row.param.label; });

struct UnknownWordRow {
  const char* label;
  const char16_t* word;
};

// Rows print as their label, also in the test names CTest shows.
void PrintTo(const UnknownWordRow& row, std::ostream* os) { *os << row.label; }

class UnknownWordTest : public ::testing::TestWithParam<UnknownWordRow> {};

TEST_P(UnknownWordTest, IsNotRecognized) {
  EXPECT_KZF_ERROR_WITH(entryTypeFromWord(GetParam().word), "KZFPACKAGE_INVALID_XML",
                        "File type is not recognized");
}

INSTANTIATE_TEST_SUITE_P(Words, UnknownWordTest,
                         ::testing::Values(UnknownWordRow{"LowerCaseFile", u"file"},
                                           UnknownWordRow{"SymlinkWithSmallL", u"Symlink"},
                                           UnknownWordRow{"TrailingBlank", u"File "}),
                         [](const ::testing::TestParamInfo<UnknownWordRow>& row) {
                           return row.param.label;
                         });

}  // namespace
