// Packages in real zip files: round trips checked by unzip and Python, and a package laid out
// by another writer.
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cstdint>
#include <opc/model/ContentType.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/PackageHelper.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/URI.hpp>
#include <opc/zippackage/ZipPhysicalPackage.hpp>

#include "OpcTestSupport.hpp"
#include "TempDir.hpp"
#include "ZipCheck.hpp"

namespace {

namespace pt = boost::posix_time;
using opc::ustring;
using opc::interfaces::OpenMode;
using opc::model::ContentType;
using opc::model::CoreProperties;
using opc::model::Package;
using opc::model::PackageHelper;
using opc::model::Part;
using opc::model::PartName;
using opc::model::StandardPartInfo;
using opc::model::URI;
using opc::zippackage::ZipPhysicalPackage;
using opctest::readPart;

const ustring kType = u"http://example.com/relationships/test";

/// A part to write: its unencoded name and a content that is `size` bytes of a pattern.
struct FilePart {
  ustring name;
  std::string contentType;
  std::uint64_t size;
};

char patternByte(std::uint64_t i, std::uint64_t seed) {
  return static_cast<char>((i * 131 + seed * 7 + (i >> 12)) & 0xFF);
}

void writePattern(Part part, std::uint64_t size, std::uint64_t seed) {
  auto out = part.getOutputStream();
  std::string block;
  for (std::uint64_t done = 0; done < size; done += block.size()) {
    block.resize(std::min<std::uint64_t>(1 << 16, size - done));
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = patternByte(done + i, seed);
    out->write(block.data(), block.size());
  }
}

/// Reads the part and checks it against the pattern without holding it all.
void expectPattern(const Part& part, std::uint64_t size, std::uint64_t seed) {
  auto in = part.getInputStream();
  char buffer[1 << 16];
  std::uint64_t offset = 0;
  for (std::size_t n; (n = in->read(buffer, sizeof buffer)) > 0; offset += n) {
    for (std::size_t i = 0; i < n; ++i) {
      if (buffer[i] != patternByte(offset + i, seed)) {
        FAIL() << "byte " << offset + i << " differs";
      }
    }
  }
  EXPECT_EQ(offset, size);
}

struct RoundTripRow {
  const char* label;
  std::vector<FilePart> parts;
};

class PackageFileRoundTripTest : public kzftest::TempDirTest,
                                 public ::testing::WithParamInterface<RoundTripRow> {};

TEST_P(PackageFileRoundTripTest, ReadsBackWhatWasWrittenAsAValidZip) {
  const std::vector<FilePart>& parts = GetParam().parts;
  ustring path = opc::toString((tmp / "package.kzf").string());
  CoreProperties properties;
  properties.creator = u"round trip";
  properties.created = pt::ptime(boost::gregorian::date(2024, 1, 2), pt::seconds(3));
  {
    ZipPhysicalPackage zip(path, false, false);
    Package package(zip, true);
    package.open(OpenMode::Create);
    for (std::size_t i = 0; i < parts.size(); ++i) {
      PartName name(u"/" + URI::encodeComponent(parts[i].name, "/"));
      Part part = package.createPart(name, ContentType(parts[i].contentType),
                                     StandardPartInfo(1, parts[i].size));
      writePattern(part, parts[i].size, i);
      package.createInternalRelationship(kType, name.getURI(), u"");
    }
    PackageHelper::createOrUpdateCoreProperties(package, properties);
    package.close(false);
  }
  kzftest::expectValidZip(tmp / "package.kzf");

  ZipPhysicalPackage zip(path, false, false);
  Package package(zip, true);
  package.open(OpenMode::Read);
  EXPECT_EQ(package.getParts().size(), parts.size() + 1);  // and the core properties
  std::vector<opc::model::Relationship> relationships = package.getRelationshipsByType(kType);
  ASSERT_EQ(relationships.size(), parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    PartName name(u"/" + URI::encodeComponent(parts[i].name, "/"));
    EXPECT_NE(zip.findItem(name.getItemName()), nullptr) << name.getItemName();
    Part part = package.getPart(PartName(relationships[i].getTargetURI(true)));
    EXPECT_EQ(part.getName(), name);
    EXPECT_EQ(part.getContentType().toString(), parts[i].contentType);
    expectPattern(part, parts[i].size, i);
  }
  EXPECT_EQ(PackageHelper::getCoreProperties(package), properties);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PackageFileRoundTripTest,
    ::testing::Values(
        RoundTripRow{"Empty", {}},
        RoundTripRow{"Small",
                     {{u"app/f.m", "application/vnd.x.code;charset=utf-8", 5},
                      {u"app/empty.txt", "text/plain", 0},
                      {u"bin/tool.vxfa64", "application/x-exe;platform=glnxa64", 3000}}},
        RoundTripRow{"AwkwardNames",
                     {{u"dir with spaces/a b.txt", "text/plain", 10},
                      {u"100%/50%.txt", "text/plain", 11},
                      {u"notes/#1 [draft]?.txt", "text/plain", 12},
                      {u"\u00e9t\u00e9/\u65e5\u672c\u8a9e.txt", "text/plain", 13},
                      {u"emoji/\U0001F600", "application/octet-stream", 14},
                      {u"links/a\\b", "application/x-link", 15}}},
        RoundTripRow{"TwentyMegabytePart",
                     {{u"data/big.bin", "application/octet-stream", 20u * 1024 * 1024}}}),
    opctest::RowLabel());

// A package as another writer lays it out: "[Content_Types].xml" last, relationship ids such
// as "Re0", byte-order marks, core properties under an unusual name reached through the
// older relationship type, upper-case extensions, a folder entry and an item without a type.
constexpr const char* kForeignWriter = R"(
import sys, zipfile
BOM = '\ufeff'
rels = BOM + '''<?xml version="1.0" encoding="utf-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Type="http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties" Target="/package/services/metadata/core-properties/5a1b.psmdcp" Id="Re0" />
  <Relationship Type="http://example.com/main" Target="/Content/Main%20File.XML" Id="R9f1" />
</Relationships>'''
core = BOM + '''<?xml version="1.0" encoding="utf-8"?>
<coreProperties xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns="http://schemas.openxmlformats.org/package/2006/metadata/core-properties">
  <dc:creator>Someone Else</dc:creator>
  <dcterms:created xsi:type="dcterms:W3CDTF">2021-06-01T12:00:00.5+02:00</dcterms:created>
  <keywords>a b c</keywords>
  <version>1.0.0</version>
</coreProperties>'''
types = BOM + '''<?xml version="1.0" encoding="utf-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml" />
  <Default Extension="XML" ContentType="application/xml" />
  <Override PartName="/package/services/metadata/core-properties/5a1b.psmdcp" ContentType="application/vnd.openxmlformats-package.core-properties+xml" />
</Types>'''
with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('_rels/.rels', rels.encode('utf-8'))
    z.writestr('Content/', b'')
    z.writestr('Content/Main%20File.XML', b'<main/>')
    z.writestr('Content/notes', b'no content type')
    z.writestr('package/services/metadata/core-properties/5a1b.psmdcp', core.encode('utf-8'))
    z.writestr('[Content_Types].xml', types.encode('utf-8'))
)";

