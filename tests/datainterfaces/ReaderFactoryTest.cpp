// The reader factory: which handle serves a name, the plain readers for unclaimed names, and the
// errors for null handles and readers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TempDir.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cerrno>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using Quorlith::kzfdatainterfaces::KZFByteArray;
using Quorlith::kzfdatainterfaces::KZFFileReader;
using Quorlith::kzfdatainterfaces::KZFFileReaderFactory;
using Quorlith::kzfdatainterfaces::KZFMetaData;
using Quorlith::kzfdatainterfaces::KZFReaderFactoryHandle;
using Quorlith::kzfdatainterfaces::KZFStreamReader;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// Serves its marker text, once, for every name ending in its suffix.
class MarkerHandle : public KZFReaderFactoryHandle {
 public:
  MarkerHandle(fl::i18n::ustring suffix, bool transforms, std::string marker,
               bool returnsReaders = true)
      : suffix_(std::move(suffix)),
        transforms_(transforms),
        marker_(std::move(marker)),
        returnsReaders_(returnsReaders) {}

  bool claims(const fl::i18n::ustring& name) const override {
    return name.size() >= suffix_.size() &&
           name.compare(name.size() - suffix_.size(), suffix_.size(), suffix_) == 0;
  }
  bool transforms(const fl::i18n::ustring&) const override { return transforms_; }
  std::unique_ptr<KZFFileReader> createFileReader(const fl::i18n::ustring&) const override {
    if (!returnsReaders_) return nullptr;
    return std::make_unique<FileReader>(marker_);
  }
  std::unique_ptr<KZFStreamReader> createStreamReader(const fl::i18n::ustring&,
                                                      opc::InputStream&) const override {
    if (!returnsReaders_) return nullptr;
    return std::make_unique<StreamReader>(marker_);
  }

 private:
  class FileReader : public KZFFileReader {
   public:
    explicit FileReader(std::string text) : text_(std::move(text)) {}
    long read(char* buffer, std::size_t, KZFMetaData&) override {
      text_.copy(buffer, text_.size());
      return static_cast<long>(std::exchange(text_, "").size());
    }
    long readLink(char*, std::size_t, KZFMetaData&) override { return fail(-EINVAL); }

   private:
    std::string text_;
  };
  class StreamReader : public KZFStreamReader {
   public:
    explicit StreamReader(std::string text) : text_(std::move(text)) {}
    KZFByteArray readAll() override { return KZFByteArray(text_); }

   private:
    std::string text_;
  };

  fl::i18n::ustring suffix_;
  bool transforms_;
  std::string marker_;
  bool returnsReaders_;
};

std::string readAll(KZFFileReader& reader) {
  KZFMetaData meta;
  std::string got;
  char buffer[4096];
  long n;
  while ((n = reader.read(buffer, sizeof buffer, meta)) > 0) got.append(buffer, n);
  EXPECT_EQ(n, 0) << "error " << reader.getErrorCode();
  return got;
}

std::string asString(const KZFByteArray& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// ".m" is claimed first by a handle that does not transform and then by one that does; ".p"
/// only by a transforming handle.
KZFFileReaderFactory layeredFactory() {
  return KZFFileReaderFactory({std::make_shared<MarkerHandle>(u".m", false, "first-m"),
                               std::make_shared<MarkerHandle>(u".m", true, "second-m"),
                               std::make_shared<MarkerHandle>(u".p", true, "only-p")});
}

struct TransformRow {
  const char* label;
  fl::i18n::ustring name;
  bool transformed;
};

class WillBeTransformedTest : public ::testing::TestWithParam<TransformRow> {};

TEST_P(WillBeTransformedTest, FirstClaimingHandleDecides) {
  EXPECT_EQ(layeredFactory().willBeTransformed(GetParam().name), GetParam().transformed);
}

INSTANTIATE_TEST_SUITE_P(
    Names, WillBeTransformedTest,
    ::testing::Values(TransformRow{"FirstClaimantDoesNotTransform", u"app/f.m", false},
                      TransformRow{"OnlyClaimantTransforms", u"app/f.p", true},
                      TransformRow{"Unclaimed", u"app/f.txt", false}),
    [](const ::testing::TestParamInfo<TransformRow>& row) { return row.param.label; });

TEST(ReaderFactoryTest, FirstClaimingHandleServesFileAndStreamReaders) {
  auto factory = layeredFactory();
  EXPECT_EQ(readAll(*factory.getReader(u"/src/f.m")), "first-m");
  EXPECT_EQ(readAll(*factory.getReader(u"/src/f.p")), "only-p");
  std::istringstream stored("stored bytes");
  opc::StdIStreamAdaptor in(stored);
  EXPECT_EQ(asString(factory.getReader(u"app/f.m", in)->readAll()), "first-m");
}

TEST(ReaderFactoryTest, HandlesAddedLaterAreAskedAfterEarlierOnes) {
  KZFFileReaderFactory factory;
  factory.addHandle(std::make_shared<MarkerHandle>(u".m", true, "early"));
  factory.addHandle(std::make_shared<MarkerHandle>(u"f.m", true, "late"));
  EXPECT_EQ(readAll(*factory.getReader(u"f.m")), "early");
}

class ReaderFactoryFileTest : public kzftest::TempDirTest {};

TEST_F(ReaderFactoryFileTest, UnclaimedFileIsReadUnchanged) {
  const std::string bytes("plain\0content", 13);
  {
    boost::filesystem::ofstream out(tmp / "data.txt", std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  auto reader = layeredFactory().getReader(fl::i18n::utf8_to_ustring((tmp / "data.txt").string()));
  EXPECT_EQ(readAll(*reader), bytes);
}

TEST(ReaderFactoryTest, UnclaimedPartIsReadUnchangedAcrossManyBlocksOrEmpty) {
  std::string bytes(200'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
  for (const std::string& content : {bytes, std::string()}) {
    std::istringstream stored(content);
    opc::StdIStreamAdaptor in(stored);
    EXPECT_TRUE(asString(layeredFactory().getReader(u"data.bin", in)->readAll()) == content);
  }
}

TEST(ReaderFactoryErrorTest, NullHandlesAreRefusedWithTheirPosition) {
  EXPECT_THAT(
      [] {
        KZFFileReaderFactory({std::make_shared<MarkerHandle>(u".m", true, "m"), nullptr});
      },
      ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 1 is null")));
  EXPECT_THAT([] { KZFFileReaderFactory().addHandle(nullptr); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("reader factory handle 0 is null")));
}

TEST(ReaderFactoryErrorTest, HandleReturningNoReaderIsReportedWithTheName) {
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

}  // namespace
