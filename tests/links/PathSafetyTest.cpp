// Path safety: which entry names and link targets extraction accepts. The hostile corpus
// extracts the names and targets every attack uses; these rows are the rest.
#include <PackageTestSupport.hpp>
#include <map>
#include <vector>
#include <string>

#include "PathSafety.hpp"

namespace kzftest {
namespace {

namespace pathsafety = Quorlith::kzfpackage::pathsafety;

/// The message of the refusal `check` raises, which must be under `rule`; "" when it accepts.
template <class Check>
std::string refusal(Check check, pathsafety::Rule rule) {
  try {
    check();
    return "";
  } catch (const pathsafety::EntryRefusal& e) {
    EXPECT_EQ(e.rule, rule) << "creation reports it under the rule of its kind: " << e.what();
    return e.what();
  }
}

TEST(EntryNameTest, AcceptedBelowTheRootOrRefusedWithItsReason) {
  const std::vector<std::pair<std::u16string, std::string>> accepted{
      {u"a/b.txt", "a/b.txt"},
      {u"/.META/manifest.xml", ".META/manifest.xml"},  // a leading "/" is the root
      {u"a/..b/c..", "a/..b/c.."},
      {std::u16string(255, u'x'), std::string(255, 'x')}};  // the longest component
  for (const auto& [name, relative] : accepted)
    EXPECT_EQ(pathsafety::checkEntryName(name).relative(), relative);
  const std::vector<std::pair<std::u16string, std::string>> refused{
      {u"", "is empty"},
      {u"/", "only \"/\""},
      {u"a//b", "empty component"},
      {u"a/../../b", "\"..\" component"},
      {std::u16string(u"a\0b", 3), "NUL"},
      {u"a\x1b[2Jb", "control character"},
      {u"a\x85", "control character"},  // C1
      {u"a\xD800", "narrow encoding"}};  // a lone surrogate
  for (const auto& row : refused) {
    const std::string message =
        refusal([&] { pathsafety::checkEntryName(row.first); }, pathsafety::Rule::Name);
    EXPECT_NE(message.find(row.second), std::string::npos) << row.second << "; got: " << message;
  }
}

TEST(LinkTargetTest, StaysInsideTheRoot) {
  struct Row {
    const char *link, *target;
    std::map<std::string, std::string> links;  ///< the package's other links
    const char* reason;                         ///< of the refusal; "" when accepted
  };
  for (Row row : std::vector<Row>{
           {"lib/libx.so", "libx.so.1", {}, ""},
           {"a/b/l", "../../f", {}, ""},  // up to the root exactly
           {"l", "a/b/../c", {}, ""},
           {"a/l", "../../f", {}, "climbs out"},
           {"l", "d/../..", {{"d", "x/y"}}, ""},  // ".." after a link goes up from its target
           {"l", "a/f", {{"a", "/etc"}}, "whose target is absolute"}}) {
    const pathsafety::EntryPath link = pathsafety::checkEntryName(fl::i18n::to_ustring(row.link));
    row.links[link.relative()] = row.target;
    const std::string message = refusal(
        [&] { pathsafety::checkLinkTarget(link, row.target, row.links); }, pathsafety::Rule::Link);
    SCOPED_TRACE(std::string(row.link) + " -> " + row.target + ": " + message);
    EXPECT_EQ(message.empty(), *row.reason == '\0');
    EXPECT_NE(message.find(row.reason), std::string::npos);
  }
}

}  // namespace
}  // namespace kzftest
