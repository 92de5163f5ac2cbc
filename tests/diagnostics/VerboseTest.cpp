// The Verbose trace object: what reaches its stream, insertion by insertion.
#include <gtest/gtest.h>

#include <iomanip>
#include <iostream>
#include <kzfpackage/Verbose.hpp>
#include <sstream>
#include <string>

namespace {

using Quorlith::kzfpackage::Verbose;

TEST(Verbose, DisabledWritesNothing) {
  std::ostringstream out;
  Verbose trace(false, out);
  trace << "Add file lists into KZF." << 12 << std::string(" text") << std::hex << 255 << std::endl;
  EXPECT_EQ(out.str(), "");
}

TEST(Verbose, EnabledForwardsValuesAndManipulators) {
  std::ostringstream out;
  Verbose trace(true, out);
  trace << "mode=" << std::oct << 493 << std::dec << " size=" << std::setw(4) << 7
        << std::string(" end") << std::endl;
  EXPECT_EQ(out.str(), "mode=755 size=   7 end\n");
}

TEST(Verbose, TestsTheFlagOnEveryInsertion) {
  std::ostringstream out;
  Verbose trace(true, out);
  // Insertions are sequenced left to right, so the flag changes between "a" and "b".
  trace << "a" << (trace.enabled = false, "b") << "c" << std::endl;
  trace << "d" << (trace.enabled = true, "e") << std::endl;
  EXPECT_EQ(out.str(), "ae\n");
}

}  // namespace
