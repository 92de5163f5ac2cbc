// Test support for the package facade: paths as ustring, small files, reading packages back.
#pragma once

#include <TempDir.hpp>

#include <fl/i18n/ustring.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <opc/model/Package.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <sys/stat.h>

#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace kzftest {

namespace fs = boost::filesystem;

inline fl::i18n::ustring u(const fs::path& path) { return fl::i18n::to_ustring(path.string()); }

inline void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  fs::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

inline std::string readFile(const fs::path& path) {
  fs::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// One line per entry below `root`, in name order: "name/" for a folder (folder modes and dates
/// are not kept), "name mode=M links=N date=D [content]" for a file (mode in octal, the kind
/// included), "name -> target text" for a link.
inline std::string treeListing(const fs::path& root) {
  std::set<std::string> lines;
  for (fs::recursive_directory_iterator it(root), end; it != end; ++it) {
    const fs::path& path = it->path();
    std::ostringstream line;
    line << path.lexically_relative(root).string();
    struct stat st {};
    ::lstat(path.c_str(), &st);
    if (S_ISDIR(st.st_mode)) line << "/";
    if (S_ISLNK(st.st_mode)) line << " -> " << fs::read_symlink(path).string();
    if (S_ISREG(st.st_mode)) {
      line << " mode=" << std::oct << st.st_mode << std::dec << " links=" << st.st_nlink
           << " date=" << st.st_mtime << " [" << readFile(path) << "]";
    }
    lines.insert(line.str());
  }
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}

/// A package file opened for reading through the OPC layer, to look at what was written.
class OpcReader {
 public:
  explicit OpcReader(const fs::path& path)
      : physical_(u(path), true, false), package_(physical_, true) {
    package_.open(opc::interfaces::OpenMode::Read);
  }
  opc::model::Package& package() { return package_; }
  std::string content(const fl::i18n::ustring& name) {
    auto in = package_.getPart(opc::model::PartName(name)).getInputStream();
    std::string bytes;
    char buffer[4096];
    while (std::size_t n = in->read(buffer, sizeof buffer)) bytes.append(buffer, n);
    return bytes;
  }

 private:
  opc::zippackage::ZipPhysicalPackage physical_;
  opc::model::Package package_;
};

/// The file manifest of a package file, loaded into a manager.
inline Quorlith::kzfpackage::KZFExtractionManager loadFileManifest(const fs::path& package) {
  OpcReader reader(package);
  auto in = reader.package()
                .getPart(opc::model::PartName(fl::i18n::ustring(u"/.META/filemanifest.xml")))
                .getInputStream();
  Quorlith::kzfpackage::KZFExtractionManager manager;
  manager.load(*in, Quorlith::kzfpackage::KZFExtractionSerializer());
  return manager;
}

}  // namespace kzftest
