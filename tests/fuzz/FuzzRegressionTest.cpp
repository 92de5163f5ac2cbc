// Every input a fuzz target once failed on, fed again to the entry point that target drives:
// each must end in one of the documented refusals or succeed.
#include <gtest/gtest.h>

#include <FuzzTargets.hpp>
#include <algorithm>
#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cctype>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace {

namespace fs = boost::filesystem;
using EntryPoint = void (*)(const std::uint8_t*, std::size_t);

struct Regression {
  std::string kind;  // the target's folder: package, zip, filemanifest or configmanifest
  fs::path input;
  EntryPoint entryPoint;
};

void PrintTo(const Regression& regression, std::ostream* out) { *out << regression.input; }

std::vector<Regression> regressions() {
  std::vector<Regression> found;
  for (const auto& [kind, entryPoint] :
       {std::pair<const char*, EntryPoint>{"package", kzffuzz::openAndExtractPackage},
        {"zip", kzffuzz::readZipArchive},
        {"filemanifest", kzffuzz::loadFileManifest},
        {"configmanifest", kzffuzz::loadConfigManifest}}) {
    fs::path folder = fs::path(KZF_FUZZ_REGRESSIONS) / kind;
    if (!fs::is_directory(folder)) continue;
    for (fs::directory_iterator it(folder), end; it != end; ++it) {
      if (fs::is_regular_file(it->path())) found.push_back({kind, it->path(), entryPoint});
    }
  }
  std::sort(found.begin(), found.end(),
            [](const Regression& a, const Regression& b) { return a.input < b.input; });
  return found;
}

class FuzzRegressionTest : public ::testing::TestWithParam<Regression> {};

TEST_P(FuzzRegressionTest, EndsInADocumentedOutcome) {
  fs::ifstream in(GetParam().input, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_TRUE(in.eof() || in.good()) << "cannot read " << GetParam().input;
  EXPECT_NO_THROW(
      GetParam().entryPoint(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::string rowName(const ::testing::TestParamInfo<Regression>& row) {
  std::string name = row.param.kind + "_" + row.param.input.stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Findings, FuzzRegressionTest, ::testing::ValuesIn(regressions()), rowName);

}  // namespace