class ForeignPackageTest : public kzftest::TempDirTest {};

TEST_F(ForeignPackageTest, APackageLaidOutByAnotherWriterIsRead) {
  auto script = tmp / "writer.py";
  auto file = tmp / "foreign.zip";
  boost::filesystem::ofstream(script) << kForeignWriter;
  auto written =
      kzftest::detail::runCommand("python3 " + kzftest::detail::shellQuote(script.string()) + " " +
                                  kzftest::detail::shellQuote(file.string()));
  ASSERT_EQ(written.exitCode, 0) << written.output;

  ZipPhysicalPackage zip(opc::toString(file.string()), false, false);
  Package package(zip, true);
  package.open(OpenMode::Read);
  std::vector<Part> parts = package.getParts();
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].getName().toString(), u"/Content/Main%20File.XML");
  EXPECT_FALSE(package.hasPart(PartName(u"/Content/notes")));

  auto main = package.getRelationshipsByType(u"http://example.com/main");
  ASSERT_EQ(main.size(), 1u);
  EXPECT_EQ(main[0].getId(), u"R9f1");
  EXPECT_EQ(readPart(package.getPart(PartName(main[0].getTargetURI(true)))), "<main/>");
  EXPECT_EQ(package.getPart(PartName(u"/content/main%20file.xml")).getContentType().toString(),
            "application/xml");

  CoreProperties properties = PackageHelper::getCoreProperties(package);
  EXPECT_EQ(properties.creator, u"Someone Else");
  EXPECT_EQ(properties.keywords, u"a b c");
  EXPECT_EQ(properties.version, u"1.0.0");
  EXPECT_EQ(properties.created,
            pt::ptime(boost::gregorian::date(2021, 6, 1), pt::hours(10) + pt::milliseconds(500)));
  EXPECT_TRUE(properties.modified.is_not_a_date_time());
}

}  // namespace
