// Test data: every message identifier of the package library with its number of arguments.
#pragma once

#include <cstddef>
#include <ostream>

namespace kzftest {

struct MessageIdentifierRow {
  const char* identifier;
  std::size_t argumentCount;
  friend void PrintTo(const MessageIdentifierRow& row, std::ostream* os) { *os << row.identifier; }
};

inline constexpr MessageIdentifierRow kMessageIdentifiers[] = {
    {"KZFPACKAGE_NOT_OPEN", 1},
    {"KZFPACKAGE_INVALID_XML", 1},
    {"KZFPACKAGE_OPEN_FAILED", 3},
    {"KZFPACKAGE_CLOSE_FAILED", 2},
    {"KZFPACKAGE_ALREADY_OPENED", 1},
    {"KZFPACKAGE_EXTRACT_FAILED", 2},
    {"KZFPACKAGE_NOT_FOR_CREATE", 1},
    {"KZFPACKAGE_ERROR_READ_FILE", 1},
    {"KZFPACKAGE_ERROR_WRITE_XML", 1},
    {"KZFPACKAGE_ERROR_PATH_EMPTY", 2},
    {"KZFPACKAGE_NOT_OPEN_FOR_READ", 1},
    {"KZFPACKAGE_ERROR_PATH_ABSOLUTE", 2},
    {"KZFPACKAGE_ERROR_PATH_RELATIVE", 1},
    {"KZFPACKAGE_ERROR_LOADING_SCHEMA", 1},
    {"KZFPACKAGE_ERROR_WRITE_KZF_FILE", 1},
    {"KZFPACKAGE_FILE_ENTRY_NOT_EXIST", 1},
    {"KZFPACKAGE_ERROR_ADD_NORMAL_FILE", 2},
    {"KZFPACKAGE_FILE_TYPE_UNSUPPORTED", 1},
    {"KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE", 1},
    {"KZFPACKAGE_ERROR_READ_SYMLINK_FILE", 1},
    {"KZFPACKAGE_OPEN_EXISTING_FILE_ERROR", 1},
    {"KZFPACKAGE_WARNING_LOCALE_DIFFERENT", 0},
    {"KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE", 2},
    {"KZFPACKAGE_WARNING_PLATFORM_DIFFERENT", 0},
    {"KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE", 1},
    {"KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE", 1},
    {"KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR", 0},
    {"KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES", 1},
};

}  // namespace kzftest
