// The manifest's words for the entry kinds: exact in both directions.
#include <gtest/gtest.h>

#include <kzfpackage/KZFFileEntry.hpp>
#include <optional>
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
  const char16_t* word;
  std::optional<KZFFileEntryType> type;  // none: the word is not recognized
  friend void PrintTo(const WordRow& row, std::ostream* os) { *os << row.label; }
};

class FileManifestWordsTest : public ::testing::TestWithParam<WordRow> {};

TEST_P(FileManifestWordsTest, KindAndWordMapBothWaysOrTheWordIsRefused) {
  const WordRow& row = GetParam();
  if (!row.type) {
    EXPECT_KZF_ERROR_WITH(entryTypeFromWord(row.word), "KZFPACKAGE_INVALID_XML",
                          "File type is not recognized");
    return;
  }
  EXPECT_EQ(std::u16string(entryTypeWord(*row.type)), row.word);
  EXPECT_EQ(entryTypeFromWord(row.word), *row.type);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FileManifestWordsTest,
    ::testing::Values(WordRow{"File", u"File", KZFFileEntryType::File},
                      WordRow{"SymLink", u"SymLink", KZFFileEntryType::SymLink},
                      WordRow{"Folder", u"Folder", KZFFileEntryType::Folder},
                      WordRow{"LowerCaseFile", u"file", std::nullopt},
                      WordRow{"SymlinkWithSmallL", u"Symlink", std::nullopt},
                      WordRow{"TrailingBlank", u"File ", std::nullopt}),
    [](const ::testing::TestParamInfo<WordRow>& row) { return row.param.label; });

}  // namespace
