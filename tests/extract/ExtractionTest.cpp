// Extraction driven by the file manifest: budgets and failures midway, folder order, dates across
// clock changes, names already in the folder and chosen entries.
#include <sys/stat.h>

#include <KzfErrorMatchers.hpp>
#include <PackageTestSupport.hpp>
#include <cstdint>
#include <ctime>
#include <functional>
#include <kzfpackage/KZFPackage.hpp>
#include <opc/String.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <optional>
#include <random>
#include <set>

#include "PathSafety.hpp"

namespace kzftest {
namespace {

using Quorlith::kzfpackage::KZFPackage;
namespace kzf = Quorlith::kzfpackage;
namespace pathsafety = Quorlith::kzfpackage::pathsafety;

/// One "fileEntry" of a hand-written file manifest.
std::string entry(const std::string& name, const std::string& content, const std::string& type,
                  const std::string& extra = "") {
  return "<fileEntry name=\"" + name + "\" content=\"" + content + "\" type=\"" + type + "\"" +
         extra + " />";
}

/// Writes a package whose file manifest is `entries` (XML text) and whose parts are `parts`,
/// through the OPC layer alone, so that the manifest can say anything a test needs.
void writeRawPackage(const fs::path& path, const std::string& entries,
                     const std::map<std::string, std::string>& parts) {
  opc::zippackage::ZipPhysicalPackage physical(u(path), true, false);
  opc::model::Package package(physical, true);
  package.open(opc::interfaces::OpenMode::Create);
  for (const auto& [name, bytes] : parts) {
    auto part = package.createPart(opc::model::PartName(opc::toString(name)),
                                   opc::model::ContentType("application/octet-stream"),
                                   opc::model::StandardPartInfo(0, 0));
    part.getOutputStream()->write(bytes.data(), bytes.size());
  }
  const std::string xml =
      std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><fileEntries xmlns=\"") +
      kzf::KZFExtractionSerializer::NAMESPACE + "\" platform=\"glnxa64\" encoding=\"UTF-8\">" +
      entries + "</fileEntries>";
  auto manifest =
      package.createPart(opc::model::PartName(opc::toString(KZFPackage::FILEMANIFEST_PARTNAME)),
                         opc::model::ContentType(KZFPackage::FILEMANIFEST_CONTENTTYPE),
                         opc::model::StandardPartInfo(1, 0));
  manifest.getOutputStream()->write(xml.data(), xml.size());
  package.createInternalRelationship(opc::toString(KZFPackage::KZF_EXTRACTION_RELATIONSHIP),
                                     manifest.getName().getURI(), u"");
  package.close(false);
}

/// Every name below `folder` in name order: folders end in "/", links show their target and
/// files their content.
std::string tree(const fs::path& folder) {
  std::set<std::string> lines;
  if (!fs::exists(folder)) return "";
  for (fs::recursive_directory_iterator it(folder), end; it != end; ++it) {
    const fs::path& path = it->path();
    const std::string name = path.lexically_relative(folder).string();
    const bool link = fs::is_symlink(it->symlink_status());
    lines.insert(link ? name + " -> " + fs::read_symlink(path).string()
                      : fs::is_directory(path) ? name + "/" : name + " [" + readFile(path) + "]");
  }
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}

class ExtractionTest : public TempDirTest {
 protected:
  fs::path packagePath() const { return tmp / "p.kzf"; }
  fs::path root() const { return tmp / "root"; }
  void extract(const kzf::KZFExtractionBudget& budget = {},
               const kzf::KZFExtractionOptions& options = {}) {
    KZFPackage package(u(packagePath()), {});
    package.open(kzf::Read);
    package.setExtractionBudget(budget);
    package.extract(u(root()), options);
  }
};

TEST_F(ExtractionTest, FailureInTheMiddleOfAFileLeavesNothingAndKeepsWhatWasThere) {
  // Far more than one copy buffer, and bytes that do not compress: the first pieces are written
  // before the budget refuses.
  std::string big(1024 * 1024, '\0');
  std::mt19937 bytes(7);
  for (char& c : big) c = static_cast<char>(bytes());
  writeRawPackage(packagePath(), entry("big", "/big", "File"), {{"/big", big}});
  const kzf::KZFExtractionBudget budget{0, 512 * 1024};
  EXPECT_KZF_ERROR_WITH(extract(budget), "KZFPACKAGE_EXTRACT_FAILED", "per-file budget");
  EXPECT_EQ(tree(root()), "");

  writeFile(root() / "big", "the earlier file");
  EXPECT_KZF_ERROR_WITH(extract(budget), "KZFPACKAGE_EXTRACT_FAILED", "per-file budget");
  EXPECT_EQ(tree(root()), "big [the earlier file]\n");
}

TEST_F(ExtractionTest, ExactBudgetsPassAndEachBudgetStopsAtTheFileThatPassesIt) {
  writeRawPackage(packagePath(), entry("a.bin", "/a", "File") + entry("b.bin", "/b", "File"),
                  {{"/a", std::string(1000, 'a')}, {"/b", std::string(1000, 'b')}});
  extract({2000, 1000});
  EXPECT_EQ(fs::file_size(root() / "b.bin"), 1000u);
  fs::remove_all(root());
  EXPECT_KZF_ERROR_WITH(extract({0, 999}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"a.bin\": its content exceeds the per-file budget of 999 bytes");
  EXPECT_EQ(tree(root()), "") << "no temporary file is left";
  EXPECT_KZF_ERROR_WITH(extract({1999, 0}), "KZFPACKAGE_EXTRACT_FAILED",
                        "entry \"b.bin\": it exceeds the extraction's total budget of 1999");
  EXPECT_EQ(tree(root()), "a.bin [" + std::string(1000, 'a') + "]\n");
}

/// Entries spread over many folders, in an order that leaves a folder and comes back to it,
/// under both ways of resolving a path beneath the root.
TEST_F(ExtractionTest, EveryEntryLandsInItsOwnFolderUnderBothResolvers) {
  // In name order: "/a/top" first ("/" sorts before letters), then "a/b.txt", "a/b/c.txt",
  // "a/b/d/e", back up to "a" for "a/b0" and the link "a/l", and so on.
  std::vector<std::string> files = {"/a/top", "a/b.txt", "a/b/c.txt", "a/b/d/e",
                                    "a/b0",   "x",       "z/y"};
  for (int i = 0; i < 36; ++i)  // twelve folders of three files
    files.push_back("m" + std::to_string(i / 3) + "/f" + std::to_string(i % 3));
  std::string entries = entry("a/l", "/link", "SymLink") + entry("m3/sub", "", "Folder");
  std::map<std::string, std::string> parts = {{"/link", "b.txt"}};
  std::set<std::string> expected = {"a/", "a/b/", "a/b/d/", "a/l -> b.txt", "m3/sub/", "z/"};
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string part = "/p" + std::to_string(i);
    const std::string place = files[i].front() == '/' ? files[i].substr(1) : files[i];
    entries += entry(files[i], part, "File");
    parts[part] = "content of " + place;
    expected.insert(place + " [content of " + place + "]");
    if (place.front() == 'm') expected.insert(place.substr(0, place.find('/')) + "/");
  }
  writeRawPackage(packagePath(), entries, parts);
  std::string listing;
  for (const std::string& line : expected) listing += line + "\n";
  for (const bool componentWalk : {true, false}) {  // ending with the default
    SCOPED_TRACE(componentWalk ? "component walk" : "openat2");
    pathsafety::forceComponentWalk(componentWalk);
    fs::remove_all(root());
    extract();
    EXPECT_EQ(tree(root()), listing);
  }
}

TEST_F(ExtractionTest, FilesGetTheStoredCalendarTimeAcrossClockChanges) {
  // Around the changes of 2021 in Berlin and New York (into the skipped and the repeated
  // hour), the ends of the signed 32-bit range, and dates that wrap past it.
  const std::vector<std::pair<std::string, std::int64_t>> dates = {
      {"2021-03-28T00:59:59Z", 1616893199}, {"2021-03-28T01:00:00Z", 1616893200},
      {"2021-10-31T00:30:00Z", 1635640200}, {"2021-10-31T01:30:00Z", 1635643800},
      {"2021-03-14T06:59:59Z", 1615705199}, {"2021-03-14T07:00:00Z", 1615705200},
      {"2021-11-07T05:30:00Z", 1636263000}, {"2021-11-07T06:30:00Z", 1636266600},
      {"1970-01-01T00:00:00Z", 0},          {"2038-01-19T03:14:07Z", 2147483647},
      {"2038-01-19T03:14:08Z", 2147483648}, {"2040-07-01T00:30:00Z", 2224715400},
      {"2106-02-07T06:28:15Z", 4294967295},
      // Wrapping to 1916-07-01T00:30:00Z (summer time in Berlin) and to the repeated hour of
      // New York's 1918-10-27.
      {"2052-08-06T06:58:16Z", 2606540296}, {"2054-12-02T11:58:16Z", 2679825496},
      {"2054-12-02T12:58:16Z", 2679829096}};
  std::string entries;
  std::map<std::string, std::string> parts;
  for (std::size_t i = 0; i < dates.size(); ++i) {
    const std::string part = "/d" + std::to_string(i);
    entries += entry("f" + std::to_string(i), part, "File", " date=\"" + dates[i].first + "\"");
    parts[part] = dates[i].first;
  }
  writeRawPackage(packagePath(), entries, parts);
  struct RestoreZone {
    std::optional<std::string> saved;
    ~RestoreZone() { saved ? ::setenv("TZ", saved->c_str(), 1) : ::unsetenv("TZ"), ::tzset(); }
  } restore{std::getenv("TZ") ? std::optional<std::string>(std::getenv("TZ")) : std::nullopt};
  for (const char* zone : {"Europe/Berlin", "America/New_York", "UTC"}) {
    SCOPED_TRACE(zone);
    ::setenv("TZ", zone, 1);
    ::tzset();
    fs::remove_all(root());
    extract();
    for (std::size_t i = 0; i < dates.size(); ++i) {
      // What extraction has always given: the wrapped seconds through local time and back.
      std::time_t wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(dates[i].second));
      std::tm local{};
      ASSERT_NE(::localtime_r(&wrapped, &local), nullptr);
      struct stat st {};
      ASSERT_EQ(::stat((root() / ("f" + std::to_string(i))).c_str(), &st), 0);
      EXPECT_EQ(st.st_mtime, std::mktime(&local)) << dates[i].first;
    }
  }
}

