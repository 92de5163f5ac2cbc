// The package model over an in-memory container: lifecycle, parts, streams and state checks.
#include <gtest/gtest.h>

#include <opc/model/ContentType.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <optional>

#include "MemoryPhysicalPackage.hpp"
#include "OpcTestSupport.hpp"

namespace {

using opc::interfaces::CompressionType;
using opc::interfaces::OpenMode;
using opc::model::ContentType;
using opc::model::InvalidPackage;
using opc::model::InvalidPartName;
using opc::model::Package;
using opc::model::PackageStateError;
using opc::model::Part;
using opc::model::PartName;
using opc::model::StandardPartInfo;
using opctest::MemoryPhysicalPackage;
using opctest::readPart;
using opctest::writePart;
using ::testing::ElementsAre;

const ContentType kText("text/plain");
const StandardPartInfo kDeflated(1, 0);

class PackageTest : public ::testing::Test {
 protected:
  MemoryPhysicalPackage container;
};

TEST_F(PackageTest, CreatedPartsAreWrittenInOrderAndReadBack) {
  {
    Package package(container, true);
    package.open(OpenMode::Create);
    writePart(package.createPart(PartName(u"/app/f.m"), kText, kDeflated), "hello");
    writePart(package.createPart(PartName(u"/bin/tool"), ContentType("application/x-tool"),
                                 StandardPartInfo(CompressionType::Stored, 3)),
              "abc");
    package.close(false);
  }
  EXPECT_THAT(container.itemNames(), ElementsAre("app/f.m", "bin/tool", "[Content_Types].xml"));
  EXPECT_EQ(container.items()[0].compression, CompressionType::Deflated);
  EXPECT_EQ(container.items()[1].compression, CompressionType::Stored);
  EXPECT_EQ(container.items()[1].sizeHint, 3u);

  Package package(container, true);
  package.open(OpenMode::Read);
  std::vector<Part> parts = package.getParts();
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].getName().toString(), u"/app/f.m");
  EXPECT_EQ(parts[0].getContentType(), kText);
  EXPECT_EQ(readPart(parts[0]), "hello");
  EXPECT_EQ(parts[1].getContentType().toString(), "application/x-tool");
  EXPECT_EQ(readPart(package.getPart(PartName(u"/bin/tool"))), "abc");
}

TEST_F(PackageTest, EmptyPackageHoldsOnlyItsContentTypes) {
  Package package(container, true);
  package.open(OpenMode::Create);
  package.close(false);
  EXPECT_THAT(container.itemNames(), ElementsAre("[Content_Types].xml"));

  package.open(OpenMode::Read);
  EXPECT_TRUE(package.getParts().empty());
  EXPECT_TRUE(package.getRelationships().empty());
}

TEST_F(PackageTest, PartLookupsUseTheEquivalenceRule) {
  Package package(container, true);
  package.open(OpenMode::Create);
  package.createPart(PartName(u"/a/F.txt"), kText, kDeflated);
  EXPECT_TRUE(package.hasPart(PartName(u"/a/f.txt")));
  EXPECT_TRUE(package.hasPart(PartName(u"/A/F.TXT")));
  EXPECT_FALSE(package.hasPart(PartName(u"/a/F.txt.bak")));
  EXPECT_EQ(package.getPart(PartName(u"/a/f.TXT")).getName().toString(), u"/a/F.txt");
  EXPECT_OPC_ERROR(package.createPart(PartName(u"/a/f.txt"), kText, kDeflated), InvalidPartName,
                   "already has the equivalent part \"/a/F.txt\"");
  EXPECT_OPC_ERROR(package.getPart(PartName(u"/zz")), PackageStateError,
                   "memory.kzf: the package has no part \"/zz\"");
}

TEST_F(PackageTest, RelationshipPartNamesAreTheModelsOwn) {
  Package package(container, true);
  package.open(OpenMode::Create);
  for (const char16_t* name : {u"/_rels/.rels", u"/a/_rels/b.xml.rels"}) {
    EXPECT_OPC_ERROR(package.createPart(PartName(name), kText, kDeflated), InvalidPartName,
                     "relationship part name");
  }
  package.createPart(PartName(u"/a/b.rels"), kText,
                     kDeflated);  // not under _rels: an ordinary part
}

TEST_F(PackageTest, OnePartIsWrittenAtATime) {
  Package package(container, true);
  package.open(OpenMode::Create);
  Part first = package.createPart(PartName(u"/one"), kText, kDeflated);
  auto stream = first.getOutputStream();
  EXPECT_EQ(first.getOutputStream(), stream);
  Part copy = first;
  EXPECT_EQ(copy.getOutputStream(), stream);
  stream->write("1", 1);

  package.createPart(PartName(u"/two"), kText, kDeflated);
  EXPECT_OPC_ERROR(first.getOutputStream(), PackageStateError,
                   "the part \"/one\" is finished: another part was created after it");
  EXPECT_THROW(stream->write("x", 1), std::runtime_error);
  package.close(false);
  EXPECT_EQ(container.item("one"), "1");
}

