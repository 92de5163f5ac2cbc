// Readers: the plain file reader's blocks, errno codes and link texts; which factory handle
// serves a name; byte arrays and metadata.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TempDir.hpp>
#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <cerrno>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <sstream>
#include <utility>

#include "ReversingReaderHandle.hpp"
#include "RowLabel.hpp"

namespace {

using namespace Quorlith::kzfdatainterfaces;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

fl::i18n::ustring upath(const boost::filesystem::path& path) {
  return fl::i18n::utf8_to_ustring(path.string());  // the C locale counts as UTF-8
}

/// Reads to the end; the sizes of the reads in `counts`.
std::string readAll(KZFFileReader& reader, std::vector<long>* counts = nullptr) {
  KZFMetaData meta;
  std::string got;
  char buffer[16384];
  long n;
  while ((n = reader.read(buffer, sizeof buffer, meta)) > 0) {
    got.append(buffer, n);
    if (counts) counts->push_back(n);
  }
  EXPECT_EQ(n, 0) << "error " << reader.getErrorCode();
  EXPECT_EQ(reader.read(buffer, sizeof buffer, meta), 0) << "the end stays the end";
  return got;
}

class PlainFileReaderTest : public kzftest::TempDirTest {
 protected:
  std::unique_ptr<KZFFileReader> reader(const fl::i18n::ustring& name) {
    return KZFFileReaderFactory().getReader(upath(tmp.path()) + u"/" + name);
  }
  void write(const std::string& name, const std::string& bytes) {
    boost::filesystem::ofstream(tmp / name, std::ios::binary) << bytes;
  }
  KZFMetaData meta;
  char buffer[64];
};

TEST_F(PlainFileReaderTest, ReadsInFullBlocksFromTheFirstReadOn) {
  std::string bytes(300'007, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
  auto later = reader(u"d\u00e9j\u00e0.bin");  // opened only at the first read
  write("d\u00e9j\u00e0.bin", bytes);
  std::vector<long> counts;
  EXPECT_TRUE(readAll(*later, &counts) == bytes);
  ASSERT_EQ(counts.size(), 19u);  // 18 full blocks and the rest
  EXPECT_EQ(std::count(counts.begin(), counts.end(), 16384), 18);
}

struct FailureRow {
  std::string label;
  fl::i18n::ustring path;  // below the temporary folder, which holds "file" and "dir"
  bool readLink;
  int errorCode;
};

class PlainFileReaderFailureTest : public PlainFileReaderTest,
                                   public ::testing::WithParamInterface<FailureRow> {};

TEST_P(PlainFileReaderFailureTest, FailsWithTheNegatedErrno) {
  write("file", "data");
  boost::filesystem::create_directory(tmp / "dir");
  auto failing = reader(GetParam().path);
  EXPECT_EQ(GetParam().readLink ? failing->readLink(buffer, sizeof buffer, meta)
                                : failing->read(buffer, sizeof buffer, meta),
            -1);
  EXPECT_EQ(failing->getErrorCode(), GetParam().errorCode);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, PlainFileReaderFailureTest,
    ::testing::Values(FailureRow{"MissingFile", u"missing.m", false, -ENOENT},
                      FailureRow{"PathThroughAFile", u"file/f.m", false, -ENOTDIR},
                      FailureRow{"Folder", u"dir", false, -EISDIR},
                      FailureRow{"NoNarrowForm", u"bad\xD800", false, -EILSEQ},
                      FailureRow{"LinkOfNoNarrowForm", u"bad\xD800", true, -EILSEQ},
                      FailureRow{"RegularFileIsNoLink", u"file", true, -EINVAL}),
    kzftest::RowLabel());

TEST_F(PlainFileReaderTest, ReadsTheLinkTextEvenWhenDanglingButNeverACutOne) {
  boost::filesystem::create_symlink("../elsewhere/target.m", tmp / "dangling");
  auto link = reader(u"dangling");
  ASSERT_EQ(link->readLink(buffer, sizeof buffer, meta), 21) << link->getErrorCode();
  EXPECT_EQ(std::string(buffer, 21), "../elsewhere/target.m");
  EXPECT_EQ(link->readLink(buffer, 21, meta), -1) << "a text filling the buffer may be cut";
  EXPECT_EQ(link->getErrorCode(), -ENAMETOOLONG);
  EXPECT_EQ(link->readLink(buffer, 22, meta), 21);
}

/// Claims the names ending in its suffix and serves reversing readers for them, or none.
class SuffixHandle : public KZFReaderFactoryHandle {
 public:
  SuffixHandle(fl::i18n::ustring suffix, bool transforms, bool serves = true)
      : reversing_({std::move(suffix)}), transforms_(transforms), serves_(serves) {}
  bool claims(const fl::i18n::ustring& name) const override { return reversing_.claims(name); }
  bool transforms(const fl::i18n::ustring&) const override { return transforms_; }
  std::unique_ptr<KZFFileReader> createFileReader(const fl::i18n::ustring& name) const override {
    return serves_ ? reversing_.createFileReader(name) : nullptr;
  }
  std::unique_ptr<KZFStreamReader> createStreamReader(const fl::i18n::ustring& name,
                                                      opc::InputStream& in) const override {
    return serves_ ? reversing_.createStreamReader(name, in) : nullptr;
  }

 private:
  kzftest::ReversingReaderHandle reversing_;
  bool transforms_;
  bool serves_;
};

std::string asString(const KZFByteArray& bytes) { return std::string(bytes.begin(), bytes.end()); }

TEST_F(PlainFileReaderTest, TheFirstClaimingHandleServesAndDecides) {
  // The second ".m" handle would fail to serve: only the first is asked.
  KZFFileReaderFactory factory({std::make_shared<SuffixHandle>(u".m", false),
                                std::make_shared<SuffixHandle>(u".m", true, false)});
  factory.addHandle(std::make_shared<SuffixHandle>(u".p", true));
  EXPECT_FALSE(factory.willBeTransformed(u"app/f.m"));
  EXPECT_TRUE(factory.willBeTransformed(u"app/f.p"));
  EXPECT_FALSE(factory.willBeTransformed(u"app/f.txt"));
  for (const char* name : {"f.m", "f.p", "f.txt"}) write(name, "abc");
  EXPECT_EQ(readAll(*factory.getReader(upath(tmp / "f.m"))), "cba");
  EXPECT_EQ(readAll(*factory.getReader(upath(tmp / "f.p"))), "cba");
  EXPECT_EQ(readAll(*factory.getReader(upath(tmp / "f.txt"))), "abc");
  std::istringstream stored(std::string(200'000, 'x') + "y");
  opc::StdIStreamAdaptor in(stored);
  EXPECT_EQ(asString(factory.getReader(u"app/f.m", in)->readAll()),
            "y" + std::string(200'000, 'x'));
  std::istringstream unclaimed("abc");
  opc::StdIStreamAdaptor plain(unclaimed);
  EXPECT_EQ(asString(factory.getReader(u"data.bin", plain)->readAll()), "abc");
}

TEST(ReaderFactoryTest, NullHandlesAndMissingReadersAreReported) {
  const std::vector<std::shared_ptr<KZFReaderFactoryHandle>> handles = {
      std::make_shared<SuffixHandle>(u".m", true), nullptr};
  EXPECT_THAT([&] { KZFFileReaderFactory nullSecond(handles); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 1 is null")));
  EXPECT_THAT([] { KZFFileReaderFactory().addHandle(nullptr); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 0 is null")));
  KZFFileReaderFactory factory({std::make_shared<SuffixHandle>(u".m", true, false)});
  EXPECT_THAT([&] { factory.getReader(u"/src/f.m"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("'/src/f.m' returned no file reader")));
  std::istringstream stored("x");
  opc::StdIStreamAdaptor in(stored);
  EXPECT_THAT([&] { factory.getReader(u"app/f.m", in); },
              ThrowsMessage<std::runtime_error>(HasSubstr("'app/f.m' returned no stream reader")));
}

TEST(ByteArrayAndMetaData, KeepEveryByteAndNameAMissingKey) {
  const std::string raw("a\0b\xff", 4);
  KZFByteArray a(raw.data(), raw.size());
  EXPECT_TRUE(a == KZFByteArray(std::vector<char>(raw.begin(), raw.end())));
  EXPECT_TRUE(KZFByteArray(nullptr, 0) != KZFByteArray(std::string(1, '\0')));
  a.append(a);  // appending itself
  EXPECT_EQ(asString(a), raw + raw);
  KZFMetaData meta;
  meta.set("cipher", "none");
  meta.set("cipher", "aes");
  EXPECT_EQ(meta.get("cipher"), "aes");
  EXPECT_FALSE(meta.has("key-id"));
  EXPECT_THAT([&] { meta.get("key-id"); },
              ThrowsMessage<std::out_of_range>(HasSubstr("metadata property 'key-id' is not set")));
}

}  // namespace
