// The zip writer's lifecycle: temporary file, atomic replacement, abandoning, misuse, failures.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <boost/filesystem/fstream.hpp>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "ZipTestArchive.hpp"

namespace kzftest {
namespace {

namespace fs = boost::filesystem;

/// Sets the process umask for one test.
struct UmaskGuard {
  explicit UmaskGuard(mode_t mask) : previous(::umask(mask)) {}
  ~UmaskGuard() { ::umask(previous); }
  mode_t previous;
};

mode_t fileMode(const fs::path& path) {
  struct stat st {};
  EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
  return st.st_mode & 07777;
}

// Until close, readers of the path see the previous file, whole, and the items go to one
// temporary file beside it (0666 less the umask); close renames it over the path, and a package
// abandoned or never closed leaves the previous file and nothing else.
TEST_F(ZipTest, ATemporaryFileBesideThePathReplacesItOnlyAtClose) {
  UmaskGuard umask(022);
  fs::ofstream(packagePath()) << "the previous package";
  auto expectPrevious = [&] {
    auto bytes = readBytes(packagePath());
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "the previous package");
  };
  for (bool closed : {false, true}) {
    ZipPhysicalPackage package(upath(packagePath()), true, false);
    package.open(OpenMode::Create);
    package.createItem("a", CompressionType::Deflated, 0)->write("abc", 3);
    if (closed) package.close(true);
    EXPECT_EQ(package.isOpen(), !closed);
  }
  expectPrevious();
  EXPECT_TRUE(strayFiles().empty());

  ZipPhysicalPackage package(upath(packagePath()), true, false);
  package.open(OpenMode::Create);
  package.createItem("new.txt", CompressionType::Stored, 0)->write("new", 3);
  expectPrevious();
  auto stray = strayFiles();
  ASSERT_EQ(stray.size(), 1u);
  EXPECT_EQ(stray[0].rfind(".kzfzip-", 0), 0u) << stray[0];
  EXPECT_EQ(fileMode(tmp / stray[0]), 0644u);

  package.close(false);
  EXPECT_TRUE(strayFiles().empty());
  EXPECT_EQ(fileMode(packagePath()), 0644u);
  EXPECT_EQ(readPackage(packagePath()), (std::map<std::string, std::string>{{"new.txt", "new"}}));
  expectValidZip(packagePath());
}

// The same items give the same bytes: an item is dated by its own time (local, in DOS form,
// pinned to 1980-01-01 and 2107-12-31 23:59:58), bounded by the latest time; an undated one
// takes the latest date before it, or 1980-01-01.
TEST_F(ZipTest, DosDatesAreClampedAndUndatedItemsTakeThePreviousOne) {
  const std::optional<std::int64_t> undated;
  const char* zone = std::getenv("TZ");
  const std::string saved = zone ? zone : "";
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  // latest time, the items' times, their dates as written
  for (const auto& [latest, times, expected] :
       std::vector<std::tuple<std::optional<std::int64_t>, std::vector<std::optional<std::int64_t>>,
                              std::string>>{
           {{}, {1500000001}, "2017-07-14 02:40:00 "},  // an odd second rounds down
           {{}, {0, -5000000000}, "1980-01-01 00:00:00 1980-01-01 00:00:00 "},
           {{}, {4354819199, 4500000000}, "2107-12-31 23:59:58 2107-12-31 23:59:58 "},
           {1550000000, {1600000000, 1500000000}, "2019-02-12 19:33:20 2017-07-14 02:40:00 "},
           {{},
            {undated, 1600000000, 1500000000, undated},
            "1980-01-01 00:00:00 2020-09-13 12:26:40 2017-07-14 02:40:00 2020-09-13 12:26:40 "}}) {
    ZipPhysicalPackage package(upath(packagePath()), false, false);
    package.setLatestItemTime(latest);
    package.open(OpenMode::Create);
    int n = 0;
    for (const auto& time : times) {
      package.createItem(std::to_string(n++), CompressionType::Deflated, 0, time)->write("x", 1);
    }
    package.close(false);
    std::string dates;
    for (const auto& entry : parseZip(readBytes(packagePath())).entries) {
      const std::uint32_t d = entry.central.dosTime;
      char text[32];
      std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u ", (d >> 25) + 1980,
                    d >> 21 & 0xF, d >> 16 & 0x1F, d >> 11 & 0x1F, d >> 5 & 0x3F, (d & 0x1F) * 2);
      dates += text;
    }
    EXPECT_EQ(dates, expected);
  }
  zone ? ::setenv("TZ", saved.c_str(), 1) : ::unsetenv("TZ");
  ::tzset();
}

// Refused names and writes to a finished item's stream lose none of the package's other bytes.
TEST_F(ZipTest, RefusalsLeaveThePackageUsable) {
  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Create);
  auto first = package.createItem("a.txt", CompressionType::Deflated, 0);
  first->write("1", 1);
  EXPECT_ZIP_ERROR(package.createItem("a.txt", CompressionType::Stored, 0), "'a.txt'",
                   "exists already");
  EXPECT_ZIP_ERROR(package.createItem("", CompressionType::Stored, 0), "must not be empty");
  EXPECT_ZIP_ERROR(package.createItem(std::string("nul\0name", 8), CompressionType::Stored, 0),
                   "'nul'", "NUL byte");
  EXPECT_ZIP_ERROR(package.createItem(std::string(70000, 'n'), CompressionType::Stored, 0),
                   "longer than 65,535 bytes");
  auto second = package.createItem("b.txt", CompressionType::Stored, 0);
  EXPECT_ZIP_ERROR(first->write("xyz", 3), "package.zip", "'a.txt'", "already finished");
  EXPECT_ZIP_ERROR(first->flush(), "'a.txt'", "already finished");
  second->write("2", 1);
  package.close(false);
  EXPECT_ZIP_ERROR(second->write("ghi", 3), "'b.txt'", "package is closed");
  EXPECT_EQ(readPackage(packagePath()),
            (std::map<std::string, std::string>{{"a.txt", "1"}, {"b.txt", "2"}}));
  expectValidZip(packagePath());
}

