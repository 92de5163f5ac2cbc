// Part names and content types chosen for destination names, and the native-extension table.
#include <PackageTestSupport.hpp>

#include <ReversingReaderHandle.hpp>

#include <kzfpackage/KZFPackage.hpp>

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
namespace kzf = Quorlith::kzfpackage;

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
