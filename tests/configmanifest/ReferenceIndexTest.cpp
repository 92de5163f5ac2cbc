// References resolve through an index of the declarations: by kind, and where an id is
// declared twice, to the first declaration in document order.
#include <gtest/gtest.h>

#include <kzfpackage/KZFSettings.hpp>
#include <string>
#include <vector>

#include "SettingsFixture.hpp"

namespace {

using fl::i18n::ustring;

TEST(ReferenceIndexTest, EachKindResolvesToItsFirstDeclarationOfTheId) {
  // "X" names two directories, a function and the configuration; "P" names a directory only
  // after a function of that id.
  const Quorlith::kzfpackage::KZFSettings s = kzftest::loadFromString(R"(<?xml version="1.0"?>
<manifest default-config="X" signature="" uuid="u" component-name="c" vrt-major-version="8"
    vrt-minor-version="0" vrt-release-version="1" need_java="0" need_exclusive_vrt_process="0">
  <function id="P"><name>p</name><inputs/><outputs/></function>
  <directory id="X" path="/first"/>
  <function id="X"><name>x</name><inputs/><outputs/></function>
  <directory id="X" path="/second"/>
  <directory id="P" path=".velmor"/>
  <function id="X"><name>later</name><inputs/><outputs/></function>
  <configuration id="X" name="" require="" expires="">
    <session-key/><public-key/>
    <velmor-path><path-item ref="X"/><path-item ref="P"/><path-item ref="X"/></velmor-path>
    <java-class-path/><library-path/><application-options/><runtime-options/><warning-state/>
    <prefdir ref="P"/>
    <main-function ref="X"/>
    <public-functions><function ref="P"/><function ref="X"/></public-functions>
  </configuration>
</manifest>
)");
  EXPECT_EQ(s.velmorPath, (std::vector<ustring>{u"/first", u".velmor", u"/first"}));
  EXPECT_EQ(s.prefdir, u".velmor");
  EXPECT_EQ(s.mainFunction.name, u"x");
  ASSERT_EQ(s.publicFunctions.size(), 2u);
  EXPECT_EQ(s.publicFunctions[0].name, u"p");
  EXPECT_EQ(s.publicFunctions[1].name, u"x");
}

}  // namespace
