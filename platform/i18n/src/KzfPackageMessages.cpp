// The English texts of the package library's messages: the source of every translation.
#include "KzfPackageMessages.hpp"

// Marks a text for extraction into the translation template without translating it here:
//   xgettext --keyword=N_ --from-code=UTF-8 -o qlkzfpackage.pot KzfPackageMessages.cpp
#define N_(text) text

namespace fl::i18n::detail {
namespace {

struct MessageText {
  std::string_view identifier;
  const char* english;
};

// Each text says what failed and names its path or reason arguments.
constexpr MessageText kMessages[] = {
    {"KZFPACKAGE_NOT_OPEN", N_("The package {0} is not open.")},
    {"KZFPACKAGE_INVALID_XML", N_("The file manifest is not valid: {0}")},
    {"KZFPACKAGE_OPEN_FAILED", N_("Could not open the package {0}: {2}")},
    {"KZFPACKAGE_CLOSE_FAILED", N_("Could not close the package {0}: {1}")},
    {"KZFPACKAGE_ALREADY_OPENED", N_("The package {0} is already open.")},
    {"KZFPACKAGE_EXTRACT_FAILED", N_("Could not extract the package into {0}: {1}")},
    {"KZFPACKAGE_NOT_FOR_CREATE", N_("The package {0} is not open for creating.")},
    {"KZFPACKAGE_ERROR_READ_FILE", N_("Could not read {0}.")},
    {"KZFPACKAGE_ERROR_WRITE_XML", N_("Could not write the file manifest: {0}")},
    {"KZFPACKAGE_ERROR_PATH_EMPTY",
     N_("Cannot express the path {0} relative to {1}: one of them is empty.")},
    {"KZFPACKAGE_NOT_OPEN_FOR_READ", N_("The package {0} is not open for reading.")},
    {"KZFPACKAGE_ERROR_PATH_ABSOLUTE",
     N_("Cannot compute the link path from {1} to {0}: both must be relative paths.")},
    {"KZFPACKAGE_ERROR_PATH_RELATIVE", N_("The resolved link target {0} is not an absolute path.")},
    {"KZFPACKAGE_ERROR_LOADING_SCHEMA", N_("Could not load the file manifest schema: {0}")},
    {"KZFPACKAGE_ERROR_WRITE_KZF_FILE", N_("Could not write the part {0} into the package.")},
    {"KZFPACKAGE_FILE_ENTRY_NOT_EXIST", N_("The file {0} does not exist.")},
    {"KZFPACKAGE_ERROR_ADD_NORMAL_FILE", N_("Could not add the file {0} to the package: {1}")},
    {"KZFPACKAGE_FILE_TYPE_UNSUPPORTED", N_("The file type of {0} is not supported.")},
    {"KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE", N_("Cannot find the package file {0}.")},
    {"KZFPACKAGE_ERROR_READ_SYMLINK_FILE", N_("Could not read the symbolic link {0}.")},
    {"KZFPACKAGE_OPEN_EXISTING_FILE_ERROR",
     N_("Cannot replace the existing file {0}: it is not writable.")},
    {"KZFPACKAGE_WARNING_LOCALE_DIFFERENT",
     N_("Warning: the file manifest was written under a different locale encoding.")},
    {"KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE",
     N_("Cannot place a symbolic link target where {0} is stored: the link there points to {1}.")},
    {"KZFPACKAGE_WARNING_PLATFORM_DIFFERENT",
     N_("Warning: the file manifest was written on a different platform.")},
    {"KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE", N_("Could not read the empty file {0}.")},
    {"KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE",
     N_("The place of the symbolic link target {0} is taken by a different file.")},
    {"KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR",
     N_("Could not create the extraction folder {0}: {1}")},
    {"KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES",
     N_("The package settings are inconsistent and could not be loaded or saved: {0}")},
    {"KZFPACKAGE_NAME_NOT_STORABLE",
     N_("Cannot add {0}: its name in the package cannot be extracted again: {1}")},
    {"KZFPACKAGE_NAME_TAKEN", N_("Cannot add {0}: its place in the package is taken: {1}")},
    {"KZFPACKAGE_LINK_NOT_STORABLE",
     N_("Cannot add the symbolic link {0}: it could not be extracted again: {1}")},
    {"KZFPACKAGE_LINK_LEAVES_TREE",
     N_("The symbolic link {0} leads outside the packed tree: {1}")},
    {"KZFPACKAGE_DAMAGED_PART", N_("part {0}: {1}")},
    {"KZFPACKAGE_DAMAGED_FILE_MANIFEST", N_("file manifest: {0}")},
    {"KZFPACKAGE_DAMAGED_SETTINGS", N_("configuration manifest: {0}")},
    {"KZFPACKAGE_VALUE_NOT_STORABLE", N_("Cannot store {0} in the package: {1}")},
    {"KZFPACKAGE_EXTRACTION_CONFLICT",
     N_("Could not extract the package into {0}: {1} of its names exist there already: {2}")},
    {"KZFPACKAGE_NO_SUCH_ENTRY", N_("The package has no entry {0}.")},
};

}  // namespace

const char* findKzfPackageMessage(std::string_view identifier) {
  for (const MessageText& message : kMessages) {
    if (message.identifier == identifier) return message.english;
  }
  return nullptr;
}

}  // namespace fl::i18n::detail
