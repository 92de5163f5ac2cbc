// Test support for the configuration manifest: sample settings, saving and loading through
// memory, field-by-field comparison and a look at the written XML.
#pragma once

#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/optional/optional_io.hpp>
#include <fl/i18n/DeployedException.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <opc/Stream.hpp>
#include <opc/util/XercesHelper.hpp>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>

#include "KzfErrorMatchers.hpp"

namespace kzftest {

using fl::i18n::ustring;
using Quorlith::kzfpackage::KZFSettings;
using Quorlith::kzfpackage::KZFSettingsSerializer;
using Quorlith::kzfpackage::VelmorFunction;

inline VelmorFunction velmorFunction(const ustring& location, const ustring& name,
                                     std::vector<ustring> inputs, std::vector<ustring> outputs) {
  VelmorFunction f;
  f.location = location;
  f.name = name;
  f.inputs = std::move(inputs);
  f.outputs = std::move(outputs);
  return f;
}

/// Settings with every field filled: two public functions sharing a location, one directory in
/// all three path lists, an expiry date, texts beyond ASCII and key bytes that are UTF-8.
inline KZFSettings fullSettings() {
  KZFSettings s;
  s.uuid = u"5f1c0d2e-8a4b-4c6d-9e7f-0a1b2c3d4e5f";
  s.componentName = u"Spektralanalyse \u00e4\u00f6\u00fc \u65e5\u672c";
  s.vrtMajorVersion = u"8";
  s.vrtMinorVersion = u"0";
  s.vrtReleaseVersion = u"614";
  s.needJava = true;
  s.needExclusiveVrtProcess = false;
  s.mainFunction = velmorFunction(u"/ignored/main", u"ignored", {u"q"}, {});
  s.publicFunctions = {
      velmorFunction(u"/app/analyse.m", u"analyse", {u"signal", u"rate"}, {u"spectrum"}),
      velmorFunction(u"/app/analyse.m", u"analyseAlias", {u"x"}, {}),
      velmorFunction(u"/app/\u00fcbersicht.m", u"\u00fcbersicht", {}, {u"tabelle", u"plot"})};
  s.expires = boost::gregorian::date(2012, 7, 24);
  s.velmorPath = {u"/opt/app/m", u"/opt/shared dir/\u00e9t\u00e9", u"/opt/app/m"};
  s.javaClassPath = {u"/opt/shared dir/\u00e9t\u00e9", u"/opt/app/jar"};
  s.libraryPath = {u"/opt/shared dir/\u00e9t\u00e9"};
  s.applicationOptions = {u"-app", u"-dropped"};
  s.runtimeOptions = {u"-nojvm", u"-Xmx=2g \u00b5"};
  s.warningState = {u"off:all", u"on:deprecated"};
  s.prefdir = u"/home/user/.prefs";
  s.initStartMessage = u"Starte \u2026";
  s.initCompleteMessage = u"Fertig <&>";
  s.sessionKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("sk-\xc3\xa4\t\r\n\x7f"));
  s.publicKey = Quorlith::kzfdatainterfaces::KZFByteArray(std::string("pk-\xe2\x82\xac"));
  return s;
}

/// The document `save` writes for `settings`.
inline std::string saveToString(const KZFSettings& settings) {
  std::ostringstream out;
  opc::StdOStreamAdaptor stream(out);
  KZFSettingsSerializer().save(stream, settings);
  return out.str();
}

/// Loads `xml` into `settings`.
inline void loadFromString(const std::string& xml, KZFSettings& settings) {
  std::istringstream in(xml);
  opc::StdIStreamAdaptor stream(in);
  KZFSettingsSerializer().load(stream, settings);
}

inline KZFSettings loadFromString(const std::string& xml) {
  KZFSettings settings;
  loadFromString(xml, settings);
  return settings;
}