TEST_F(PackageTest, OperationsCheckTheState) {
  Package package(container, true);
  EXPECT_FALSE(package.isOpen());
  EXPECT_OPC_ERROR(package.createPart(PartName(u"/a"), kText, kDeflated), PackageStateError,
                   "memory.kzf: cannot create a part: the package is not open");
  EXPECT_OPC_ERROR(package.hasPart(PartName(u"/a")), PackageStateError, "not open");
  package.close(false);  // closing a closed package does nothing

  package.open(OpenMode::Create);
  EXPECT_OPC_ERROR(package.open(OpenMode::Create), PackageStateError, "already open");
  Part part = package.createPart(PartName(u"/a"), kText, kDeflated);
  EXPECT_OPC_ERROR(part.getInputStream(), PackageStateError,
                   "cannot read a part: the package is open for creation");
  package.close(false);
  EXPECT_OPC_ERROR(part.getName(), PackageStateError, "not open");

  package.open(OpenMode::Read);
  EXPECT_OPC_ERROR(part.getName(), PackageStateError, "earlier opening of the package");
  EXPECT_OPC_ERROR(package.createPart(PartName(u"/b"), kText, kDeflated), PackageStateError,
                   "cannot create a part: the package is open for reading");
  EXPECT_OPC_ERROR(package.getPart(PartName(u"/a")).getOutputStream(), PackageStateError,
                   "open for reading");
}

TEST_F(PackageTest, AbandoningWritesNothing) {
  {
    Package package(container, true);
    package.open(OpenMode::Create);
    writePart(package.createPart(PartName(u"/a"), kText, kDeflated), "x");
    package.close(true);
  }
  {
    Package package(container, true);
    package.open(OpenMode::Create);
    package.createPart(PartName(u"/b"), kText, kDeflated);
  }  // destroyed while open
  EXPECT_EQ(container.abandonCount(), 2);
  EXPECT_TRUE(container.items().empty());
}

TEST_F(PackageTest, HandlesThatOutliveThePackageFailCleanly) {
  std::optional<Part> kept;
  {
    Package package(container, true);
    package.open(OpenMode::Create);
    kept = package.createPart(PartName(u"/a"), kText, kDeflated);
  }
  EXPECT_OPC_ERROR(kept->getOutputStream(), PackageStateError, "not open");
}

TEST_F(PackageTest, ReadingIndexesOnceAndNeverRescans) {
  container.addContentTypes("<Default Extension='txt' ContentType='text/plain'/>");
  for (int i = 0; i < 50; ++i) container.addItem("d/f" + std::to_string(i) + ".txt", "x");

  Package package(container, true);
  package.open(OpenMode::Read);
  for (int i = 0; i < 50; ++i) {
    std::string name = "d/f" + std::to_string(i) + ".txt";
    EXPECT_EQ(readPart(package.getPart(PartName(u"/" + opctest::u16(name)))), "x");
    EXPECT_EQ(container.openCount(name), 1);
  }
  EXPECT_EQ(container.openCount("[Content_Types].xml"), 1);
}

TEST_F(PackageTest, ItemsOfEquivalentNamesAreRefused) {
  container.addContentTypes("<Default Extension='txt' ContentType='text/plain'/>");
  container.addItem("Docs/a.txt", "1");
  container.addItem("docs/A.TXT", "2");
  for (bool strict : {true, false}) {
    Package package(container, strict);
    EXPECT_OPC_ERROR(
        package.open(OpenMode::Read), InvalidPackage,
        "memory.kzf: the items \"Docs/a.txt\" and \"docs/A.TXT\" have equivalent names");
    EXPECT_FALSE(package.isOpen());
    EXPECT_FALSE(container.isOpen());
  }
}

TEST_F(PackageTest, AContainerWithoutContentTypesIsNotAPackage) {
  container.addItem("a.txt", "1");
  Package package(container, true);
  EXPECT_OPC_ERROR(package.open(OpenMode::Read), InvalidPackage,
                   "memory.kzf: the package has no [Content_Types].xml item");
}

TEST_F(PackageTest, StrictReadingRefusesItemNamesThatAreNoPartNamesLenientSkipsThem) {
  container.addContentTypes("<Default Extension='txt' ContentType='text/plain'/>");
  container.addItem("good.txt", "1");
  container.addItem("raw space.txt", "2");
  container.addItem("folder/", "");  // a directory entry: no extension, so no part

  Package strict(container, true);
  EXPECT_OPC_ERROR(strict.open(OpenMode::Read), InvalidPartName,
                   "invalid part name \"/raw space.txt\"");

  Package lenient(container, false);
  lenient.open(OpenMode::Read);
  ASSERT_EQ(lenient.getParts().size(), 1u);
  EXPECT_EQ(lenient.getParts()[0].getName().toString(), u"/good.txt");
}

}  // namespace
