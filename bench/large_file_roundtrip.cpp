// Benchmark helper: packs one file into a package, or extracts a package, through the public API.
#include <kzfpackage/KZFPackage.hpp>

#include <fl/i18n/DeployedException.hpp>

#include <iostream>
#include <map>

using namespace Quorlith::kzfpackage;

int main(int argc, char** argv) {
  if (argc != 4 || (std::string(argv[1]) != "pack" && std::string(argv[1]) != "extract")) {
    std::cerr << "usage: large_file_roundtrip pack FILE PACKAGE | extract PACKAGE DIR\n";
    return 2;
  }
  try {
    const std::string command = argv[1];
    if (command == "pack") {
      KZFPackage package(fl::i18n::to_ustring(argv[3]), {});
      package.open(Create);
      std::map<ustring, KZFRecordData> files;
      files.emplace(fl::i18n::to_ustring(argv[2]), KZFRecordData(u"big.bin", false, ""));
      package.addFileListToKZF(files);
      package.close();
    } else {
      KZFPackage package(fl::i18n::to_ustring(argv[2]), {});
      package.open(Read);
      package.extract(fl::i18n::to_ustring(argv[3]));
      package.close();
    }
  } catch (const fl::i18n::DeployedException& e) {
    std::cerr << "large_file_roundtrip: " << e.what() << " [" << e.identifier() << "]\n";
    return 1;
  }
  return 0;
}
