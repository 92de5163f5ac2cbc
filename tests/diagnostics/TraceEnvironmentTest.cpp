// The trace and version data as a client of the shared library meets them, in a child process
// whose environment each row sets.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

#include "ZipCheck.hpp"

namespace {

const std::string kTraceLines = "Create part success.\nset file permissions to :420\n";

struct TraceRow {
  const char* name;
  const char* mode;
  std::optional<std::string> variable;  // DEBUG_KZF_VERBOSE at start-up, or absent
  std::string expectedOut;
  friend void PrintTo(const TraceRow& row, std::ostream* os) { *os << row.name; }
};

class TraceEnvironment : public ::testing::TestWithParam<TraceRow> {};

TEST_P(TraceEnvironment, OutputIsExactly) {
  const TraceRow& row = GetParam();
  using kzftest::detail::shellQuote;
  std::string command = "env -u DEBUG_KZF_VERBOSE ";
  if (row.variable) command += shellQuote("DEBUG_KZF_VERBOSE=" + *row.variable) + " ";
  const auto child =
      kzftest::detail::runCommand(command + shellQuote(KZF_TRACE_PROBE) + " " + row.mode);
  EXPECT_EQ(child.exitCode, 0);
  EXPECT_EQ(child.output, row.expectedOut);  // standard error included: nothing else is written
}

INSTANTIATE_TEST_SUITE_P(
    DebugKzfVerbose, TraceEnvironment,
    ::testing::Values(TraceRow{"UnsetIsSilent", "trace", std::nullopt, ""},
                      TraceRow{"EmptyValueEnables", "trace", std::string(), kTraceLines},
                      TraceRow{"ValueIsNotInspected", "trace", std::string("0"), kTraceLines},
                      TraceRow{"SettingAfterLoadHasNoEffect", "trace-after-setenv", std::nullopt,
                               ""},
                      TraceRow{"VersionData", "version", std::nullopt, "8.0.0.614\nJul 24 2012\n"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
