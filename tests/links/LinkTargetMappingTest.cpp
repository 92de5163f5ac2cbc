// Mapping a symbolic link's target into the package and the link text that reaches it.
#include <KzfErrorMatchers.hpp>
#include <LinkTargetMapping.hpp>
#include <boost/filesystem.hpp>

namespace kzftest {
namespace {

using namespace Quorlith::kzfpackage::links;
using fl::i18n::ustring;

TEST(LinkTargetMappingTest, PathToMappedTargetWorkedExamples) {
  EXPECT_EQ(computePathToMappedLinkTarget(u"fsroot/lib/libfoo.so.1", u"fsroot/lib/libfoo.so"),
            u"libfoo.so.1");
  EXPECT_EQ(computePathToMappedLinkTarget(u"fsroot/bin/tool", u"fsroot/lib/x/tool-link"),
            u"../../bin/tool");
  EXPECT_EQ(computePathToMappedLinkTarget(u"f.txt", u"link"), u"f.txt");
  EXPECT_EQ(computePathToMappedLinkTarget(u"usr/lib/libc.so", u"app/lib/l"),
            u"../../usr/lib/libc.so");
}

TEST(LinkTargetMappingTest, AbsoluteArgumentsAreRefusedNamingTargetThenLink) {
  EXPECT_KZF_ERROR_WITH(computePathToMappedLinkTarget(u"/abs/t", u"l"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "/abs/t");
  EXPECT_KZF_ERROR_WITH(computePathToMappedLinkTarget(u"t", u"/abs/l"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "/abs/l");
  // The identifier's arguments are target then link; the text reads "from link to target".
  EXPECT_KZF_ERROR_WITH(computePathToMappedLinkTarget(u"target-x", u"/link-y"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "from /link-y to target-x");
}

struct MappingRow {
  const char* label;
  ustring target, rootPlace, expected;
};
void PrintTo(const MappingRow& row, std::ostream* out) { *out << row.label; }
class MapIntoArchiveTest : public ::testing::TestWithParam<MappingRow> {};

// The tree /home/u/app is packed at rootPlace; where does each target live in the package?
TEST_P(MapIntoArchiveTest, PlacesTheTargetInThePackage) {
  EXPECT_EQ(mapLinkTargetIntoArchive(GetParam().target, u"/home/u/app", GetParam().rootPlace),
            GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MapIntoArchiveTest,
    ::testing::Values(
        MappingRow{"InsideBelowPrefix", u"/home/u/app/lib/libfoo.so.1", u"fsroot",
                   u"fsroot/lib/libfoo.so.1"},
        MappingRow{"InsideNoPrefix", u"/home/u/app/bin/tool", u"", u"bin/tool"},
        MappingRow{"OutsideIsMirrored", u"/usr/lib/libc.so", u"fsroot", u"usr/lib/libc.so"},
        MappingRow{"RelativeStays", u"rel/t", u"", u"rel/t"},
        // Element by element: a sibling whose name starts with the root's is outside.
        MappingRow{"SiblingWithRootAsPrefix", u"/home/u/app2/x", u"", u"home/u/app2/x"},
        MappingRow{"TheRootItself", u"/home/u/app", u"opt", u"opt"},
        MappingRow{"TrailingDotDropped", u"/home/u/app/sub/.", u"", u"sub"}),
    [](const ::testing::TestParamInfo<MappingRow>& row) { return row.param.label; });

TEST(LinkTargetMappingTest, SourceRootIsWhatTheDestinationDoesNotRepeat) {
  EXPECT_EQ(computerSrcRoot(u"/home/u/app/lib/libfoo.so", u"fsroot/lib/libfoo.so"), u"/home/u/app");
  EXPECT_EQ(computerSrcRoot(u"relative/l", u"l"),
            fl::i18n::to_ustring((boost::filesystem::current_path() / "relative").string()));
}

}  // namespace
}  // namespace kzftest
