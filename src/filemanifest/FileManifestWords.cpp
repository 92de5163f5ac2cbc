// The words the file manifest uses for the kinds of entries.
#include "FileManifestWords.hpp"

#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/MessageIds.hpp>

namespace Quorlith::kzfpackage::filemanifest {

namespace {
constexpr char16_t kFileWord[] = u"File";
constexpr char16_t kSymLinkWord[] = u"SymLink";
constexpr char16_t kFolderWord[] = u"Folder";
}  // namespace

const char16_t* entryTypeWord(KZFFileEntryType type) {
  switch (type) {
    case KZFFileEntryType::File:
      return kFileWord;
    case KZFFileEntryType::SymLink:
      return kSymLinkWord;
    case KZFFileEntryType::Folder:
      return kFolderWord;
  }
  // The enumeration's 32-bit storage can hold any number; only the three kinds have a word.
  return nullptr;
}

KZFFileEntryType entryTypeFromWord(const fl::i18n::ustring& word) {
  if (word == kFolderWord) return KZFFileEntryType::Folder;
  if (word == kSymLinkWord) return KZFFileEntryType::SymLink;
  if (word == kFileWord) return KZFFileEntryType::File;
  throw fl::i18n::DeployedException(
      kzf::kzfpackage::KZFPACKAGE_INVALID_XML("File type is not recognized"));
}

}  // namespace Quorlith::kzfpackage::filemanifest
