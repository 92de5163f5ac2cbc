// Test helper for the kill test: packs every regular file of a folder into a package over
// whatever package already sits at the path. Usage: kzf_crash_child SOURCE_FOLDER PACKAGE
#include <boost/filesystem.hpp>
#include <cstdio>
#include <exception>
#include <kzfpackage/KZFPackage.hpp>
#include <map>

int main(int argc, char** argv) {
  namespace fs = boost::filesystem;
  using Quorlith::kzfpackage::KZFPackage;
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s SOURCE_FOLDER PACKAGE\n", argv[0]);
    return 2;
  }
  try {
    const fs::path source(argv[1]);
    std::map<fl::i18n::ustring, Quorlith::kzfpackage::KZFRecordData> files;
    for (fs::recursive_directory_iterator it(source), end; it != end; ++it) {
      if (!fs::is_regular_file(it->symlink_status())) continue;
      files.emplace(
          fl::i18n::to_ustring(it->path().string()),
          Quorlith::kzfpackage::KZFRecordData(
              fl::i18n::to_ustring(fs::relative(it->path(), source).string()), false, ""));
    }
    KZFPackage package(fl::i18n::to_ustring(argv[2]), {});
    package.open(Quorlith::kzfpackage::Create);
    package.addFileListToKZF(files);
    package.close();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  return 0;
}
