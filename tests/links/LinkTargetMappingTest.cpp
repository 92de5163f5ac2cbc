// Mapping a symbolic link's target into the package and the link text that reaches it.
#include <KzfErrorMatchers.hpp>
#include <LinkTargetMapping.hpp>
#include <boost/filesystem.hpp>
#include <tuple>
#include <vector>

namespace kzftest {
namespace {

using namespace Quorlith::kzfpackage::links;
using fl::i18n::ustring;

TEST(LinkTargetMappingTest, AbsoluteArgumentsAreRefusedNamingTargetThenLink) {
  EXPECT_KZF_ERROR_WITH(computePathToMappedLinkTarget(u"/abs/t", u"l"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "/abs/t");
  // The identifier's arguments are target then link; the text reads "from link to target".
  EXPECT_KZF_ERROR_WITH(computePathToMappedLinkTarget(u"target-x", u"/link-y"),
                        "KZFPACKAGE_ERROR_PATH_ABSOLUTE", "from /link-y to target-x");
}

// The tree /home/u/app is packed at a place in the package; where does each target live there?
TEST(LinkTargetMappingTest, MapIntoArchivePlacesTheTargetInThePackage) {
  // Target, the tree's place in the package, the target's place in the package.
  const std::vector<std::tuple<ustring, ustring, ustring>> rows{
      {u"/home/u/app/lib/libfoo.so.1", u"fsroot", u"fsroot/lib/libfoo.so.1"},
      {u"/home/u/app/bin/tool", u"", u"bin/tool"},
      {u"/usr/lib/libc.so", u"fsroot", u"usr/lib/libc.so"},  // outside: mirrored
      {u"rel/t", u"", u"rel/t"},
      // Element by element: a sibling whose name starts with the root's is outside.
      {u"/home/u/app2/x", u"", u"home/u/app2/x"},
      {u"/home/u/app", u"opt", u"opt"},
      {u"/home/u/app/sub/.", u"", u"sub"}};
  for (const auto& [target, rootPlace, expected] : rows) {
    EXPECT_EQ(mapLinkTargetIntoArchive(target, u"/home/u/app", rootPlace), expected)
        << fl::i18n::to_string(target) << " with the tree at " << fl::i18n::to_string(rootPlace);
  }
}

TEST(LinkTargetMappingTest, SourceRootIsWhatTheDestinationDoesNotRepeat) {
  EXPECT_EQ(computerSrcRoot(u"/home/u/app/lib/libfoo.so", u"fsroot/lib/libfoo.so"), u"/home/u/app");
  EXPECT_EQ(computerSrcRoot(u"relative/l", u"l"),
            fl::i18n::to_ustring((boost::filesystem::current_path() / "relative").string()));
}

}  // namespace
}  // namespace kzftest
