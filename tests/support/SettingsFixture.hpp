// Test support: settings with every field filled, and saving and loading them through memory.
#pragma once

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/optional/optional_io.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <opc/Stream.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace kzftest {

inline Quorlith::kzfpackage::VelmorFunction velmorFunction(
    const std::u16string& location, const std::u16string& name,
    std::vector<std::u16string> inputs = {}, std::vector<std::u16string> outputs = {}) {
  Quorlith::kzfpackage::VelmorFunction f;
  f.location = location;
  f.name = name;
  f.inputs = std::move(inputs);
  f.outputs = std::move(outputs);
  return f;
}

/// Settings with every field filled: two public functions sharing a location, one directory in
/// all three path lists, an expiry date, texts beyond ASCII and key bytes that are UTF-8.
inline Quorlith::kzfpackage::KZFSettings fullSettings() {
  Quorlith::kzfpackage::KZFSettings s;
  s.uuid = u"5f1c0d2e-8a4b-4c6d-9e7f-0a1b2c3d4e5f";
  s.componentName = u"Spektralanalyse \u00e4\u00f6\u00fc \u65e5\u672c";
  s.vrtMajorVersion = u"8";
  s.vrtMinorVersion = u"0";
  s.vrtReleaseVersion = u"614";
  s.needJava = true;
  s.needExclusiveVrtProcess = false;
  s.mainFunction = velmorFunction(u"/ignored/main", u"ignored", {u"q"});
  s.publicFunctions = {
      velmorFunction(u"/app/analyse.m", u"analyse", {u"signal", u"rate"}, {u"spectrum"}),
      velmorFunction(u"/app/analyse.m", u"analyseAlias", {u"x"}),
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
inline std::string saveToString(const Quorlith::kzfpackage::KZFSettings& settings) {
  std::ostringstream out;
  opc::StdOStreamAdaptor stream(out);
  Quorlith::kzfpackage::KZFSettingsSerializer().save(stream, settings);
  return out.str();
}

/// Loads `xml` into `settings`.
inline void loadFromString(const std::string& xml, Quorlith::kzfpackage::KZFSettings& settings) {
  std::istringstream in(xml);
  opc::StdIStreamAdaptor stream(in);
  Quorlith::kzfpackage::KZFSettingsSerializer().load(stream, settings);
}

inline Quorlith::kzfpackage::KZFSettings loadFromString(const std::string& xml) {
  Quorlith::kzfpackage::KZFSettings settings;
  loadFromString(xml, settings);
  return settings;
}

}  // namespace kzftest
