// The package object's lifecycle: open modes, state checks, backups, close and destruction;
// watching a package being made and extracted, and checking a package for damage.
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/PackageHelper.hpp>

#include <sys/stat.h>

#include <boost/filesystem/fstream.hpp>
namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
namespace kzf = Quorlith::kzfpackage;

class KZFPackageLifecycleTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "app.kzf"; }

  /// Names of everything in the temporary folder, to see what a failure left behind.
  std::vector<std::string> folderListing() const {
    std::vector<std::string> names;
    for (const auto& item : fs::directory_iterator(tmp.path())) {
      names.push_back(item.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

};

TEST_F(KZFPackageLifecycleTest, AnEmptyPackageIsAValidZipWithoutManifestsAndReopens) {
  KZFPackage package(u(packagePath()), {});
  EXPECT_NO_THROW(package.close());  // never opened: nothing to do
  EXPECT_FALSE(fs::exists(packagePath()));
  package.open(kzf::Create);
  package.close();
  expectValidZip(packagePath());
  OpcReader reader(packagePath());
  EXPECT_TRUE(reader.package().getParts().empty());
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
  package.open(kzf::Read);
  package.close();
  package.open(kzf::Create);
  package.close();
  expectValidZip(packagePath());
}

TEST_F(KZFPackageLifecycleTest, StateChecksReportTheirIdentifiers) {
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  package.close();
  EXPECT_KZF_ERROR(package.addFileListToKZF({}), "KZFPACKAGE_NOT_OPEN");
  EXPECT_KZF_ERROR(package.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN");

  package.open(kzf::Read);
  EXPECT_KZF_ERROR(package.open(kzf::Read), "KZFPACKAGE_ALREADY_OPENED");
  EXPECT_KZF_ERROR(package.addFileListToKZF({}), "KZFPACKAGE_NOT_FOR_CREATE");
  EXPECT_KZF_ERROR(package.setOPCCoreProperties(opc::model::CoreProperties()),
                   "KZFPACKAGE_NOT_FOR_CREATE");
  package.close();

  KZFPackage created(u(tmp / "other.kzf"), {});
  created.open(kzf::Create);
  EXPECT_KZF_ERROR(created.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN_FOR_READ");
  created.close();
}

TEST_F(KZFPackageLifecycleTest, MissingArchiveIsNamedByItsAbsolutePath) {
  fs::path saved = fs::current_path();
  fs::current_path(tmp.path());
  KZFPackage package(u"missing.kzf", {});
  EXPECT_KZF_ERROR_WITH(package.open(kzf::Read), "KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE",
                        (tmp / "missing.kzf").string());
  fs::current_path(saved);
}

TEST_F(KZFPackageLifecycleTest, ReadingAFileThatIsNotAZipFailsToOpen) {
  writeFile(packagePath(), "not a zip at all");
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR_WITH(package.open(kzf::Read), "KZFPACKAGE_OPEN_FAILED", "not a zip archive");
  EXPECT_KZF_ERROR(package.extract(u(tmp / "out")), "KZFPACKAGE_NOT_OPEN");
}

TEST_F(KZFPackageLifecycleTest, ReadOnlyExistingFileIsRefusedBeforeAnythingMoves) {
  writeFile(packagePath(), "old");
  ::chmod(packagePath().c_str(), 0444);
  KZFPackage package(u(packagePath()), {});
  EXPECT_KZF_ERROR(package.open(kzf::Create), "KZFPACKAGE_OPEN_EXISTING_FILE_ERROR");
  EXPECT_EQ(readFile(packagePath()), "old");
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
}

TEST_F(KZFPackageLifecycleTest, DestructionWithoutCloseRestoresThePreviousFileOrLeavesNothing) {
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
  }
  EXPECT_TRUE(folderListing().empty());
  writeFile(packagePath(), "old");
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    EXPECT_FALSE(fs::exists(packagePath())) << "the old file is moved aside while creating";
  }
  EXPECT_EQ(readFile(packagePath()), "old");
  EXPECT_EQ(folderListing(), std::vector<std::string>{"app.kzf"});
}

TEST_F(KZFPackageLifecycleTest, CorePropertiesAreWrittenIntoThePackage) {
  opc::model::CoreProperties properties;
  properties.title = u"Sample Äpp";
  properties.creator = u"packager";
  properties.created = boost::posix_time::ptime(boost::gregorian::date(2024, 3, 1),
                                                boost::posix_time::hours(12));
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    package.setOPCCoreProperties(properties);
    package.close();
  }
  expectValidZip(packagePath());
  OpcReader reader(packagePath());
  opc::model::CoreProperties read = opc::model::PackageHelper::getCoreProperties(reader.package());
  EXPECT_EQ(read.title, properties.title);
  EXPECT_EQ(read.creator, properties.creator);
  EXPECT_EQ(read.created, properties.created);
}

using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::KZFRecordData;

class InspectTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "p.kzf"; }
  /// A package of a folder, a stored-looking file, and a link to it.
  void writePackage(kzf::KZFProgressObserver* observer = nullptr) {
    writeFile(tmp / "src/app/data.bin", std::string(5000, 'd') + "unique-marker-0123456789");
    fs::create_symlink("data.bin", tmp / "src/app/link");
    std::map<fl::i18n::ustring, KZFRecordData> list;
    list.emplace(u(tmp / "src/app"), KZFRecordData(u"app", false, ""));
    list.emplace(u(tmp / "src/app/data.bin"), KZFRecordData(u"app/data.bin", false, ""));
    list.emplace(u(tmp / "src/app/link"), KZFRecordData(u"app/link", false, ""));
    KZFPackage package(u(packagePath()), {});
    package.setProgressObserver(observer);
    package.open(kzf::Create);
    package.addFileListToKZF(list);
    package.close();
  }
  std::vector<std::string> verify() {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Read);
    return package.verify();
  }
};

