// Content passed through the reader factory is restored on extraction.
#include <PackageTestSupport.hpp>

#include <ReversingReaderHandle.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>

#include <sys/stat.h>

#include <boost/date_time/posix_time/posix_time.hpp>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

struct SourceFile {
  std::string name;
  std::string content;
  unsigned mode;
  std::time_t mtime;
};

/// Seconds since the epoch of a UTC date at noon.
std::time_t utcNoon(int year, int month, int day) {
  return boost::posix_time::to_time_t(boost::posix_time::ptime(
      boost::gregorian::date(year, month, day), boost::posix_time::hours(12)));
}

class RoundTripTest : public TempDirTest {
 protected:
  fs::path sourceRoot() const { return tmp / "src"; }
  fs::path extractRoot() const { return tmp / "out"; }
  fs::path packagePath() const { return tmp / "app.kzf"; }

  void makeTree(const std::vector<SourceFile>& files, const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) fs::create_directories(sourceRoot() / folder);
    for (const SourceFile& f : files) {
      writeFile(sourceRoot() / f.name, f.content);
      ASSERT_EQ(::chmod((sourceRoot() / f.name).c_str(), f.mode), 0);
      fs::last_write_time(sourceRoot() / f.name, f.mtime);
    }
  }

  /// Packs every file and folder below the source root under its relative name, then
  /// extracts the package into the extraction root.
  void packAndExtract(const kzf::KZFFileReaderFactory& factory) {
    std::map<fl::i18n::ustring, KZFRecordData> list;
    for (fs::recursive_directory_iterator it(sourceRoot()), end; it != end; ++it) {
      std::string relative = it->path().string().substr(sourceRoot().string().size() + 1);
      list.emplace(u(it->path()), KZFRecordData(fl::i18n::to_ustring(relative), false, ""));
    }
    {
      KZFPackage package(u(packagePath()), factory);
      package.open(kzf::Create);
      package.addFileListToKZF(list);
      package.close();
    }
    expectValidZip(packagePath());
    KZFPackage package(u(packagePath()), factory);
    package.open(kzf::Read);
    package.extract(u(extractRoot()));
    package.close();
  }

  void expectSameFile(const SourceFile& f, bool checkDate = true) {
    SCOPED_TRACE(f.name);
    fs::path out = extractRoot() / f.name;
    ASSERT_TRUE(fs::is_regular_file(out));
    EXPECT_TRUE(readFile(out) == f.content) << "content differs";
    struct stat st {};
    ASSERT_EQ(::lstat(out.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, f.mode);
    if (checkDate) {
      EXPECT_EQ(st.st_mtime, f.mtime);
    }
  }
};

TEST_F(RoundTripTest, TransformedContentIsRestoredOnExtraction) {
  const std::vector<SourceFile> files = {
      {"code/main.m", "function main()\n  disp(42)\nend\n", 0644, utcNoon(2011, 1, 1)},
      {"code/helper.p", std::string("\x00\x01\x02 binary", 10), 0644, utcNoon(2011, 1, 1)},
      {"code/data.mat", "untouched", 0640, utcNoon(2011, 1, 1)},
  };
  makeTree(files, {});
  packAndExtract(ReversingReaderHandle::factory());
  OpcReader reader(packagePath());
  EXPECT_EQ(reader.content(u"/code/main.m"), ReversingReaderHandle::reversed(files[0].content));
  EXPECT_EQ(reader.content(u"/code/data.mat"), files[2].content);
  // Transformed files are dated when they were packed, so only their content is compared.
  expectSameFile(files[0], false);
  expectSameFile(files[1], false);
  expectSameFile(files[2]);
}

}  // namespace
}  // namespace kzftest
