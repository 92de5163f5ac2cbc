// Test support for the file manifest: captured standard output and hand-written manifests.
#pragma once

#include <gtest/gtest.h>

#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/ustring.hpp>
#include <iostream>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <resource_core/BaseMsgID.hpp>
#include <sstream>
#include <string>
#include <variant>

#include "MemoryStreams.hpp"

namespace kzftest {

/// Redirects std::cout into a buffer for its lifetime; at its end, into `*keep` if given too.
class CoutCapture {
 public:
  explicit CoutCapture(std::string* keep = nullptr)
      : keep_(keep), previous_(std::cout.rdbuf(buffer_.rdbuf())) {}
  ~CoutCapture() {
    std::cout.rdbuf(previous_);
    if (keep_ != nullptr) *keep_ = buffer_.str();
  }
  std::string text() const { return buffer_.str(); }

 private:
  std::string* keep_;
  std::ostringstream buffer_;
  std::streambuf* previous_;
};

/// The process locale's encoding name, as the serializer writes it.
inline std::string localeEncoding() {
  return std::get<std::string>(fl::i18n::QlLocale::global().get_encoding_name());
}

/// The line printmln writes for a warning identifier.
inline std::string warningLine(const resource_core::BaseMsgID& id) {
  return fl::i18n::DeployedException(id).message() + "\n";
}

/// A manifest document around `entries` (the "fileEntry" elements as text), with this
/// build's platform tag and the process encoding unless others are given.
inline std::string manifestText(const std::string& entries,
                                const std::string& platform = KZF_PLATFORM_TAG,
                                const std::string& encoding = localeEncoding()) {
  return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><fileEntries xmlns=\"") +
         Quorlith::kzfpackage::KZFExtractionSerializer::NAMESPACE + "\" platform=\"" + platform +
         "\" encoding=\"" + encoding + "\">" + entries + "</fileEntries>";
}

/// One "fileEntry" element; `more` is added verbatim to its attributes.
inline std::string entryText(const std::string& name, const std::string& type = "File",
                             const std::string& more = "") {
  return "<fileEntry name=\"" + name + "\" content=\"/" + name + "\" type=\"" + type + "\"" +
         (more.empty() ? "" : " " + more) + "/>";
}

/// A serializer per test, with helpers to save to text and load from text (capturing what
/// the load prints).
class FileManifestTest : public ::testing::Test {
 protected:
  std::string save(const Quorlith::kzfpackage::KZFExtractionManager& manager) {
    StringOutputStream out;
    manager.save(out, serializer);
    return out.text;
  }

  /// Loads `xml` into `manager` through KZFExtractionManager::load; keeps the printed text.
  void loadInto(Quorlith::kzfpackage::KZFExtractionManager& manager, const std::string& xml) {
    TextInputStream in(xml);
    CoutCapture capture(&printed);
    manager.load(in, serializer);
  }

  Quorlith::kzfpackage::KZFExtractionManager load(const std::string& xml) {
    Quorlith::kzfpackage::KZFExtractionManager manager;
    loadInto(manager, xml);
    return manager;
  }

  Quorlith::kzfpackage::KZFExtractionSerializer serializer;
  /// What the last load printed on standard output.
  std::string printed;
};

}  // namespace kzftest