/// Keeps every report as "phase done/total bytes name".
struct Recorder : kzf::KZFProgressObserver {
  void onProgress(const kzf::KZFProgress& p) override {
    if (p.name == u"app/link" && throwAtLink) throw std::runtime_error("observer stops");
    lines.push_back(std::string(p.phase == kzf::KZFProgress::Phase::Adding ? "add " : "extract ") +
                    std::to_string(p.entriesDone) + "/" + std::to_string(p.entriesTotal) + " " +
                    std::to_string(p.bytesDone) + " " + fl::i18n::to_string(p.name));
  }
  std::vector<std::string> lines;
  bool throwAtLink = false;
};

TEST_F(InspectTest, TheProgressObserverHearsOfEveryEntryAndCanStopTheOperation) {
  Recorder recorder;
  writePackage(&recorder);
  EXPECT_EQ(recorder.lines, (std::vector<std::string>{"add 1/3 0 app", "add 2/3 5024 app/data.bin",
                                                      "add 3/3 5024 app/link"}));
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Read);
  recorder.lines.clear();
  package.setProgressObserver(&recorder);
  package.extract(u(tmp / "out"));
  ASSERT_EQ(recorder.lines.size(), 3u);
  EXPECT_EQ(recorder.lines.back().substr(0, 16), "extract 3/3 5024");
  recorder.throwAtLink = true;
  EXPECT_ANY_THROW(package.extract(u(tmp / "again")));
}

TEST_F(InspectTest, DamageIsReportedNotThrown) {
  writePackage();
  // Deflated content cannot be found by its bytes: damage the last byte of the first part's
  // data instead, found through the zip's first local header.
  std::string bytes = readFile(packagePath());
  const std::size_t nameLength = static_cast<unsigned char>(bytes[26]) | (bytes[27] << 8);
  const std::size_t extraLength = static_cast<unsigned char>(bytes[28]) | (bytes[29] << 8);
  const std::size_t dataStart = 30 + nameLength + extraLength;
  bytes[dataStart + 2] = static_cast<char>(bytes[dataStart + 2] ^ 0x55);
  fs::ofstream(packagePath(), std::ios::binary | std::ios::trunc) << bytes;
  auto problems = verify();
  ASSERT_FALSE(problems.empty());
  EXPECT_NE(problems[0].find("part /app/data.bin"), std::string::npos) << problems[0];
}

}  // namespace
}  // namespace kzftest