TEST_F(ZipTest, OperationsCheckTheOpenMode) {
  writePackage(packagePath(), {{"a", "x"}});
  ZipPhysicalPackage package(upath(packagePath()), false, false);
  EXPECT_FALSE(package.isOpen());
  EXPECT_EQ(package.getMode(), OpenMode::Read);
  EXPECT_EQ(package.getPath(), upath(packagePath()));
  package.close(false);  // not open: nothing to do
  EXPECT_ZIP_ERROR(package.getItems(), "package.zip", "not open for reading");

  package.open(OpenMode::Read);
  EXPECT_ZIP_ERROR(package.open(OpenMode::Read), "package.zip", "already open");
  EXPECT_ZIP_ERROR(package.createItem("b", CompressionType::Stored, 0), "package.zip",
                   "open for reading, not for creation");
  package.close(false);

  ZipPhysicalPackage created(upath(tmp / "new.zip"), false, false);
  created.open(OpenMode::Create);
  EXPECT_EQ(created.getMode(), OpenMode::Create);
  EXPECT_ZIP_ERROR(created.findItem("a"), "new.zip", "open for creation, not for reading");
  EXPECT_ZIP_ERROR(created.openItem("a"), "new.zip", "open for creation, not for reading");
}

TEST_F(ZipTest, OpeningNamesAMissingFileOrFolderAndRefusesLimitsAboveTheFormats) {
  ZipPhysicalPackage missing(upath(tmp / "missing.zip"), false, false);
  EXPECT_ZIP_ERROR(missing.open(OpenMode::Read), "missing.zip", "cannot open for reading",
                   "No such file");
  EXPECT_FALSE(missing.isOpen());
  ZipPhysicalPackage created(upath(tmp / "no-such-dir" / "p.zip"), false, false);
  EXPECT_ZIP_ERROR(created.open(OpenMode::Create),
                   "no-such-dir: cannot create a file in the folder");
  ZipPhysicalPackage tooLarge(upath(packagePath()), false, false, Zip64Limits{0x100000000});
  EXPECT_THROW(tooLarge.open(OpenMode::Create), std::invalid_argument);
  EXPECT_TRUE(strayFiles().empty());
}

// A non-empty folder at the path: the final rename cannot replace it. The temporary file goes
// unless the package was told to keep it.
TEST_F(ZipTest, AFailedRenameIsReportedAndTheTemporaryFileRemovedUnlessKept) {
  fs::create_directories(packagePath() / "occupied");
  for (bool keep : {false, true}) {
    ZipPhysicalPackage package(upath(packagePath()), false, keep);
    package.open(OpenMode::Create);
    package.createItem("a", CompressionType::Deflated, 0)->write("abc", 3);
    EXPECT_ZIP_ERROR(package.close(false), "package.zip", "cannot replace it with the new package");
    EXPECT_FALSE(package.isOpen());
    EXPECT_TRUE(fs::is_directory(packagePath()));
    auto stray = strayFiles();
    ASSERT_EQ(stray.size(), keep ? 1u : 0u);
    EXPECT_TRUE(!keep || stray[0].rfind(".kzfzip-", 0) == 0) << stray[0];
  }
}

/// Lowers the file size limit so that writes beyond it fail with EFBIG instead of a signal.
struct FileSizeLimit {
  explicit FileSizeLimit(rlim_t bytes) : handler(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &previous);
    rlimit lowered{bytes, previous.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &lowered);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &previous), ::signal(SIGXFSZ, handler); }
  sighandler_t handler;
  rlimit previous{};
};

TEST_F(ZipTest, AWriteFailureEndsThePackageAndCloseReportsIt) {
  ZipPhysicalPackage package(upath(packagePath()), false, false);
  package.open(OpenMode::Create);
  std::string error;
  {
    FileSizeLimit limit(1024 * 1024);
    auto stream = package.createItem("big.bin", CompressionType::Stored, 0);
    std::string block = sampleBytes(64 * 1024);
    try {
      for (int i = 0; i < 64; ++i) stream->write(block.data(), block.size());
    } catch (const std::runtime_error& e) {
      error = e.what();
    }
  }
  ASSERT_NE(error.find("File too large"), std::string::npos) << error;
  EXPECT_TRUE(strayFiles().empty()) << "the temporary file goes as soon as writing fails";
  EXPECT_ZIP_ERROR(package.createItem("more", CompressionType::Stored, 0), "package.zip",
                   "after an earlier error", "File too large");
  EXPECT_ZIP_ERROR(package.close(false), "package.zip", "after an earlier error", "File too large");
  EXPECT_FALSE(fs::exists(packagePath()));
}

}  // namespace
}  // namespace kzftest
