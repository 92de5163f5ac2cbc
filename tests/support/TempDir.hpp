// Test support: a fresh temporary folder per test, kept on failure when KZF_KEEP_TMP is set.
#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <string>

namespace kzftest {

class TempDir {
 public:
  TempDir() : path_(boost::filesystem::temp_directory_path() / "kzftest-%%%%-%%%%-%%%%") {
    path_ = boost::filesystem::unique_path(path_);
    boost::filesystem::create_directories(path_);
  }
  ~TempDir() {
    if (std::getenv("KZF_KEEP_TMP") != nullptr && ::testing::Test::HasFailure()) {
      std::fprintf(stderr, "kept temporary folder %s\n", path_.c_str());
      return;
    }
    boost::system::error_code ec;
    boost::filesystem::permissions(path_, boost::filesystem::owner_all, ec);
    boost::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const boost::filesystem::path& path() const { return path_; }
  /// A path below the folder (not created).
  boost::filesystem::path operator/(const std::string& rel) const { return path_ / rel; }

 private:
  boost::filesystem::path path_;
};

class TempDirTest : public ::testing::Test {
 protected:
  TempDir tmp;
};

}  // namespace kzftest
