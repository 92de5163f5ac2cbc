// Shapes a big tree or a hostile package may take and that extraction must carry through:
// long chains of links to links, and deep nesting.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <kzfpackage/kzfpackage.hpp>
#include <map>
#include <string>

#include "PackageTestSupport.hpp"
#include "PathSafety.hpp"
#include "TempDir.hpp"

namespace {

namespace pathsafety = Quorlith::kzfpackage::pathsafety;
namespace kzf = Quorlith::kzfpackage;
namespace fs = boost::filesystem;

TEST(DeepTreeTest, ALongChainOfLinksToLinksStaysInside) {
  // link0 -> target, link1 -> link0, ... : each link names the next by its last component,
  // which is judged as an entry of its own, so the chain is not a loop however long it is.
  std::map<std::string, std::string> links;
  std::string previous = "dir/target";
  for (int i = 0; i < 1000; ++i) {
    links["dir/link" + std::to_string(i)] = previous.substr(previous.rfind('/') + 1);
    previous = "dir/link" + std::to_string(i);
  }
  for (const auto& [name, target] : links) {
    EXPECT_NO_THROW(pathsafety::checkLinkTarget(
        pathsafety::checkEntryName(fl::i18n::to_ustring(name)), target, links));
  }
  // Followed as a folder, the same chain is one the kernel refuses too.
  EXPECT_THROW(pathsafety::checkLinkTarget(pathsafety::checkEntryName(u"l"),
                                           "dir/" + previous.substr(4) + "/x", links),
               std::runtime_error);
}

TEST(DeepTreeTest, DeepNestingExtractsLevelByLevel) {
  // Each folder is reached from the one above it, which extraction holds open; a file beside
  // each fiftieth folder makes it leave the chain and come back.
  kzftest::TempDir tmp;
  fs::path folder = tmp / "tree";
  std::map<fl::i18n::ustring, kzf::KZFRecordData> files;
  std::string name;
  for (int level = 0; level < 300; ++level) {
    folder /= "d";
    name += name.empty() ? "d" : "/d";
    fs::create_directories(folder);
    files.emplace(kzftest::u(folder), kzf::KZFRecordData(fl::i18n::to_ustring(name), false, ""));
    if (level % 50 == 0) {
      kzftest::writeFile(folder / "f", std::to_string(level));
      files.emplace(kzftest::u(folder / "f"),
                    kzf::KZFRecordData(fl::i18n::to_ustring(name + "/f"), false, ""));
    }
  }
  {
    kzf::KZFPackage out(kzftest::u(tmp / "deep.kzf"), kzf::KZFFileReaderFactory());
    out.open(kzf::Create);
    out.addFileListToKZF(files);
    out.close();
  }
  kzf::KZFPackage in(kzftest::u(tmp / "deep.kzf"), kzf::KZFFileReaderFactory());
  in.open(kzf::Read);
  in.extract(kzftest::u(tmp / "out"));
  in.close();
  fs::path extracted = tmp / "out";
  for (int level = 0; level < 300; ++level) {
    extracted /= "d";
    if (level % 50 == 0) {
      ASSERT_EQ(kzftest::readFile(extracted / "f"), std::to_string(level));
    }
  }
  EXPECT_TRUE(fs::is_directory(extracted));
  EXPECT_TRUE(fs::is_empty(extracted));
}

}  // namespace
