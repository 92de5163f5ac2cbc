// Adding files to a package: part names and entries for destination names, sources that cannot
// be stored, content types chosen for destination names, and the native-extension table.
#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <ReversingReaderHandle.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>
#include <sys/stat.h>

#include <tuple>

namespace kzftest {
namespace {

using fl::i18n::ustring;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

std::string narrow(const ustring& text) { return fl::i18n::to_string(text); }

class AddFilesTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "out.kzf"; }
  fs::path source(const std::string& rel, const std::string& content = "x") {
    writeFile(tmp / "src" / rel, content);
    return tmp / "src" / rel;
  }
  /// Adds `files` (source -> destination name) to a new package and closes it.
  void pack(const std::map<fs::path, ustring>& files, kzf::KZFFileReaderFactory factory) {
    std::map<ustring, KZFRecordData> list;
    for (const auto& [src, name] : files) list.emplace(u(src), KZFRecordData(name, false, ""));
    KZFPackage package(u(packagePath()), std::move(factory));
    package.open(kzf::Create);
    package.addFileListToKZF(list);
    package.close();
    expectValidZip(packagePath());
  }
};

/// Part names equivalent by case get numbers, backslashes become slashes, and code a reader
/// transforms is stored transformed as enciphered code.
TEST_F(AddFilesTest, PartNamesAndTransformedCode) {
  pack({{source("one.txt", "first"), u"a/f.txt"},
        {source("two.txt", "second"), u"a/F.txt"},
        {source("three.txt"), u"dir\\f.txt"},
        {source("f.m", "disp(1)"), u"app/f.m"}},
       ReversingReaderHandle::factory());
  OpcReader reader(packagePath());
  EXPECT_EQ(reader.content(u"/a/f.txt"), "first");
  EXPECT_EQ(reader.content(u"/a/F_1.txt"), "second");
  std::map<ustring, ustring> partOf;  // the file manifest's entry names and their parts
  for (const auto& e : loadFileManifest(packagePath()).getEntries())
    partOf[e.getName()] = e.getContent();
  EXPECT_EQ(partOf[u"a/F.txt"], u"/a/F_1.txt");
  EXPECT_EQ(partOf[u"dir/f.txt"], u"/dir/f.txt");
  EXPECT_EQ(reader.content(u"/app/f.m"), ReversingReaderHandle::reversed("disp(1)"));
  EXPECT_EQ(reader.package().getPart(opc::model::PartName(ustring(u"/app/f.m")))
                .getContentType().toString(),
            KZFPackage::VELLMORENCRYPTEDCODE_CONTENTTYPE);
  // Extraction through the same factory gives the original bytes back.
  KZFPackage package(u(packagePath()), ReversingReaderHandle::factory());
  package.open(kzf::Read);
  package.extract(u(tmp / "out"));
  EXPECT_EQ(readFile(tmp / "out/app/f.m"), "disp(1)");
}

