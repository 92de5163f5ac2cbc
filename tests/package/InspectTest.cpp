// Listing a package's entries with their sizes, and checking a package for damage.
#include <PackageTestSupport.hpp>

#include <kzfpackage/KZFPackage.hpp>

#include <boost/filesystem/fstream.hpp>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

class InspectTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "p.kzf"; }
  /// A package of a folder, a stored-looking file, and a link to it.
  void writePackage() {
    writeFile(tmp / "src/app/data.bin", std::string(5000, 'd') + "unique-marker-0123456789");
    fs::create_symlink("data.bin", tmp / "src/app/link");
    std::map<fl::i18n::ustring, KZFRecordData> list;
    list.emplace(u(tmp / "src/app"), KZFRecordData(u"app", false, ""));
    list.emplace(u(tmp / "src/app/data.bin"), KZFRecordData(u"app/data.bin", false, ""));
    list.emplace(u(tmp / "src/app/link"), KZFRecordData(u"app/link", false, ""));
    KZFPackage package(u(packagePath()), {});
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
