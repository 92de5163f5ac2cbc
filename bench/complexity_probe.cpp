// The inputs of bench/complexity and the operation timed on each: `make CASE N FILE` writes the
// input of size N, `run CASE FILE` performs the operation once and prints the CPU seconds it took
// (the calling script reads the process's peak memory). Each case is a way a hostile package or a
// big tree could cost more than linear time or memory.
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <iostream>
#include <kzfpackage/kzfpackage.hpp>
#include <map>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/util/XercesHelper.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>
#include <zippackage/ZipReader.hpp>

namespace {

namespace fs = boost::filesystem;
namespace kzf = Quorlith::kzfpackage;
using fl::i18n::ustring;

ustring u(const fs::path& path) { return fl::i18n::to_ustring(path.string()); }
ustring u(const std::string& text) { return fl::i18n::to_ustring(text); }

kzf::KZFSettings settingsWithPaths(std::size_t n) {
  kzf::KZFSettings settings;
  settings.componentName = u"hostile";
  for (std::size_t i = 0; i < n; ++i)
    settings.velmorPath.push_back(u("/app/dir" + std::to_string(i)));
  return settings;
}

// --- inputs -------------------------------------------------------------------------------

// A configuration manifest declaring and referencing n directories.
void makeConfigManifest(std::size_t n, const fs::path& file) {
  fs::ofstream text(file, std::ios::binary);
  opc::StdOStreamAdaptor out(text);
  kzf::KZFSettingsSerializer().save(out, settingsWithPaths(n));
}

// A configuration manifest whose feature list (carried through unread) holds n attributes on
// elements of as many attributes as the parser takes (more are refused at once).
void makeWideElement(std::size_t n, const fs::path& file) {
  std::ostringstream text;
  opc::StdOStreamAdaptor out(text);
  kzf::KZFSettingsSerializer().save(out, settingsWithPaths(1));
  std::string document = text.str();
  const std::size_t perElement = opc::util::XercesHelper::kMaxAttributesPerElement;
  std::string feature = "<lm-feature-list><feature";
  for (std::size_t i = 0; i < n; ++i) {
    if (i != 0 && i % perElement == 0) feature += "/><feature";
    feature += " a" + std::to_string(i % perElement) + "=\"v\"";
  }
  feature += "/></lm-feature-list>";
  std::size_t end = document.find("</configuration>");
  if (end == std::string::npos) throw std::runtime_error("no configuration element to widen");
  document.insert(end, feature);
  fs::ofstream(file, std::ios::binary) << document;
}

// A package holding one small file and settings of n directories.
void makeSettingsPackage(std::size_t n, const fs::path& file) {
  const fs::path source = file.string() + ".src";
  fs::create_directories(source);
  fs::ofstream(source / "f.txt") << "f\n";
  kzf::KZFPackage package(u(file), kzf::KZFFileReaderFactory());
  package.open(kzf::Create);
  std::map<ustring, kzf::KZFRecordData> files;
  files.emplace(u(source / "f.txt"), kzf::KZFRecordData(u"f.txt", false, ""));
  package.addFileListToKZF(files);
  package.setKZFSettings(settingsWithPaths(n));
  package.close();
  fs::remove_all(source);
}

// A bare zip of n empty stored items.
void makeZip(std::size_t n, const fs::path& file) {
  opc::zippackage::ZipPhysicalPackage zip(u(file), false, false);
  zip.open(opc::interfaces::OpenMode::Create);
  for (std::size_t i = 0; i < n; ++i) {
    zip.createItem("item" + std::to_string(i), opc::interfaces::CompressionType::Stored, 0);
  }
  zip.close(false);
}

// A package of n parts without an extension, so that each has an Override of its own; with
// `relationships`, the package also has n relationships.
void makeOpcPackage(std::size_t n, const fs::path& file, bool relationships) {
  opc::zippackage::ZipPhysicalPackage zip(u(file), false, false);
  opc::model::Package package(zip, true);
  package.open(opc::interfaces::OpenMode::Create);
  const opc::model::ContentType type("application/x-probe");
  const opc::model::StandardPartInfo info(opc::interfaces::CompressionType::Stored, 0);
  for (std::size_t i = 0; i < n; ++i) {
    const ustring name = u("/part" + std::to_string(i));
    package.createPart(opc::model::PartName(name), type, info);
    if (relationships) {
      package.createInternalRelationship(u"http://example.com/probe", opc::model::URI(name), u"");
    }
  }
  package.close(false);
}

// A file manifest of n entries; `shared` gives them all one name, `nameLength` pads each name.
void makeFileManifest(std::size_t n, const fs::path& file, bool shared, std::size_t nameLength) {
  kzf::KZFExtractionManager one;
  kzf::KZFFileEntry entry(u"@NAME@", u"/@NAME@", kzf::KZFFileEntryType::File);
  entry.setPermission(0100644);
  one.addEntry(u"/@NAME@", entry);
  std::ostringstream text;
  opc::StdOStreamAdaptor out(text);
  one.save(out, kzf::KZFExtractionSerializer());
  const std::string document = text.str();
  // The entry element is the line that holds the name; it is repeated n times.
  std::size_t at = document.find("@NAME@");
  std::size_t start = document.rfind('<', at);
  while (start > 0 && document[start - 1] != '\n' && document[start - 1] != '>') --start;
  std::size_t end = document.find('\n', document.find("@NAME@", document.find("@NAME@", at) + 1));
  if (end == std::string::npos) end = document.find("/>", at) + 2;
  const std::string element = document.substr(start, end - start);
  fs::ofstream result(file, std::ios::binary);
  result << document.substr(0, start);
  const std::string pad(nameLength, 'x');
  for (std::size_t i = 0; i < n; ++i) {
    std::string name = shared ? "same" : "e" + std::to_string(i) + pad;
    std::string copy = element;
    for (std::size_t p; (p = copy.find("@NAME@")) != std::string::npos;) copy.replace(p, 6, name);
    result << copy;
  }
  result << document.substr(end);
}

// A tree of n links, each to the next, the last to a file.
void makeLinkChain(std::size_t n, const fs::path& tree) {
  fs::create_directories(tree);
  fs::ofstream(tree / "target") << "t\n";
  std::string previous = "target";
  for (std::size_t i = 0; i < n; ++i) {
    std::string name = "link" + std::to_string(i);
    fs::create_symlink(previous, tree / name);
    previous = name;
  }
}

// The names of n nested folders add up to n squared bytes, so the tree of size n is sqrt(n)
// levels deep: the cost is compared with the bytes the names take.
void makeNesting(std::size_t n, const fs::path& tree) {
  const auto depth = static_cast<std::size_t>(std::sqrt(static_cast<double>(n)));
  fs::path folder = tree;
  for (std::size_t i = 0; i < depth; ++i) folder /= "d";
  fs::create_directories(folder);
  fs::ofstream(folder / "f") << "f\n";
}

// --- operations ---------------------------------------------------------------------------

void loadConfigManifest(const fs::path& file) {
  fs::ifstream text(file, std::ios::binary);
  opc::StdIStreamAdaptor in(text);
  kzf::KZFSettings settings;
  kzf::KZFSettingsSerializer().load(in, settings);
}

void openPackage(const fs::path& file) {
  kzf::KZFPackage package(u(file), kzf::KZFFileReaderFactory());
  package.open(kzf::Read);
  package.close();
}

void readZip(const fs::path& file) {
  opc::zippackage::ZipReader reader(file.string());
  char buffer[64];
  for (std::size_t i = 0; i < reader.items().size(); ++i) {
    auto item = reader.openItemAt(i);
    while (!item->isEOF()) item->read(buffer, sizeof buffer);
  }
}

void readOpcPackage(const fs::path& file) {
  opc::zippackage::ZipPhysicalPackage zip(u(file), false, false);
  opc::model::Package package(zip, true);
  package.open(opc::interfaces::OpenMode::Read);
  for (const opc::model::Part& part : package.getParts()) package.hasPart(part.getName());
  package.getRelationships();
  package.close(false);
}

void loadFileManifest(const fs::path& file) {
  fs::ifstream text(file, std::ios::binary);
  opc::StdIStreamAdaptor in(text);
  kzf::KZFExtractionManager manager;
  try {
    manager.load(in, kzf::KZFExtractionSerializer());
  } catch (const fl::i18n::DeployedException&) {
    // many entries sharing a name end in a refusal; its cost is what is measured
  }
}

// Packs the tree beside FILE (FILE.tree) and extracts the package again.
void packAndExtract(const fs::path& file) {
  const fs::path tree = file.string() + ".tree";
  std::map<ustring, kzf::KZFRecordData> files;
  for (fs::recursive_directory_iterator it(tree), end; it != end; ++it) {
    std::string relative = it->path().string().substr(tree.string().size() + 1);
    files.emplace(u(it->path()), kzf::KZFRecordData(u(relative), false, ""));
  }
  {
    kzf::KZFPackage out(u(file), kzf::KZFFileReaderFactory());
    out.open(kzf::Create);
    out.addFileListToKZF(files);
    out.close();
  }
  const fs::path root = file.string() + ".out";
  kzf::KZFPackage in(u(file), kzf::KZFFileReaderFactory());
  in.open(kzf::Read);
  in.extract(u(root));
  in.close();
}

double cpuSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Case {
  std::function<void(std::size_t, const fs::path&)> make;
  std::function<void(const fs::path&)> run;
};

const std::map<std::string, Case>& cases() {
  static const std::map<std::string, Case> all = {
      {"config-manifest-references", {makeConfigManifest, loadConfigManifest}},
      {"config-manifest-wide-element", {makeWideElement, loadConfigManifest}},
      {"package-settings-references", {makeSettingsPackage, openPackage}},
      {"zip-central-directory", {makeZip, readZip}},
      {"content-type-overrides",
       {[](std::size_t n, const fs::path& f) { makeOpcPackage(n, f, false); }, readOpcPackage}},
      {"relationships",
       {[](std::size_t n, const fs::path& f) { makeOpcPackage(n, f, true); }, readOpcPackage}},
      {"file-manifest-entries",
       {[](std::size_t n, const fs::path& f) { makeFileManifest(n, f, false, 0); },
        loadFileManifest}},
      {"file-manifest-long-names",
       {[](std::size_t n, const fs::path& f) { makeFileManifest(n, f, false, 4000); },
        loadFileManifest}},
      {"file-manifest-shared-name",
       {[](std::size_t n, const fs::path& f) { makeFileManifest(n, f, true, 0); },
        loadFileManifest}},
      {"link-chain",
       {[](std::size_t n, const fs::path& f) { makeLinkChain(n, f.string() + ".tree"); },
        packAndExtract}},
      {"folder-nesting",
       {[](std::size_t n, const fs::path& f) { makeNesting(n, f.string() + ".tree"); },
        packAndExtract}},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "list" && argc == 2) {
      for (const auto& entry : cases()) std::cout << entry.first << "\n";
      return 0;
    }
    auto found = argc > 2 ? cases().find(argv[2]) : cases().end();
    if (found != cases().end() && verb == "make" && argc == 5) {
      found->second.make(std::stoul(argv[3]), argv[4]);
      return 0;
    }
    if (found != cases().end() && verb == "run" && argc == 4) {
      // CPU time rather than wall time: the machine is shared, and what is measured is the
      // work done, which other processes' load does not change.
      const double start = cpuSeconds();
      found->second.run(argv[3]);
      std::cout << cpuSeconds() - start << "\n";
      return 0;
    }
    std::cerr << "usage: " << argv[0] << " list | make CASE N FILE | run CASE FILE\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << argv[0] << ": " << e.what() << "\n";
    return 1;
  }
}