TEST_F(AddFilesTest, RefusedSourcesReportTheirIdentifiersAndTheNextIsStoredAsAsked) {
  KZFPackage package(u(packagePath()), ReversingReaderHandle::factory());
  package.open(kzf::Create);
  const fs::path fifo = tmp / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  auto one = [](const fs::path& src, const ustring& name) {
    return std::map<ustring, KZFRecordData>{{u(src), KZFRecordData(name, false, "")}};
  };
  EXPECT_KZF_ERROR_WITH(package.addFileListToKZF(one(fifo, u"pipe")),
                        "KZFPACKAGE_FILE_TYPE_UNSUPPORTED", fifo.string());
  EXPECT_KZF_ERROR_WITH(package.addFileListToKZF(one(tmp / "absent", u"absent")),
                        "KZFPACKAGE_FILE_ENTRY_NOT_EXIST", (tmp / "absent").string());
  EXPECT_KZF_ERROR(package.addFileListToKZF(one(source("empty.m", ""), u"empty.m")),
                   "KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE");
  EXPECT_KZF_ERROR(package.addFileToKZF(u(source("a")), u"a/../b", "", {}),
                   "KZFPACKAGE_NAME_NOT_STORABLE");
  if (::geteuid() != 0) {  // root reads files whatever their mode
    const fs::path secret = source("secret", "s");
    ::chmod(secret.c_str(), 0);
    EXPECT_KZF_ERROR(package.addFileToKZF(u(secret), u"secret", "", {}),
                     "KZFPACKAGE_ERROR_READ_FILE");
  }
  const std::string type = "application/x-custom;v=2";
  const std::string relationship = "http://example.com/relationships/report";
  package.addFileToKZF(u(source("report.bin")), u"docs/report.bin", type,
                       {relationship, relationship});
  package.close();
  OpcReader reader(packagePath());
  EXPECT_EQ(reader.package().getPart(opc::model::PartName(ustring(u"/docs/report.bin")))
                .getContentType().toString(),
            type);
  auto relationships = reader.package().getRelationshipsByType(opc::toString(relationship));
  ASSERT_EQ(relationships.size(), 2u);
  EXPECT_NE(relationships[0].getId(), relationships[1].getId());
  EXPECT_EQ(relationships[0].getTargetURI(true).toString(), u"/docs/report.bin");
}

TEST(NameMappingTest, ContentTypesPartNamesAndWindowsExecutables) {
  const std::string code = "application/vnd.quorlith.velmor.velmorCode;charset=utf-8";
  const std::string enciphered =
      "application/vnd.quorlith.velmor.velmorEncryptedCode;charset=utf-8";
  const std::string data = "application/vnd.quorlith.velmor.compiler.data";
  const std::string executable = "application/vnd.quorlith.velmor.velmorExecutable;platform=";
  KZFPackage plain(u"unused.kzf", {});
  KZFPackage transforming(u"unused.kzf", ReversingReaderHandle::factory());
  // Destination name, whether the reader factory transforms code, the content type.
  const std::vector<std::tuple<ustring, bool, std::string>> rows{
      {u"app/f.m", false, code},
      {u"app/f.p", false, code},
      {u"app/f.m", true, enciphered},
      {u"app/F.M", true, data},  // the code extensions are lower case
      {u"data/x.mat", false, data},
      {u"bin/lib.vxfa64", false, executable + "glnxa64"},
      {u"lib.vxfglx", false, executable + "glnx86"},
      {u"lib.vxfmaci64", false, executable + "maci64"},
      {u"lib.vxfw64", false, executable + "win64"},
      {u"lib.VXFA64", false, data},
      {u"/.META/manifest.xml", false, data},
      {u"dir.m/file", false, data},  // a dot in a folder is no extension
      {u"README", false, data}};
  for (const auto& [name, transformed, expected] : rows) {
    KZFPackage& package = transformed ? transforming : plain;
    EXPECT_EQ(narrow(package.mapFilenameToContentTypeString(name)), expected)
        << narrow(name) << (transformed ? " (transformed)" : "");
  }
  // Encoded part names get one leading slash.
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"a/b")), "/a/b");
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"/x")), "/x");
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"")), "/");
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"my app/f#1 100%.m")), "/my%20app/f%231%20100%25.m");
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"dir\\link")), "/dir%5Clink");
  EXPECT_EQ(narrow(plain.getEncodedURIString(u"caf\u00e9")), "/caf%C3%A9");
  // Windows executables by their exact, lower-case extensions.
  EXPECT_TRUE(plain.isWindowsExecutable(u"tools/run.btm"));
  EXPECT_TRUE(plain.isWindowsExecutable(u"setup.exe"));
  EXPECT_FALSE(plain.isWindowsExecutable(u"SETUP.EXE"));
  EXPECT_FALSE(plain.isWindowsExecutable(u"exe"));
}

}  // namespace
}  // namespace kzftest