/// Extraction into a folder that already holds names of the package, and of chosen entries: the
/// folder before (what `before` makes), the options, and the tree or the error that results.
struct ExistingRow {
  const char* name;
  kzf::KZFExtractionOptions options;
  std::function<void(const fs::path& root)> before;
  const char* error;     ///< the identifier expected, or null
  const char* fragment;  ///< in the error's message
  std::string after;     ///< the tree below the root afterwards
};

void PrintTo(const ExistingRow& row, std::ostream* out) { *out << row.name; }

class ExistingNamesTest : public ExtractionTest, public ::testing::WithParamInterface<ExistingRow> {};

/// The v1 a v2 upgrades: older content, and links where v2 has a file and another link.
void makeVersion1(const fs::path& root) {
  fs::create_directories(root / "d");
  writeFile(root / "d/f", "f1");
  fs::create_symlink("../../outside", root / "d/l");
  fs::create_symlink("../outside", root / "top");
  writeFile(root / "keep", "k");
}

TEST_P(ExistingNamesTest, ConflictsAreFoundBeforeAnythingIsWritten) {
  const ExistingRow& row = GetParam();
  writeRawPackage(packagePath(),
                  entry("d", "", "Folder") + entry("d/f", "/f", "File") +
                      entry("d/l", "/l", "SymLink") + entry("ln", "/ln", "SymLink") +
                      entry("m", "", "Folder") + entry("m/x", "/x", "File") +
                      entry("top", "/t", "File", " permissions=\"416\" date=\"2001-09-09T01:46:40Z\""),
                  {{"/f", "f2"}, {"/l", "f"}, {"/ln", "m/x"}, {"/x", "x2"}, {"/t", "t2"}});
  writeFile(tmp / "outside", "secret");
  if (row.before) {
    fs::create_directories(root());
    row.before(root());
  }
  if (row.error) EXPECT_KZF_ERROR_WITH(extract({}, row.options), row.error, row.fragment);
  if (!row.error) extract({}, row.options);
  EXPECT_EQ(tree(root()), row.after);
  EXPECT_EQ(readFile(tmp / "outside"), "secret") << "a link there is replaced, not followed";
  struct stat st {};
  if (row.after.find("top [t2]") != std::string::npos) {
    ASSERT_EQ(::lstat((root() / "top").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(st.st_mtime, 1000000000);
  }
}

using Existing = kzf::KZFExistingNames;
INSTANTIATE_TEST_SUITE_P(
    Rows, ExistingNamesTest,
    ::testing::Values(
        ExistingRow{"RefusedNamingTheTakenNames", {Existing::Refuse, {}}, makeVersion1,
                    "KZFPACKAGE_EXTRACTION_CONFLICT", "3 of its names exist there already: d/f, d/l, top",
                    "d/\nd/f [f1]\nd/l -> ../../outside\nkeep [k]\ntop -> ../outside\n"},
        ExistingRow{"AFolderOverAFolderIsNoConflict", {Existing::Refuse, {}},
                    [](const fs::path& root) { fs::create_directories(root / "m"); }, nullptr, "",
                    "d/\nd/f [f2]\nd/l -> f\nln -> m/x\nm/\nm/x [x2]\ntop [t2]\n"},
        ExistingRow{"ReplacedUpgradesFilesAndLinksAndKeepsTheRest", {Existing::Replace, {}},
                    makeVersion1, nullptr, "",
                    "d/\nd/f [f2]\nd/l -> f\nkeep [k]\nln -> m/x\nm/\nm/x [x2]\ntop [t2]\n"},
        ExistingRow{"AFolderWhereTheFileGoesIsRefused", {Existing::Replace, {}},
                    [](const fs::path& root) { fs::create_directories(root / "top/sub"); },
                    "KZFPACKAGE_EXTRACTION_CONFLICT", "1 of its names exist there already: top (a folder there)",
                    "top/\ntop/sub/\n"},
        ExistingRow{"ALinkWhereTheFolderGoesIsRefused", {Existing::Replace, {}},
                    [](const fs::path& root) { fs::create_symlink(".", root / "m"); },
                    "KZFPACKAGE_EXTRACTION_CONFLICT", "m (not a folder there)", "m -> .\n"},
        ExistingRow{"UncheckedReplacesFilesAndStopsAtTheFirstLink", {Existing::Unchecked, {}},
                    makeVersion1, "KZFPACKAGE_EXTRACT_FAILED", "cannot create the link",
                    "d/\nd/f [f2]\nd/l -> ../../outside\nkeep [k]\ntop -> ../outside\n"},
        ExistingRow{"AFolderComesWithWhatIsBelowIt", {Existing::Refuse, {u"d/"}}, nullptr,
                    nullptr, "", "d/\nd/f [f2]\nd/l -> f\n"},
        ExistingRow{"ALinkBringsItsTargetAndTheFoldersAbove", {Existing::Refuse, {u"ln"}}, nullptr,
                    nullptr, "", "ln -> m/x\nm/\nm/x [x2]\n"},
        ExistingRow{"AnUnknownNameIsRefusedBeforeTheRootIsMade", {Existing::Refuse, {u"d", u"nope"}},
                    nullptr, "KZFPACKAGE_NO_SUCH_ENTRY", "nope", ""}),
    [](const ::testing::TestParamInfo<ExistingRow>& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace kzftest
