// Test support: asserting that a statement raises a DeployedException with a given identifier.
#pragma once

#include <gtest/gtest.h>

#include <fl/i18n/DeployedException.hpp>

#include <string>

/// Expects `statement` to throw fl::i18n::DeployedException whose identifier() is `id` (e.g.
/// "KZFPACKAGE_NOT_OPEN") and whose message contains `fragment`, printing the message otherwise.
#define EXPECT_KZF_ERROR_WITH(statement, id, fragment)                                   \
  do {                                                                                   \
    try {                                                                                \
      statement;                                                                         \
      ADD_FAILURE() << "expected " << (id) << " from: " #statement;                      \
    } catch (const fl::i18n::DeployedException& kzfError) {                              \
      EXPECT_EQ(std::string(id), kzfError.identifier()) << "message: " << kzfError.what(); \
      EXPECT_NE(std::string(kzfError.what()).find(fragment), std::string::npos)          \
          << "message: " << kzfError.what();                                             \
    }                                                                                    \
  } while (false)

/// Expects `statement` to throw fl::i18n::DeployedException whose identifier() is `id`.
#define EXPECT_KZF_ERROR(statement, id) EXPECT_KZF_ERROR_WITH(statement, id, "")
