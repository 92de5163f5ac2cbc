// A client of the installed library: creates a package, reads it back, extracts it and catches
// two of its errors by type (one by identifier). Prints "consumer: ok" when all of that works.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <kzfpackage/kzfpackage.hpp>
#include <sstream>
#include <string>

using namespace Quorlith::kzfpackage;

namespace {

int failed(const std::string& what) {
  std::cerr << "consumer: " << what << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return failed("usage: consumer WORK-FOLDER");
  const std::string work = argv[1];
  std::ofstream(work + "/hello.m") << "disp hello\n";

  KZFPackage out(fl::i18n::to_ustring(work + "/hello.kzf"), KZFFileReaderFactory());
  out.open(Create);
  std::map<ustring, KZFRecordData> files;
  files.emplace(fl::i18n::to_ustring(work + "/hello.m"), KZFRecordData(u"app/hello.m", false, ""));
  out.addFileListToKZF(files);
  KZFSettings settings;
  settings.componentName = u"hello";
  out.setKZFSettings(settings);
  out.close();

  KZFPackage in(fl::i18n::to_ustring(work + "/hello.kzf"), KZFFileReaderFactory());
  in.open(Read);
  if (in.getKZFSettings().componentName != u"hello") return failed("settings not read back");
  // The file manifest also lists the configuration manifest, which extraction writes too.
  const std::vector<KZFEntryInfo> entries = in.listEntries();
  const auto hello = std::find_if(entries.begin(), entries.end(), [](const KZFEntryInfo& info) {
    return info.entry.getName() == u"app/hello.m";
  });
  if (hello == entries.end() || hello->size != 11) return failed("app/hello.m not listed");
  in.extract(fl::i18n::to_ustring(work + "/out"));
  in.close();
  std::ifstream extracted(work + "/out/app/hello.m");
  std::stringstream text;
  text << extracted.rdbuf();
  if (text.str() != "disp hello\n") return failed("extracted content differs");

  // The exception type and its identifier cross the library boundary intact.
  try {
    KZFPackage missing(fl::i18n::to_ustring(work + "/missing.kzf"), KZFFileReaderFactory());
    missing.open(Read);
    return failed("opening a missing package did not fail");
  } catch (const fl::i18n::DeployedException& e) {
    if (e.identifier() != "KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE") {
      return failed("unexpected identifier " + e.identifier());
    }
  }
  // So does the binding's error for a malformed configuration manifest.
  try {
    std::istringstream manifest("<manifest>");
    opc::StdIStreamAdaptor stream(manifest);
    KZFSettings loaded;
    KZFSettingsSerializer().load(stream, loaded);
    return failed("loading a malformed manifest did not fail");
  } catch (const xsd_binder::MalformedDocumentError& e) {
    if (e.reason().empty()) return failed("the malformed manifest error gives no reason");
  }
  std::cout << "consumer: ok\n";
  return 0;
}
