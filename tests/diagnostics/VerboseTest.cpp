// The Verbose trace object: what reaches its stream, insertion by insertion.
#include <gtest/gtest.h>

#include <iomanip>
#include <kzfpackage/Verbose.hpp>
#include <sstream>
#include <string>

namespace {

using Quorlith::kzfpackage::Verbose;

TEST(Verbose, ForwardsValuesAndManipulatorsWhileEnabledTestingTheFlagOnEachInsertion) {
  std::ostringstream out;
  Verbose trace(true, out);
  trace << "mode=" << std::oct << 493 << std::dec << " size=" << std::setw(4) << 7
        << std::string(" end") << std::endl;
  // Insertions are sequenced left to right, so the flag changes between "a" and "b".
  trace << "a" << (trace.enabled = false, "b") << 12 << std::hex << std::endl;
  trace << "d" << (trace.enabled = true, "e") << std::endl;
  EXPECT_EQ(out.str(), "mode=755 size=   7 end\nae\n");
}

}  // namespace
