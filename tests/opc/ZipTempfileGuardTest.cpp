// The temporary file guard: a fresh name reserved in a directory, deleted with the guard.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <opc/util/TempfileGuard.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "TempDir.hpp"

namespace kzftest {
namespace {

namespace fs = boost::filesystem;
using opc::util::TempfileGuard;

fs::path fileOf(const TempfileGuard& guard) { return fl::i18n::to_string(guard.getFileName()); }

class ZipTempfileGuard : public TempDirTest {
 protected:
  fl::i18n::ustring dir() const { return fl::i18n::to_ustring(tmp.path().string()); }
};

TEST_F(ZipTempfileGuard, ReservesAFreshNameInTheDirectory) {
  TempfileGuard a(dir());
  TempfileGuard b(dir());
  EXPECT_TRUE(fs::is_regular_file(fileOf(a)));
  EXPECT_EQ(fileOf(a).parent_path(), tmp.path());
  EXPECT_EQ(fileOf(a).filename().string().rfind(".kzftmp-", 0), 0u);
  EXPECT_NE(fileOf(a), fileOf(b));
}

TEST_F(ZipTempfileGuard, DeletesWhateverFileHoldsTheNameAtTheEnd) {
  fs::path reserved;
  {
    TempfileGuard guard(dir());
    reserved = fileOf(guard);
    // The backup pattern: free the name, then move another file onto it.
    fs::remove(reserved);
    std::ofstream(tmp / "old.kzf") << "previous package";
    fs::rename(tmp / "old.kzf", reserved);
  }
  EXPECT_FALSE(fs::exists(reserved));
  EXPECT_TRUE(fs::is_empty(tmp.path()));
}

TEST_F(ZipTempfileGuard, AFileAlreadyGoneIsNoError) {
  TempfileGuard guard(dir());
  fs::remove(fileOf(guard));
}

TEST_F(ZipTempfileGuard, MovingHandsOverTheFile) {
  TempfileGuard first(dir());
  fs::path path = fileOf(first);
  {
    TempfileGuard moved(std::move(first));
    EXPECT_EQ(fileOf(moved), path);
    TempfileGuard other(dir());
    fs::path otherPath = fileOf(other);
    other = std::move(moved);
    EXPECT_FALSE(fs::exists(otherPath)) << "the overwritten guard's file goes at once";
    EXPECT_TRUE(fs::exists(path));
  }
  EXPECT_FALSE(fs::exists(path));
  EXPECT_TRUE(fs::is_empty(tmp.path()));
}

TEST_F(ZipTempfileGuard, AMissingDirectoryIsNamedInTheError) {
  try {
    TempfileGuard guard(fl::i18n::to_ustring((tmp / "missing").string()));
    ADD_FAILURE() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find((tmp / "missing").string()), std::string::npos)
        << error.what();
    EXPECT_NE(std::string(error.what()).find("No such file or directory"), std::string::npos)
        << error.what();
  }
}

}  // namespace
}  // namespace kzftest
