// Writes the serializer's schema text and a saved manifest to files, for checks by outside
// XML tools. Usage: write_manifest_sample <schema file> <manifest file>
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <exception>
#include <fstream>
#include <iostream>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <opc/Stream.hpp>

namespace {

using Quorlith::kzfpackage::KZFExtractionManager;
using Quorlith::kzfpackage::KZFExtractionSerializer;
using Quorlith::kzfpackage::KZFFileEntry;
using Quorlith::kzfpackage::KZFFileEntryType;
namespace pt = boost::posix_time;

/// Every kind, with and without date and permissions, and names that need escaping.
KZFExtractionManager sampleManager() {
  KZFExtractionManager manager;
  KZFFileEntry file(u"app/f.m", u"/app/f.m", KZFFileEntryType::File);
  file.setDate(pt::ptime(boost::gregorian::date(2012, 7, 24), pt::time_duration(10, 20, 30)));
  file.setPermission(0644);
  manager.addEntry(u"/app/f.m", file);
  KZFFileEntry folder(u"app", u"app", KZFFileEntryType::Folder);
  folder.setDate(pt::ptime(boost::gregorian::date(2106, 2, 7),
                           pt::time_duration(6, 28, 16) + pt::microsec(250)));
  folder.setPermission(0755);
  manager.addEntry(u"app", folder);
  manager.addEntry(u"/app/link", KZFFileEntry(u"app/l\u00efnk & <more>", u"/app/link",
                                              KZFFileEntryType::SymLink));
  return manager;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " <schema file> <manifest file>\n";
    return 2;
  }
  try {
    std::ofstream schema(argv[1], std::ios::binary);
    schema << KZFExtractionSerializer::SCHEMA;
    std::ofstream manifest(argv[2], std::ios::binary);
    opc::StdOStreamAdaptor out(manifest);
    sampleManager().save(out, KZFExtractionSerializer());
    schema.close();
    manifest.close();
    if (!schema || !manifest) {
      std::cerr << argv[0] << ": cannot write " << argv[1] << " or " << argv[2] << "\n";
      return 1;
    }
  } catch (const std::exception& e) {
    std::cerr << argv[0] << ": " << e.what() << "\n";
    return 1;
  }
  return 0;
}
