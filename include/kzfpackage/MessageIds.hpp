// The message identifiers of the package library: one class per failure or warning it reports.
#pragma once

#include <kzfpackage/Export.hpp>
#include <resource_core/BaseMsgID.hpp>
#include <string>
#include <utility>

// Each identifier is a class named after its message, in the catalog component "kzfpackage",
// taking exactly as many narrow-text arguments (paths already narrowed with fl::i18n::to_string,
// reason texts) as its message has placeholders.
#define KZF_MESSAGE_ID_0(Name)                                    \
  class KZF_EXPORT Name : public resource_core::BaseMsgID {       \
   public:                                                        \
    Name() : resource_core::BaseMsgID("kzfpackage", #Name, {}) {} \
  };
#define KZF_MESSAGE_ID_1(Name)                                                \
  class KZF_EXPORT Name : public resource_core::BaseMsgID {                   \
   public:                                                                    \
    explicit Name(std::string arg0)                                           \
        : resource_core::BaseMsgID("kzfpackage", #Name, {std::move(arg0)}) {} \
  };
#define KZF_MESSAGE_ID_2(Name)                                                                 \
  class KZF_EXPORT Name : public resource_core::BaseMsgID {                                    \
   public:                                                                                     \
    Name(std::string arg0, std::string arg1)                                                   \
        : resource_core::BaseMsgID("kzfpackage", #Name, {std::move(arg0), std::move(arg1)}) {} \
  };
#define KZF_MESSAGE_ID_3(Name)                                                             \
  class KZF_EXPORT Name : public resource_core::BaseMsgID {                                \
   public:                                                                                 \
    Name(std::string arg0, std::string arg1, std::string arg2)                             \
        : resource_core::BaseMsgID("kzfpackage", #Name,                                    \
                                   {std::move(arg0), std::move(arg1), std::move(arg2)}) {} \
  };

namespace kzf::kzfpackage {

/// (package path) an operation needs an open package.
KZF_MESSAGE_ID_1(KZFPACKAGE_NOT_OPEN)
/// (reason) the file manifest is malformed or not valid against its schema.
KZF_MESSAGE_ID_1(KZFPACKAGE_INVALID_XML)
/// (package path, mode word "Read"/"Create", reason) opening the package failed.
KZF_MESSAGE_ID_3(KZFPACKAGE_OPEN_FAILED)
/// (package path, reason) closing the package failed.
KZF_MESSAGE_ID_2(KZFPACKAGE_CLOSE_FAILED)
/// (package path) open was called on an open package.
KZF_MESSAGE_ID_1(KZFPACKAGE_ALREADY_OPENED)
/// (extraction root, reason) extracting the package failed.
KZF_MESSAGE_ID_2(KZFPACKAGE_EXTRACT_FAILED)
/// (package path) an operation needs a package opened for creating.
KZF_MESSAGE_ID_1(KZFPACKAGE_NOT_FOR_CREATE)
/// (source file or part name) its content could not be read.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_READ_FILE)
/// (reason) writing the file manifest failed.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_WRITE_XML)
/// (path, base) one of the two paths of a relative-path computation is empty.
KZF_MESSAGE_ID_2(KZFPACKAGE_ERROR_PATH_EMPTY)
/// (package path) an operation needs a package opened for reading.
KZF_MESSAGE_ID_1(KZFPACKAGE_NOT_OPEN_FOR_READ)
/// (target, link) a link path was asked between paths of which one is absolute.
KZF_MESSAGE_ID_2(KZFPACKAGE_ERROR_PATH_ABSOLUTE)
/// (path) a resolved link target is not absolute.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_PATH_RELATIVE)
/// (reason) the file manifest's schema could not be loaded.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_LOADING_SCHEMA)
/// (part name) a part stream accepted fewer bytes than given.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_WRITE_KZF_FILE)
/// (source) a file to add does not exist.
KZF_MESSAGE_ID_1(KZFPACKAGE_FILE_ENTRY_NOT_EXIST)
/// (destination name, reason) storing a file in the package failed.
KZF_MESSAGE_ID_2(KZFPACKAGE_ERROR_ADD_NORMAL_FILE)
/// (source or entry name) neither a regular file, a folder nor a symbolic link.
KZF_MESSAGE_ID_1(KZFPACKAGE_FILE_TYPE_UNSUPPORTED)
/// (package or manifest path) the file is missing.
KZF_MESSAGE_ID_1(KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE)
/// (link path) a symbolic link's content could not be read.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_READ_SYMLINK_FILE)
/// (package path) the file to be replaced is not writable.
KZF_MESSAGE_ID_1(KZFPACKAGE_OPEN_EXISTING_FILE_ERROR)
/// Warning: the file manifest was written under another locale encoding.
KZF_MESSAGE_ID_0(KZFPACKAGE_WARNING_LOCALE_DIFFERENT)
/// (file claiming the place, link content) a link target's place holds a different link.
KZF_MESSAGE_ID_2(KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE)
/// Warning: the file manifest was written on another platform.
KZF_MESSAGE_ID_0(KZFPACKAGE_WARNING_PLATFORM_DIFFERENT)
/// (source) the reader cannot process an empty file.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE)
/// (link target) the target's place is taken by a different, existing, ordinary file.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE)
/// (extraction root, reason) the missing extraction root could not be created.
KZF_MESSAGE_ID_2(KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR)
/// (reason) the settings' references do not resolve.
KZF_MESSAGE_ID_1(KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES)
/// (source, reason) the destination name is one an extraction could not re-create.
KZF_MESSAGE_ID_2(KZFPACKAGE_NAME_NOT_STORABLE)
/// (source, reason) the destination's place is held by another entry or another part.
KZF_MESSAGE_ID_2(KZFPACKAGE_NAME_TAKEN)
/// (link source, reason) the link would lead outside the extracted tree or round a loop.
KZF_MESSAGE_ID_2(KZFPACKAGE_LINK_NOT_STORABLE)
/// (link source, reason) a link leaves its tree where the create options do not allow it.
KZF_MESSAGE_ID_2(KZFPACKAGE_LINK_LEAVES_TREE)
/// (part name, reason) verify: a part does not read back whole.
KZF_MESSAGE_ID_2(KZFPACKAGE_DAMAGED_PART)
/// (reason) verify: the file manifest cannot be read, or lists what extraction refuses.
KZF_MESSAGE_ID_1(KZFPACKAGE_DAMAGED_FILE_MANIFEST)
/// (reason) verify: the configuration manifest cannot be read.
KZF_MESSAGE_ID_1(KZFPACKAGE_DAMAGED_SETTINGS)
/// (source or field, reason) a date or a text the package cannot hold as it is.
KZF_MESSAGE_ID_2(KZFPACKAGE_VALUE_NOT_STORABLE)
/// (extraction root, count, the first names) names of the package exist in the root already.
KZF_MESSAGE_ID_3(KZFPACKAGE_EXTRACTION_CONFLICT)
/// (name) a name asked for is no entry of the package.
KZF_MESSAGE_ID_1(KZFPACKAGE_NO_SUCH_ENTRY)

}  // namespace kzf::kzfpackage

#undef KZF_MESSAGE_ID_0
#undef KZF_MESSAGE_ID_1
#undef KZF_MESSAGE_ID_2
#undef KZF_MESSAGE_ID_3
