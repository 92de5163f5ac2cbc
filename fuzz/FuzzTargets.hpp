// The entry points the fuzz targets drive, shared with the tests that replay their findings:
// each feeds one input to a reader of outside input and lets only its documented refusals
// pass, so anything else (another exception, a sanitizer report) surfaces as a failure.
#pragma once

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/ustring.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <opc/Stream.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>
#include <xsd_binder/MalformedDocumentError.hpp>
#include <zippackage/ZipReader.hpp>

namespace kzffuzz {

namespace fs = boost::filesystem;
namespace kzf = Quorlith::kzfpackage;

// A private folder for the whole process, removed when it exits normally. Each input is
// written to `package` in it and extracted into `root` beside it.
class Workspace {
 public:
  Workspace() : dir_(fs::temp_directory_path() / fs::unique_path("kzf-fuzz-%%%%-%%%%-%%%%")) {
    fs::create_directory(dir_);
  }
  ~Workspace() {
    boost::system::error_code ignored;
    makeRemovable(dir_);
    fs::remove_all(dir_, ignored);
  }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  fs::path package() const { return dir_ / "input.kzf"; }
  fs::path root() const { return dir_ / "root"; }

  /// Aborts, which the fuzzer reports as a finding, when the workspace holds anything but the
  /// package and the extraction root: an extraction wrote outside its root.
  void expectNothingOutsideTheRoot() const {
    for (fs::directory_iterator it(dir_), end; it != end; ++it) {
      if (it->path() != package() && it->path() != root()) {
        std::fprintf(stderr, "extraction wrote outside its root: %s\n", it->path().c_str());
        std::abort();
      }
    }
  }

  /// Removes the extraction root, whatever modes the extraction gave its folders.
  void removeRoot() const {
    makeRemovable(root());
    fs::remove_all(root());
  }

 private:
  // Extraction applies the packaged folder modes, which may deny the owner access; links are
  // not followed.
  static void makeRemovable(const fs::path& top) {
    boost::system::error_code ec;
    if (!fs::is_directory(fs::symlink_status(top, ec))) return;
    fs::permissions(top, fs::add_perms | fs::owner_all, ec);
    for (fs::recursive_directory_iterator it(top, ec), end; !ec && it != end; it.increment(ec)) {
      if (fs::is_directory(it->symlink_status())) {
        fs::permissions(it->path(), fs::add_perms | fs::owner_all, ec);
      }
    }
  }

  fs::path dir_;
};

/// Writes `data` as a package file, opens it for reading and extracts it into a fresh folder,
/// which is removed afterwards. A DeployedException is the expected refusal.
inline void openAndExtractPackage(const std::uint8_t* data, std::size_t size) {
  static const Workspace workspace;
  {
    fs::ofstream out(workspace.package(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  try {
    kzf::KZFPackage package(fl::i18n::to_ustring(workspace.package().string()),
                            kzf::KZFFileReaderFactory());
    // A small input may still inflate to a lot; what it writes is not the point here.
    kzf::KZFExtractionBudget budget;
    budget.maxTotalBytes = 64u * 1024u * 1024u;
    package.setExtractionBudget(budget);
    package.open(kzf::Read);
    package.extract(fl::i18n::to_ustring(workspace.root().string()));
    package.close();
  } catch (const fl::i18n::DeployedException&) {
  }
  workspace.expectNothingOutsideTheRoot();
  workspace.removeRoot();
}

/// Writes `data` as a file, opens it with the zip reader alone and reads every item to its end,
/// which checks its size and CRC-32. A std::runtime_error naming the file is the expected
/// refusal, raised by opening the archive or by any one item.
inline void readZipArchive(const std::uint8_t* data, std::size_t size) {
  static const Workspace workspace;
  {
    fs::ofstream out(workspace.package(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  std::vector<char> buffer(64 * 1024);
  try {
    opc::zippackage::ZipReader reader(workspace.package().string());
    for (std::size_t i = 0; i < reader.items().size(); ++i) {
      try {
        std::unique_ptr<opc::InputStream> item = reader.openItemAt(i);
        while (!item->isEOF()) item->read(buffer.data(), buffer.size());
      } catch (const std::runtime_error&) {
      }
    }
    reader.close();
  } catch (const std::runtime_error&) {
  }
}

/// Loads `data` as a file manifest into an extraction manager. A DeployedException is the
/// expected refusal.
inline void loadFileManifest(const std::uint8_t* data, std::size_t size) {
  // Built once: it loads and caches the manifest schema, which is the same for every input.
  static const kzf::KZFExtractionSerializer serializer;
  std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
  opc::StdIStreamAdaptor in(text);
  kzf::KZFExtractionManager manager;
  try {
    manager.load(in, serializer);
  } catch (const fl::i18n::DeployedException&) {
  }
}

/// Loads `data` as a configuration manifest into settings. MalformedDocumentError,
/// DeployedException and boost::bad_lexical_cast are the expected refusals.
inline void loadConfigManifest(const std::uint8_t* data, std::size_t size) {
  std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
  opc::StdIStreamAdaptor in(text);
  kzf::KZFSettings settings;
  try {
    kzf::KZFSettingsSerializer().load(in, settings);
  } catch (const xsd_binder::MalformedDocumentError&) {
  } catch (const fl::i18n::DeployedException&) {
  } catch (const boost::bad_lexical_cast&) {
  }
}

}  // namespace kzffuzz
