// A package whose zip another tool wrote anew (data descriptors, Zip64 blocks, unknown extra
// fields, a comment) opens and extracts to the tree that was packed.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ZipCheck.hpp>
#include <kzfpackage/kzfpackage.hpp>
#include <map>
#include <string>

#include "PackageTestSupport.hpp"

namespace {

namespace kzf = Quorlith::kzfpackage;
using kzftest::fs::path;

TEST(ForeignZipPackageTest, RewrittenByPythonExtractsAsPacked) {
  kzftest::TempDir tmp;
  kzftest::writeFile(tmp / "tree/bin/run.sh", "#!/bin/sh\n");
  ASSERT_EQ(::chmod((tmp / "tree/bin/run.sh").c_str(), 0750), 0);
  kzftest::writeFile(tmp / "tree/data/table.txt", std::string(5000, 't'));
  kzftest::fs::create_symlink("data/table.txt", tmp / "tree/table");
  std::map<fl::i18n::ustring, kzf::KZFRecordData> files;
  for (const char* name : {"bin", "bin/run.sh", "data", "data/table.txt", "table"}) {
    files.emplace(kzftest::u(tmp / "tree" / name),
                  kzf::KZFRecordData(fl::i18n::to_ustring(name), false, ""));
  }
  {
    kzf::KZFPackage out(kzftest::u(tmp / "own.kzf"), kzf::KZFFileReaderFactory());
    out.open(kzf::Create);
    out.addFileListToKZF(files);
    out.close();
  }
  auto rewritten = kzftest::detail::runCommand(
      "python3 " +
      kzftest::detail::shellQuote(KZF_TEST_SOURCE_DIR "/../../fuzz/make_zip_samples.py") +
      " --rewrite " + kzftest::detail::shellQuote((tmp / "own.kzf").string()) + " " +
      kzftest::detail::shellQuote((tmp / "foreign.kzf").string()));
  ASSERT_EQ(rewritten.exitCode, 0) << rewritten.output;

  kzf::KZFPackage in(kzftest::u(tmp / "foreign.kzf"), kzf::KZFFileReaderFactory());
  in.open(kzf::Read);
  in.extract(kzftest::u(tmp / "out"));
  in.close();
  EXPECT_EQ(kzftest::readFile(tmp / "out/bin/run.sh"), "#!/bin/sh\n");
  EXPECT_EQ(kzftest::readFile(tmp / "out/data/table.txt"), std::string(5000, 't'));
  EXPECT_EQ(kzftest::fs::read_symlink(tmp / "out/table"), path("data/table.txt"));
  struct stat info {};
  ASSERT_EQ(::stat((tmp / "out/bin/run.sh").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0750u);
}

}  // namespace
