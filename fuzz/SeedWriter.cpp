// Writes the fuzzers' seed corpora with the library itself: small packages of files, folders
// and links, with and without settings, and the two manifests taken out of them.
#include <sys/stat.h>

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <exception>
#include <fl/i18n/ustring.hpp>
#include <iostream>
#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <map>
#include <memory>
#include <opc/model/Package.hpp>
#include <opc/model/PartName.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <stdexcept>
#include <string>

namespace {

namespace fs = boost::filesystem;
namespace kzf = Quorlith::kzfpackage;
using fl::i18n::ustring;

ustring u(const fs::path& path) { return fl::i18n::to_ustring(path.string()); }

void writeFile(const fs::path& path, const std::string& content, unsigned mode = 0644) {
  fs::create_directories(path.parent_path());
  fs::ofstream(path, std::ios::binary | std::ios::trunc) << content;
  if (::chmod(path.c_str(), mode) != 0) throw std::runtime_error("cannot chmod " + path.string());
}

// A tree with what a package can hold: files of several modes, an empty and a nested folder,
// and links to a file and to a folder.
void makeTree(const fs::path& root) {
  writeFile(root / "readme.txt", "A small application.\n");
  writeFile(root / "bin" / "run.sh", "#!/bin/sh\nexec ./app \"$@\"\n", 0755);
  writeFile(root / "lib" / "toolbox" / "f.m", "function y = f(x)\n  y = 2 * x;\nend\n");
  writeFile(root / "lib" / "empty.dat", "");
  fs::create_directories(root / "data" / "empty");
  fs::create_symlink("readme.txt", root / "README");
  fs::create_symlink("../lib/toolbox", root / "bin" / "toolbox");
}

kzf::KZFSettings sampleSettings() {
  kzf::KZFSettings s;
  s.uuid = u"0f1e2d3c-aaaa-bbbb-cccc-000000000001";
  s.componentName = u"Sample";
  s.vrtMajorVersion = u"8";
  s.vrtMinorVersion = u"0";
  s.vrtReleaseVersion = u"1";
  s.needJava = true;
  kzf::VelmorFunction main;
  main.location = u"/app/main.m";
  main.name = u"main";
  main.inputs = {u"argv"};
  main.outputs = {u"status"};
  s.publicFunctions = {main};
  s.expires = boost::gregorian::date(2031, 12, 24);
  s.velmorPath = {u"/app/lib", u"/app/toolbox"};
  s.libraryPath = {u"/app/bin/glnxa64"};
  s.runtimeOptions = {u"-nojvm"};
  s.initStartMessage = u"Starting";
  return s;
}

// Packs every entry below `source` under its relative name into `package`.
void pack(const fs::path& source, const fs::path& package, const kzf::KZFSettings* settings) {
  std::map<ustring, kzf::KZFRecordData> list;
  for (fs::recursive_directory_iterator it(source), end; it != end; ++it) {
    std::string relative = it->path().string().substr(source.string().size() + 1);
    list.emplace(u(it->path()), kzf::KZFRecordData(fl::i18n::to_ustring(relative), false, ""));
  }
  kzf::KZFPackage writer(u(package), kzf::KZFFileReaderFactory());
  writer.open(kzf::Create);
  if (settings != nullptr) writer.setKZFSettings(*settings);
  writer.addFileListToKZF(list);
  writer.close();
}

// Copies the part `name` of `package`, if it has one, to `target`.
void copyPart(const fs::path& package, const char16_t* name, const fs::path& target) {
  opc::zippackage::ZipPhysicalPackage physical(u(package), true, false);
  opc::model::Package opened(physical, true);
  opened.open(opc::interfaces::OpenMode::Read);
  opc::model::PartName part{ustring(name)};
  if (!opened.hasPart(part)) return;
  auto in = opened.getPart(part).getInputStream();
  fs::ofstream out(target, std::ios::binary | std::ios::trunc);
  char buffer[4096];
  while (std::size_t n = in->read(buffer, sizeof buffer)) out.write(buffer, n);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " OUTPUT_FOLDER\n"
              << "writes seed packages to OUTPUT_FOLDER/package and their manifests to\n"
              << "OUTPUT_FOLDER/filemanifest and OUTPUT_FOLDER/configmanifest\n";
    return 2;
  }
  try {
    const fs::path out = fs::absolute(argv[1]);
    const fs::path work = fs::temp_directory_path() / fs::unique_path("kzf-seeds-%%%%-%%%%");
    struct Cleanup {
      fs::path path;
      ~Cleanup() {
        boost::system::error_code ignored;
        fs::remove_all(path, ignored);
      }
    } cleanup{work};

    for (const char* kind : {"package", "filemanifest", "configmanifest"}) {
      fs::create_directories(out / kind);
    }
    makeTree(work / "tree");
    writeFile(work / "single" / "hello.txt", "hello\n");

    const kzf::KZFSettings settings = sampleSettings();
    struct Seed {
      const char* name;
      fs::path source;
      const kzf::KZFSettings* settings;
    };
    for (const Seed& seed :
         {Seed{"tree-with-settings", work / "tree", &settings},
          Seed{"tree", work / "tree", nullptr}, Seed{"single-file", work / "single", nullptr}}) {
      const fs::path package = out / "package" / (std::string(seed.name) + ".kzf");
      pack(seed.source, package, seed.settings);
      copyPart(package, u"/.META/filemanifest.xml",
               out / "filemanifest" / (std::string(seed.name) + ".xml"));
      copyPart(package, u"/.META/manifest.xml",
               out / "configmanifest" / (std::string(seed.name) + ".xml"));
    }
  } catch (const std::exception& e) {
    std::cerr << argv[0] << ": " << e.what() << "\n";
    return 1;
  }
  return 0;
}
