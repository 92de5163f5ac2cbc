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

#include "RowLabel.hpp"

namespace {

using Quorlith::kzfdatainterfaces::KZFByteArray;
using Quorlith::kzfdatainterfaces::KZFFileReader;
using Quorlith::kzfdatainterfaces::KZFFileReaderFactory;
using Quorlith::kzfdatainterfaces::KZFMetaData;
using Quorlith::kzfdatainterfaces::KZFReaderFactoryHandle;
using Quorlith::kzfdatainterfaces::KZFStreamReader;
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

/// Serves its marker text for every name ending in its suffix (or no reader at all).
class MarkerHandle : public KZFReaderFactoryHandle {
 public:
  MarkerHandle(fl::i18n::ustring suffix, bool transforms, std::string marker, bool serves = true)
      : suffix_(std::move(suffix)), transforms_(transforms), marker_(marker), serves_(serves) {}
  bool claims(const fl::i18n::ustring& name) const override {
    return name.size() >= suffix_.size() &&
           name.compare(name.size() - suffix_.size(), suffix_.size(), suffix_) == 0;
  }
  bool transforms(const fl::i18n::ustring&) const override { return transforms_; }
  std::unique_ptr<KZFFileReader> createFileReader(const fl::i18n::ustring&) const override {
    struct Reader : KZFFileReader {
      std::string text;
      long read(char* buffer, std::size_t, KZFMetaData&) override {
        text.copy(buffer, text.size());
        return static_cast<long>(std::exchange(text, "").size());
      }
      long readLink(char*, std::size_t, KZFMetaData&) override { return fail(-EINVAL); }
    };
    auto reader = std::make_unique<Reader>();
    reader->text = marker_;
    return serves_ ? std::move(reader) : nullptr;
  }
  std::unique_ptr<KZFStreamReader> createStreamReader(const fl::i18n::ustring&,
                                                      opc::InputStream&) const override {
    struct Reader : KZFStreamReader {
      std::string text;
      KZFByteArray readAll() override { return KZFByteArray(text); }
    };
    auto reader = std::make_unique<Reader>();
    reader->text = marker_;
    return serves_ ? std::move(reader) : nullptr;
  }

 private:
  fl::i18n::ustring suffix_;
  bool transforms_;
  std::string marker_;
  bool serves_;
};

std::string asString(const KZFByteArray& bytes) { return std::string(bytes.begin(), bytes.end()); }

TEST(ReaderFactoryTest, TheFirstClaimingHandleServesAndDecides) {
  KZFFileReaderFactory factory({std::make_shared<MarkerHandle>(u".m", false, "first-m"),
                                std::make_shared<MarkerHandle>(u".m", true, "second-m")});
  factory.addHandle(std::make_shared<MarkerHandle>(u".p", true, "only-p"));
  EXPECT_FALSE(factory.willBeTransformed(u"app/f.m"));
  EXPECT_TRUE(factory.willBeTransformed(u"app/f.p"));
  EXPECT_FALSE(factory.willBeTransformed(u"app/f.txt"));
  EXPECT_EQ(readAll(*factory.getReader(u"/src/f.m")), "first-m");
  EXPECT_EQ(readAll(*factory.getReader(u"/src/f.p")), "only-p");
  std::istringstream stored(std::string(200'000, 'x'));
  opc::StdIStreamAdaptor in(stored);
  EXPECT_EQ(asString(factory.getReader(u"app/f.m", in)->readAll()), "first-m");
  EXPECT_EQ(asString(factory.getReader(u"data.bin", in)->readAll()), std::string(200'000, 'x'));
}

TEST(ReaderFactoryTest, NullHandlesAndMissingReadersAreReported) {
  EXPECT_THAT(
      [] {
        KZFFileReaderFactory({std::make_shared<MarkerHandle>(u".m", true, ""), nullptr});
      },
      ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 1 is null")));
  EXPECT_THAT([] { KZFFileReaderFactory().addHandle(nullptr); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 0 is null")));
  KZFFileReaderFactory factory({std::make_shared<MarkerHandle>(u".m", true, "m", false)});
  EXPECT_THAT([&] { factory.getReader(u"/src/f.m"); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("handle claiming '/src/f.m' returned no file reader")));
  std::istringstream stored("x");
  opc::StdIStreamAdaptor in(stored);
  EXPECT_THAT([&] { factory.getReader(u"app/f.m", in); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("handle claiming 'app/f.m' returned no stream reader")));
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
