// Mapping a symbolic link's target into the package and the link text that reaches it.
#include <KzfErrorMatchers.hpp>

#include <kzfpackage/KZFPackage.hpp>

#include <boost/filesystem.hpp>

namespace Quorlith::kzfpackage {

/// Reaches the package's private link-mapping operations.
class KZFPackageTestPeer {
 public:
  KZFPackageTestPeer() : package_(u"unused.kzf", KZFFileReaderFactory()) {}
  ustring naive_uncomplete(const ustring& p, const ustring& base) {
    return package_.naive_uncomplete(p, base);
  }
  ustring computePathToMappedLinkTarget(const ustring& target, const ustring& link) {
    return package_.computePathToMappedLinkTarget(target, link);
  }
  ustring mapLinkTargetIntoArchive(const ustring& source, const ustring& destination,
                                   const ustring& target, const ustring& sourceRoot) {
    return package_.mapLinkTargetIntoArchive(source, destination, target, sourceRoot);
  }
  ustring computerSrcRoot(const ustring& source, const ustring& destination) {
    return package_.computerSrcRoot(source, destination);
  }

 private:
  KZFPackage package_;
};

}  // namespace Quorlith::kzfpackage

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackageTestPeer;
using fl::i18n::ustring;

struct UncompleteRow {
  const char* label;
  ustring p, base, expected;
};
void PrintTo(const UncompleteRow& row, std::ostream* out) { *out << row.label; }
class NaiveUncompleteTest : public ::testing::TestWithParam<UncompleteRow> {};

TEST_P(NaiveUncompleteTest, ExpressesThePathRelativeToTheBase) {
  KZFPackageTestPeer peer;
  EXPECT_EQ(peer.naive_uncomplete(GetParam().p, GetParam().base), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NaiveUncompleteTest,
    ::testing::Values(UncompleteRow{"EqualStrings", u"a/b", u"a/b", u"./"},
                      UncompleteRow{"TrailingSeparatorIsNotEqual", u"a/b", u"a/b/", u""},
                      UncompleteRow{"Below", u"/home/u/app/lib/x", u"/home/u/app", u"lib/x"},
                      UncompleteRow{"Beside", u"/r/bin/tool", u"/r/lib/x", u"../../bin/tool"},
                      UncompleteRow{"RelativeAgainstAbsolute", u"a/b", u"/r/s", u"../../a/b"}),
    [](const ::testing::TestParamInfo<UncompleteRow>& row) { return row.param.label; });

TEST(LinkTargetMappingTest, EmptyArgumentsAreRefused) {
  KZFPackageTestPeer peer;
  EXPECT_KZF_ERROR(peer.naive_uncomplete(u"", u"/a"), "KZFPACKAGE_ERROR_PATH_EMPTY");
  EXPECT_KZF_ERROR(peer.naive_uncomplete(u"a", u""), "KZFPACKAGE_ERROR_PATH_EMPTY");
}

TEST(LinkTargetMappingTest, PathToMappedTargetWorkedExamples) {
  KZFPackageTestPeer peer;
  EXPECT_EQ(peer.computePathToMappedLinkTarget(u"fsroot/lib/libfoo.so.1", u"fsroot/lib/libfoo.so"),
            u"libfoo.so.1");
  EXPECT_EQ(peer.computePathToMappedLinkTarget(u"fsroot/bin/tool", u"fsroot/lib/x/tool-link"),
            u"../../bin/tool");
  EXPECT_EQ(peer.computePathToMappedLinkTarget(u"f.txt", u"link"), u"f.txt");
  EXPECT_EQ(peer.computePathToMappedLinkTarget(u"usr/lib/libc.so", u"app/lib/l"),
            u"../../usr/lib/libc.so");
}

TEST(LinkTargetMappingTest, AbsoluteArgumentsAreRefusedNamingTargetThenLink) {
  KZFPackageTestPeer peer;
  EXPECT_KZF_ERROR_WITH(peer.computePathToMappedLinkTarget(u"/abs/t", u"l"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "/abs/t");
  EXPECT_KZF_ERROR_WITH(peer.computePathToMappedLinkTarget(u"t", u"/abs/l"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "/abs/l");
  // The identifier's arguments are target then link; the text reads "from link to target".
  EXPECT_KZF_ERROR_WITH(peer.computePathToMappedLinkTarget(u"target-x", u"/link-y"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "from /link-y to target-x");
}

TEST(LinkTargetMappingTest, MapIntoArchiveWorkedExamples) {
  KZFPackageTestPeer peer;
  const ustring root = u"/home/u/app";
  EXPECT_EQ(peer.mapLinkTargetIntoArchive(u"/home/u/app/lib/libfoo.so", u"fsroot/lib/libfoo.so",
                                          u"/home/u/app/lib/libfoo.so.1", root),
            u"fsroot/lib/libfoo.so.1");
  EXPECT_EQ(peer.mapLinkTargetIntoArchive(u"/home/u/app/lib/x/tool-link", u"fsroot/lib/x/tool-link",
                                          u"/home/u/app/bin/tool", root),
            u"fsroot/bin/tool");
  // Outside the tree: the absolute path mirrored below the package root.
  EXPECT_EQ(peer.mapLinkTargetIntoArchive(u"/home/u/app/l", u"l", u"/usr/lib/libc.so", root),
            u"usr/lib/libc.so");
  // Relative targets stay as they are; containment is a substring test, so app2 counts as
  // inside and is reached relative to the root rather than mirrored.
  EXPECT_EQ(peer.mapLinkTargetIntoArchive(u"/home/u/app/l", u"l", u"rel/t", root), u"rel/t");
  EXPECT_EQ(peer.mapLinkTargetIntoArchive(u"/home/u/app/l", u"l", u"/home/u/app2/x", root),
            u"../app2/x");
}

TEST(LinkTargetMappingTest, SourceRootIsWhatTheDestinationDoesNotRepeat) {
  KZFPackageTestPeer peer;
  EXPECT_EQ(peer.computerSrcRoot(u"/home/u/app/lib/libfoo.so", u"fsroot/lib/libfoo.so"),
            u"/home/u/app");
  EXPECT_EQ(peer.computerSrcRoot(u"relative/l", u"l"),
            fl::i18n::to_ustring(boost::filesystem::current_path().string()));
}

}  // namespace
}  // namespace kzftest
