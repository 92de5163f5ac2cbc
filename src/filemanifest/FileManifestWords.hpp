// The words the file manifest uses for the kinds of entries.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfpackage/KZFFileEntry.hpp>

namespace Quorlith::kzfpackage::filemanifest {

/// The manifest word of `type`: "File", "SymLink" or "Folder"; nullptr for a value outside
/// the enumeration.
const char16_t* entryTypeWord(KZFFileEntryType type);

/// The kind named by `word`, compared exactly (case included). Any other word throws
/// DeployedException KZFPACKAGE_INVALID_XML("File type is not recognized").
KZFFileEntryType entryTypeFromWord(const fl::i18n::ustring& word);

}  // namespace Quorlith::kzfpackage::filemanifest
