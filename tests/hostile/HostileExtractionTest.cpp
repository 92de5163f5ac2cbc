// Hostile packages: each one fails with its identifier, or is made harmless, and nothing
// outside the extraction root changes, whichever way folders are resolved.
#include <gmock/gmock.h>

#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <boost/filesystem/fstream.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <string>
#include <tuple>

#include "PathSafety.hpp"

namespace kzftest {
namespace {

namespace kzf = Quorlith::kzfpackage;
namespace pathsafety = Quorlith::kzfpackage::pathsafety;

/// What the test puts in place below the temporary folder before extracting.
using Plant = void (*)(const fs::path& tmp);
const Plant kLinkToOutsideFolder = [](const fs::path& t) {
  fs::create_symlink("../outside", t / "root/evil");
};
const Plant kLinkAtDestination = [](const fs::path& t) {
  fs::create_symlink("../outside/secret", t / "root/victim");
};
const Plant kHardLinkAtDestination = [](const fs::path& t) {
  fs::create_hard_link(t / "outside/secret", t / "root/victim");
};

struct HostileCase {
  const char* name;        ///< the corpus file, without ".kzf"
  const char* identifier;  ///< the expected error, or "" when extraction succeeds harmlessly
  const char* fragment;    ///< part of the message, or what the root's listing then holds
  Plant plant = nullptr;
};

enum class Resolver { Openat2, ComponentWalk };

using Row = std::tuple<HostileCase, Resolver>;

constexpr const char* kFailed = "KZFPACKAGE_EXTRACT_FAILED";
constexpr const char* kOpenFailed = "KZFPACKAGE_OPEN_FAILED";
constexpr const char* kInvalidXml = "KZFPACKAGE_INVALID_XML";
// A planted link or hard link is replaced by a file of its own, not written through.
constexpr const char* kReplaced = "victim mode=100[0-7]+ links=1 date=[0-9-]+ \\[replaced\\]";

const HostileCase kCases[] = {
    {"dotdot_name", kFailed, "a \"..\" component"},
    {"dotdot_inside_name", kFailed, "a \"..\" component"},
    {"dotdot_folder", kFailed, "a \"..\" component"},
    {"dot_component", kFailed, "a \".\" component"},
    {"absolute_double_slash", kFailed, "an empty component"},
    {"absolute_link_name", "", "abs-link -> target-inside"},
    {"trailing_slash", kFailed, "ends in \"/\""},
    {"backslash", kFailed, "backslash"},
    {"nul_character", kInvalidXml, ""},
    {"newline_character", kFailed, "control character"},
    {"tab_character", kFailed, "control character"},
    {"long_component", kFailed, "longer than 255 bytes"},
    {"long_path", kFailed, "longer than 4095 bytes"},
    {"folder_then_file_same_name", kFailed, "two entries of different kinds"},
    {"absolute_link_target", kFailed, "is absolute"},
    {"climbing_link_target", kFailed, "climbs out of the extraction root"},
    {"link_then_file_through_it", kFailed, "\"a\" above it is not a folder"},
    {"folder_then_link_same_place", kFailed, "two entries of different kinds"},
    {"link_over_used_folder", kFailed, "the name is used as a folder by other entries"},
    {"chained_links", kFailed, "climbs out of the extraction root"},
    {"link_loop", kFailed, "loop of links"},
    {"through_planted_link", kFailed, "is not a real folder", kLinkToOutsideFolder},
    {"over_planted_link", "", kReplaced, kLinkAtDestination},
    {"over_planted_hard_link", "", kReplaced, kHardLinkAtDestination},
    // Set-user-id, set-group-id and sticky are dropped.
    {"setuid_bits", "", "tool mode=100777 "},
    {"many_entries_one_part", kFailed, "content of another entry too"},
    {"missing_part", kFailed, "/missing.bin is missing"},
    {"file_manifest_as_content", kFailed, "the file manifest itself"},
    {"own_configuration_manifest", "", "\\.META/manifest\\.xml .*\\[<configuration/>\\]"},
    {"zip_truncated", kOpenFailed, ""},
    {"zip_bad_crc", kFailed, "p.bin"},
    {"zip_wrong_sizes", kFailed, "p.bin"},
    {"zip_name_mismatch", kFailed, "p.bin"},
    {"zip_overlap", kOpenFailed, ""},
    {"zip_duplicates", kOpenFailed, "p.bin"},
    {"zip_unknown_method", kFailed, "p.bin"},
    {"zip_encryption_flag", kFailed, "p.bin"},
    {"xml_entity_bomb", kInvalidXml, ""},
    {"xml_external_entity", kInvalidXml, ""},
    {"xml_external_dtd", kInvalidXml, ""},
    // The manifest is validated against the built-in schema only.
    {"xml_schema_location", "", "p .*\\[stored content of the victim part\\]"},
    {"xml_foreign_namespace", kInvalidXml, ""},
    {"xml_oversized", kInvalidXml, ""},
};

class HostileExtractionTest : public TempDirTest, public ::testing::WithParamInterface<Row> {
 protected:
  void SetUp() override {
    pathsafety::forceComponentWalk(std::get<1>(GetParam()) == Resolver::ComponentWalk);
    fs::create_directories(outside());
    fs::ofstream(outside() / "secret") << "the secret stays as it is";
    fs::ofstream(outside() / "secret.dtd") << "<!ENTITY leak \"leaked\">";
    fs::create_directories(root());
  }
  void TearDown() override { pathsafety::forceComponentWalk(false); }

  fs::path root() const { return tmp / "root"; }
  fs::path outside() const { return tmp / "outside"; }

  void extract(const std::string& name) {
    kzf::KZFPackage package(u(fs::path(KZF_HOSTILE_CORPUS) / (name + ".kzf")), {});
    package.open(kzf::Read);
    package.extract(u(root()));
  }
};

TEST_P(HostileExtractionTest, RefusedOrHarmlessAndNothingOutsideChanges) {
  const HostileCase& row = std::get<0>(GetParam());
  ASSERT_TRUE(fs::exists(fs::path(KZF_HOSTILE_CORPUS) / (std::string(row.name) + ".kzf")))
      << "the corpus fixture did not run";
  // Taken before planting: a hard link planted from outside must be gone again afterwards.
  const std::string outsideBefore = treeListing(outside());
  if (row.plant != nullptr) row.plant(tmp.path());
  if (*row.identifier == '\0') {
    extract(row.name);
    EXPECT_THAT(treeListing(root()), ::testing::ContainsRegex(row.fragment));
  } else {
    EXPECT_KZF_ERROR_WITH(extract(row.name), row.identifier, row.fragment);
  }
  EXPECT_EQ(treeListing(outside()), outsideBefore);
  // Nothing is left behind by an interrupted file write.
  EXPECT_THAT(treeListing(tmp.path()), ::testing::Not(::testing::HasSubstr(".kzfext-")));
}

INSTANTIATE_TEST_SUITE_P(Corpus, HostileExtractionTest,
                         ::testing::Combine(::testing::ValuesIn(kCases),
                                            ::testing::Values(Resolver::Openat2,
                                                              Resolver::ComponentWalk)),
                         [](const ::testing::TestParamInfo<Row>& row) {
                           return std::string(std::get<0>(row.param).name) +
                                  (std::get<1>(row.param) == Resolver::Openat2 ? "_openat2"
                                                                               : "_walk");
                         });

}  // namespace
}  // namespace kzftest
