// Adding files, folders and lists to a package: part names, entries, dates and permissions;
// part names and content types chosen for destination names, and the native-extension table.
#include <PackageTestSupport.hpp>

#include <KzfErrorMatchers.hpp>
#include <ReversingReaderHandle.hpp>
#include <ZipCheck.hpp>

#include <kzfpackage/KZFPackage.hpp>


#include <sys/stat.h>
#include <sys/types.h>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
using Quorlith::kzfpackage::KZFPackage;
using Quorlith::kzfpackage::KZFRecordData;
namespace kzf = Quorlith::kzfpackage;

class AddFilesTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "out.kzf"; }
  fs::path source(const std::string& rel, const std::string& content = "x") {
    fs::path p = tmp / "src" / rel;
    writeFile(p, content);
    return p;
  }
  /// Adds `files` (source -> destination name) to a new package and closes it.
  void pack(const std::map<fs::path, fl::i18n::ustring>& files,
            kzf::KZFFileReaderFactory factory = {}) {
    std::map<fl::i18n::ustring, KZFRecordData> list;
    for (const auto& [src, name] : files) list.emplace(u(src), KZFRecordData(name, false, ""));
    KZFPackage package(u(packagePath()), std::move(factory));
    package.open(kzf::Create);
    package.addFileListToKZF(list);
    package.close();
    expectValidZip(packagePath());
  }
  std::map<std::string, KZFFileEntry> entriesByName() {
    std::map<std::string, KZFFileEntry> byName;
    for (const KZFFileEntry& e : loadFileManifest(packagePath()).getEntries()) {
      byName.emplace(fl::i18n::to_string(e.getName()), e);
    }
    return byName;
  }
};

TEST_F(AddFilesTest, PartNamesEquivalentByCaseGetNumbers) {
  fs::path one = source("one.txt", "first"), two = source("two.txt", "second");
  pack({{one, u"a/f.txt"}, {two, u"a/F.txt"}});
  OpcReader reader(packagePath());
  EXPECT_EQ(reader.content(u"/a/f.txt"), "first");
  EXPECT_EQ(reader.content(u"/a/F_1.txt"), "second");
  EXPECT_EQ(entriesByName().at("a/F.txt").getContent(), u"/a/F_1.txt");
}

TEST_F(AddFilesTest, BackslashesInFileNamesBecomeSlashes) {
  pack({{source("f.txt"), u"dir\\f.txt"}});
  EXPECT_EQ(entriesByName().at("dir/f.txt").getContent(), u"/dir/f.txt");
}

TEST_F(AddFilesTest, ExplicitContentTypeAndRelationships) {
  fs::path file = source("report.bin");
  const std::string type = "application/x-custom;v=2";
  const std::string relationship = "http://example.com/relationships/report";
  {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Create);
    package.addFileToKZF(u(file), u"docs/report.bin", type, {relationship, relationship});
    package.close();
  }
  OpcReader reader(packagePath());
  auto part = reader.package().getPart(opc::model::PartName(fl::i18n::ustring(u"/docs/report.bin")));
  EXPECT_EQ(part.getContentType().toString(), type);
  auto relationships = reader.package().getRelationshipsByType(opc::toString(relationship));
  ASSERT_EQ(relationships.size(), 2u);
  EXPECT_NE(relationships[0].getId(), relationships[1].getId());
  EXPECT_EQ(relationships[0].getTargetURI(true).toString(), u"/docs/report.bin");
}

TEST_F(AddFilesTest, TransformedCodeIsStoredTransformedAsEncipheredCode) {
  fs::path code = source("f.m", "disp(1)");
  pack({{code, u"app/f.m"}}, ReversingReaderHandle::factory());
  OpcReader reader(packagePath());
  EXPECT_EQ(reader.content(u"/app/f.m"), ReversingReaderHandle::reversed("disp(1)"));
  auto part = reader.package().getPart(opc::model::PartName(fl::i18n::ustring(u"/app/f.m")));
  EXPECT_EQ(part.getContentType().toString(), KZFPackage::VELLMORENCRYPTEDCODE_CONTENTTYPE);
  // Extraction through the same factory gives the original bytes back.
  KZFPackage package(u(packagePath()), ReversingReaderHandle::factory());
  package.open(kzf::Read);
  package.extract(u(tmp / "out"));
  EXPECT_EQ(readFile(tmp / "out/app/f.m"), "disp(1)");
}

TEST_F(AddFilesTest, SourcesThatCannotBeStoredReportTheirIdentifiers) {
  KZFPackage package(u(packagePath()), ReversingReaderHandle::factory());
  package.open(kzf::Create);
  fs::path fifo = tmp / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  auto one = [](const fs::path& src, const fl::i18n::ustring& name) {
    return std::map<fl::i18n::ustring, KZFRecordData>{{u(src), KZFRecordData(name, false, "")}};
  };
  EXPECT_KZF_ERROR_WITH(package.addFileListToKZF(one(fifo, u"pipe")),
                        "KZFPACKAGE_FILE_TYPE_UNSUPPORTED", fifo.string());
  EXPECT_KZF_ERROR_WITH(package.addFileListToKZF(one(tmp / "absent", u"absent")),
                        "KZFPACKAGE_FILE_ENTRY_NOT_EXIST", (tmp / "absent").string());
  EXPECT_KZF_ERROR(package.addFileListToKZF(one(source("empty.m", ""), u"empty.m")),
                   "KZFPACKAGE_ERROR_READ_ZERO_LENGTH_FILE");
  EXPECT_KZF_ERROR(package.addFileToKZF(u(source("a")), u"a/../b", "", {}),
                   "KZFPACKAGE_NAME_NOT_STORABLE");
  package.close();
}

