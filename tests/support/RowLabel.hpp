// Test support: TEST_P rows print as their `label` field.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace kzftest {

/// Names the rows of a TEST_P table after their `label` field.
struct RowLabel {
  template <typename Row>
  std::string operator()(const ::testing::TestParamInfo<Row>& row) const {
    return row.param.label;
  }
};

}  // namespace kzftest
