// The message identifier classes: names, component, arity, and a catalog text for each that
// uses every argument and leaves no placeholder.
#include <gtest/gtest.h>

#include <fl/i18n/DeployedException.hpp>
#include <functional>
#include <kzfpackage/MessageIds.hpp>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using resource_core::BaseMsgID;
namespace ids = kzf::kzfpackage;

struct IdRow {
  const char* name;
  std::size_t arity;
  std::function<std::unique_ptr<BaseMsgID>()> make;
  friend void PrintTo(const IdRow& row, std::ostream* os) { *os << row.name; }
};

// A row building the identifier Name from the parenthesized argument list Arguments.
#define KZF_ROW(Name, N, Arguments)                                                            \
  IdRow {                                                                                      \
#Name, N, [] { return std::unique_ptr<BaseMsgID>(std::make_unique<ids::Name> Arguments); } \
  }
#define KZF_ROW0(Name) KZF_ROW(Name, 0, ())
#define KZF_ROW1(Name) KZF_ROW(Name, 1, ("/arg0"))
#define KZF_ROW2(Name) KZF_ROW(Name, 2, ("/arg0", "/arg1"))
#define KZF_ROW3(Name) KZF_ROW(Name, 3, ("/arg0", "/arg1", "/arg2"))

class MessageIdentifier : public ::testing::TestWithParam<IdRow> {};

TEST_P(MessageIdentifier, CarriesItsNameAndArgumentsIntoTheException) {
  const IdRow& row = GetParam();
  std::unique_ptr<BaseMsgID> id = row.make();
  EXPECT_EQ(id->identifier(), row.name);
  EXPECT_EQ(id->component(), "kzfpackage");
  ASSERT_EQ(id->arguments().size(), row.arity);
  for (std::size_t i = 0; i < row.arity; ++i) {
    EXPECT_EQ(std::get<std::string>(id->arguments()[i]), "/arg" + std::to_string(i));
  }

  const fl::i18n::DeployedException error(*id);
  id.reset();
  EXPECT_EQ(error.identifier(), row.name);
  EXPECT_NE(error.message().rfind(row.name, 0), 0u) << "no catalog text for " << row.name;
  for (std::size_t i = 0; i < row.arity; ++i) {
    // The open mode word is carried for the trace and for callers, never shown to users.
    if (row.name == std::string("KZFPACKAGE_OPEN_FAILED") && i == 1) continue;
    EXPECT_NE(error.message().find("/arg" + std::to_string(i)), std::string::npos);
  }
  EXPECT_EQ(error.message().find('{'), std::string::npos) << "a placeholder is left";
  EXPECT_STREQ(error.what(), error.message().c_str());
}

// A rewrapping handler catches std::runtime_error; the library's own errors must pass it.
static_assert(!std::is_base_of_v<std::runtime_error, fl::i18n::DeployedException>);

INSTANTIATE_TEST_SUITE_P(
    KzfPackage, MessageIdentifier,
    ::testing::Values(
        KZF_ROW1(KZFPACKAGE_NOT_OPEN), KZF_ROW1(KZFPACKAGE_INVALID_XML),
        KZF_ROW3(KZFPACKAGE_OPEN_FAILED), KZF_ROW2(KZFPACKAGE_CLOSE_FAILED),
        KZF_ROW1(KZFPACKAGE_ALREADY_OPENED), KZF_ROW2(KZFPACKAGE_EXTRACT_FAILED),
        KZF_ROW1(KZFPACKAGE_NOT_FOR_CREATE), KZF_ROW1(KZFPACKAGE_ERROR_READ_FILE),
        KZF_ROW1(KZFPACKAGE_ERROR_WRITE_XML), KZF_ROW2(KZFPACKAGE_ERROR_PATH_EMPTY),
        KZF_ROW1(KZFPACKAGE_NOT_OPEN_FOR_READ), KZF_ROW2(KZFPACKAGE_ERROR_PATH_ABSOLUTE),
        KZF_ROW1(KZFPACKAGE_ERROR_PATH_RELATIVE), KZF_ROW1(KZFPACKAGE_ERROR_LOADING_SCHEMA),
        KZF_ROW1(KZFPACKAGE_ERROR_WRITE_KZF_FILE), KZF_ROW1(KZFPACKAGE_FILE_ENTRY_NOT_EXIST),
        KZF_ROW2(KZFPACKAGE_ERROR_ADD_NORMAL_FILE), KZF_ROW1(KZFPACKAGE_FILE_TYPE_UNSUPPORTED),
        KZF_ROW1(KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE), KZF_ROW1(KZFPACKAGE_ERROR_READ_SYMLINK_FILE),
        KZF_ROW1(KZFPACKAGE_OPEN_EXISTING_FILE_ERROR),
        KZF_ROW0(KZFPACKAGE_WARNING_LOCALE_DIFFERENT),
        KZF_ROW2(KZFPACKAGE_ERROR_HANDLE_SYMLINK_FILE),
        KZF_ROW0(KZFPACKAGE_WARNING_PLATFORM_DIFFERENT),
        KZF_ROW1(KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE),
        KZF_ROW1(KZFPACKAGE_ERROR_SYMLINK_EXIST_AS_FILE),
        KZF_ROW2(KZFPACKAGE_ERROR_CREATING_EXTRACTION_DIR),
        KZF_ROW1(KZFPACKAGE_ERROR_LOADING_CORE_PROPERTIES), KZF_ROW2(KZFPACKAGE_NAME_NOT_STORABLE),
        KZF_ROW2(KZFPACKAGE_NAME_TAKEN), KZF_ROW2(KZFPACKAGE_LINK_NOT_STORABLE),
        KZF_ROW2(KZFPACKAGE_VALUE_NOT_STORABLE), KZF_ROW2(KZFPACKAGE_LINK_LEAVES_TREE),
        KZF_ROW2(KZFPACKAGE_DAMAGED_PART), KZF_ROW1(KZFPACKAGE_DAMAGED_FILE_MANIFEST),
        KZF_ROW1(KZFPACKAGE_DAMAGED_SETTINGS), KZF_ROW3(KZFPACKAGE_EXTRACTION_CONFLICT),
        KZF_ROW1(KZFPACKAGE_NO_SUCH_ENTRY)),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