TEST_F(AddFilesTest, UnreadableSourceFailsWithReadError) {
  if (::geteuid() == 0) GTEST_SKIP() << "root reads files whatever their mode";
  fs::path secret = source("secret", "s");
  ::chmod(secret.c_str(), 0);
  KZFPackage package(u(packagePath()), {});
  package.open(kzf::Create);
  EXPECT_KZF_ERROR(package.addFileToKZF(u(secret), u"secret", "", {}),
                   "KZFPACKAGE_ERROR_READ_FILE");
}

std::string narrow(const fl::i18n::ustring& text) { return fl::i18n::to_string(text); }

struct ContentTypeRow {
  const char* label;
  fl::i18n::ustring name;
  bool transformingFactory;
  std::string expected;
};

void PrintTo(const ContentTypeRow& row, std::ostream* out) { *out << row.label; }

class ContentTypeMappingTest : public ::testing::TestWithParam<ContentTypeRow> {};

TEST_P(ContentTypeMappingTest, MapsTheDestinationName) {
  const ContentTypeRow& row = GetParam();
  KZFPackage package(u"unused.kzf", row.transformingFactory ? ReversingReaderHandle::factory()
                                                              : kzf::KZFFileReaderFactory());
  EXPECT_EQ(narrow(package.mapFilenameToContentTypeString(row.name)), row.expected);
}

const std::string kCode = "application/vnd.quorlith.velmor.velmorCode;charset=utf-8";
const std::string kEnciphered = "application/vnd.quorlith.velmor.velmorEncryptedCode;charset=utf-8";
const std::string kData = "application/vnd.quorlith.velmor.compiler.data";
const std::string kExecutable = "application/vnd.quorlith.velmor.velmorExecutable;platform=";

INSTANTIATE_TEST_SUITE_P(
    Rules, ContentTypeMappingTest,
    ::testing::Values(
        ContentTypeRow{"PlainCode", u"app/f.m", false, kCode},
        ContentTypeRow{"PlainPcode", u"app/f.p", false, kCode},
        ContentTypeRow{"EncipheredCode", u"app/f.m", true, kEnciphered},
        ContentTypeRow{"UpperCaseMIsData", u"app/F.M", true, kData},
        ContentTypeRow{"MatIsData", u"data/x.mat", false, kData},
        ContentTypeRow{"Linux64Extension", u"bin/lib.vxfa64", false, kExecutable + "glnxa64"},
        ContentTypeRow{"Linux32Extension", u"lib.vxfglx", false, kExecutable + "glnx86"},
        ContentTypeRow{"MacExtension", u"lib.vxfmaci64", false, kExecutable + "maci64"},
        ContentTypeRow{"Win64Extension", u"lib.vxfw64", false, kExecutable + "win64"},
        ContentTypeRow{"UpperCaseExtensionIsData", u"lib.VXFA64", false, kData},
        ContentTypeRow{"ConfigurationManifestNameIsData", u"/.META/manifest.xml", false, kData},
        ContentTypeRow{"DotOnlyInFolderIsData", u"dir.m/file", false, kData},
        ContentTypeRow{"NoExtension", u"README", false, kData}),
    [](const ::testing::TestParamInfo<ContentTypeRow>& row) { return row.param.label; });

TEST(PartNameTest, EncodedNamesGetOneLeadingSlash) {
  KZFPackage package(u"unused.kzf", {});
  EXPECT_EQ(narrow(package.getEncodedURIString(u"a/b")), "/a/b");
  EXPECT_EQ(narrow(package.getEncodedURIString(u"/x")), "/x");
  EXPECT_EQ(narrow(package.getEncodedURIString(u"")), "/");
  EXPECT_EQ(narrow(package.getEncodedURIString(u"my app/f#1 100%.m")), "/my%20app/f%231%20100%25.m");
  EXPECT_EQ(narrow(package.getEncodedURIString(u"dir\\link")), "/dir%5Clink");
  EXPECT_EQ(narrow(package.getEncodedURIString(u"caf\u00e9")), "/caf%C3%A9");
}

TEST(WindowsExecutableTest, ExactLowerCaseExtensions) {
  KZFPackage package(u"unused.kzf", {});
  EXPECT_TRUE(package.isWindowsExecutable(u"tools/run.btm"));
  EXPECT_TRUE(package.isWindowsExecutable(u"setup.exe"));
  EXPECT_FALSE(package.isWindowsExecutable(u"SETUP.EXE"));
  EXPECT_FALSE(package.isWindowsExecutable(u"exe"));
}

}  // namespace
}  // namespace kzftest
