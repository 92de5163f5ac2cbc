// A client of the installed library: creates a package, reads it back, extracts it and catches
// two of its errors by type (one by identifier). Prints "consumer: ok" when all of that works.
#include <fstream>
#include <iostream>
#include <iterator>
#include <kzfpackage/kzfpackage.hpp>
#include <sstream>
#include <string>

using namespace Quorlith::kzfpackage;

int main(int argc, char** argv) {
  auto failed = [](const std::string& what) {
    std::cerr << "consumer: " << what << '\n';
    return 1;
  };
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
  in.extract(fl::i18n::to_ustring(work + "/out"));
  in.close();
  std::ifstream extracted(work + "/out/app/hello.m");
  if (std::string(std::istreambuf_iterator<char>(extracted), {}) != "disp hello\n") {
    return failed("extracted content differs");
  }
  // The exception types and the identifier cross the library boundary intact.
  try {
    KZFPackage(fl::i18n::to_ustring(work + "/missing.kzf"), KZFFileReaderFactory()).open(Read);
    return failed("opening a missing package did not fail");
  } catch (const fl::i18n::DeployedException& e) {
    if (e.identifier() != "KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE") return failed(e.identifier());
  }
  try {
    std::istringstream manifest("<manifest>");
    opc::StdIStreamAdaptor stream(manifest);
    KZFSettingsSerializer().load(stream, settings);
    return failed("loading a malformed manifest did not fail");
  } catch (const xsd_binder::MalformedDocumentError& e) {
    if (e.reason().empty()) return failed("the malformed manifest error gives no reason");
  }
  std::cout << "consumer: ok\n";
  return 0;
}