inline void expectFunctionsEqual(const VelmorFunction& actual, const VelmorFunction& expected,
                                 const std::string& which) {
  SCOPED_TRACE(which);
  EXPECT_EQ(actual.location, expected.location);
  EXPECT_EQ(actual.name, expected.name);
  EXPECT_EQ(actual.inputs, expected.inputs);
  EXPECT_EQ(actual.outputs, expected.outputs);
}

/// Compares every field; the messages name the field that differs.
inline void expectSettingsEqual(const KZFSettings& actual, const KZFSettings& expected) {
  EXPECT_EQ(actual.uuid, expected.uuid);
  EXPECT_EQ(actual.componentName, expected.componentName);
  EXPECT_EQ(actual.vrtMajorVersion, expected.vrtMajorVersion);
  EXPECT_EQ(actual.vrtMinorVersion, expected.vrtMinorVersion);
  EXPECT_EQ(actual.vrtReleaseVersion, expected.vrtReleaseVersion);
  EXPECT_EQ(actual.needJava, expected.needJava);
  EXPECT_EQ(actual.needExclusiveVrtProcess, expected.needExclusiveVrtProcess);
  expectFunctionsEqual(actual.mainFunction, expected.mainFunction, "mainFunction");
  ASSERT_EQ(actual.publicFunctions.size(), expected.publicFunctions.size());
  for (std::size_t i = 0; i < actual.publicFunctions.size(); ++i) {
    expectFunctionsEqual(actual.publicFunctions[i], expected.publicFunctions[i],
                         "publicFunctions[" + std::to_string(i) + "]");
  }
  EXPECT_EQ(actual.expires, expected.expires);
  EXPECT_EQ(actual.velmorPath, expected.velmorPath);
  EXPECT_EQ(actual.javaClassPath, expected.javaClassPath);
  EXPECT_EQ(actual.libraryPath, expected.libraryPath);
  EXPECT_EQ(actual.applicationOptions, expected.applicationOptions);
  EXPECT_EQ(actual.runtimeOptions, expected.runtimeOptions);
  EXPECT_EQ(actual.warningState, expected.warningState);
  EXPECT_EQ(actual.prefdir, expected.prefdir);
  EXPECT_EQ(actual.initStartMessage, expected.initStartMessage);
  EXPECT_EQ(actual.initCompleteMessage, expected.initCompleteMessage);
  EXPECT_TRUE(actual.sessionKey == expected.sessionKey) << "sessionKey";
  EXPECT_TRUE(actual.publicKey == expected.publicKey) << "publicKey";
}

/// A written document read with a plain DOM parser, to look at it without the binding.
class WrittenXml {
 public:
  explicit WrittenXml(const std::string& xml) {
    std::istringstream in(xml);
    opc::StdIStreamAdaptor stream(in);
    parser_ = opc::util::XercesHelper::createParser();
    document_ = opc::util::XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"",
                                                                u"written manifest");
  }

  const xercesc::DOMElement& root() const { return *document_->getDocumentElement(); }

  /// The child elements of `parent` named `name` (every child element for an empty name).
  static std::vector<const xercesc::DOMElement*> children(const xercesc::DOMElement& parent,
                                                          const ustring& name = u"") {
    std::vector<const xercesc::DOMElement*> found;
    for (auto* n = parent.getFirstElementChild(); n != nullptr; n = n->getNextElementSibling()) {
      if (name.empty() || name == n->getTagName()) found.push_back(n);
    }
    return found;
  }

  /// The one child named `name`; fails the test when there is not exactly one.
  static const xercesc::DOMElement& child(const xercesc::DOMElement& parent, const ustring& name) {
    auto found = children(parent, name);
    EXPECT_EQ(found.size(), 1u) << "children named " << fl::i18n::to_string(name);
    return *found.at(0);
  }

  static ustring attribute(const xercesc::DOMElement& element, const ustring& name) {
    return element.getAttribute(name.c_str());
  }
  static ustring text(const xercesc::DOMElement& element) { return element.getTextContent(); }

 private:
  opc::util::XercesGuard guard_;
  opc::util::DOMLSParserPtr parser_;
  opc::util::DOMDocumentPtr document_;
};

}  // namespace kzftest
