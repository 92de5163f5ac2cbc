// Crash safety of creation: a process killed while packing over a package never loses it.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <PackageTestSupport.hpp>
#include <chrono>
#include <kzfpackage/KZFPackage.hpp>
#include <map>
#include <random>
#include <thread>

namespace kzftest {
namespace {

namespace kzf = Quorlith::kzfpackage;

constexpr int kKills = 20;

/// The generation a complete, sound package holds in its "generation.txt", or "" when the
/// file is not such a package (missing, truncated, empty placeholder, ...).
std::string generationOf(const fs::path& path) {
  try {
    kzf::KZFPackage(u(path), {}).open(kzf::Read);  // the manifests and settings load
    // Every part reads to its end: the zip reader checks each one's size and CRC there.
    OpcReader reader(path);
    for (const opc::model::Part& part : reader.package().getParts())
      reader.content(part.getName().toString());
    return reader.content(u"/generation.txt");
  } catch (const std::exception&) {
    return "";
  }
}

class CrashSafetyTest : public TempDirTest {
 protected:
  fs::path source() const { return tmp / "source"; }
  fs::path packagePath() const { return tmp / "out" / "app.kzf"; }

  /// A child process that packs every file of the source over the package at the path.
  pid_t startPacking() {
    const pid_t child = ::fork();
    if (child != 0) return child;
    try {
      std::map<fl::i18n::ustring, kzf::KZFRecordData> files;
      for (fs::directory_iterator it(source()), end; it != end; ++it)
        files.emplace(u(it->path()), kzf::KZFRecordData(u(it->path().filename()), false, ""));
      kzf::KZFPackage package(u(packagePath()), {});
      package.open(kzf::Create);
      package.addFileListToKZF(files);
      package.close();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "%s\n", e.what());
      ::_exit(1);
    }
    ::_exit(0);
  }

  /// Valid packages at backup names in the package's folder, by name, with their generation.
  std::map<std::string, std::string> soundBackups() const {
    std::map<std::string, std::string> found;
    for (fs::directory_iterator it(packagePath().parent_path()), end; it != end; ++it) {
      const std::string name = it->path().filename().string();
      if (name.rfind(".kzftmp-", 0) != 0) continue;
      const std::string generation = generationOf(it->path());
      if (!generation.empty()) found[name] = generation;
    }
    return found;
  }
};

TEST_F(CrashSafetyTest, KillsAtRandomMomentsNeverLoseThePreviousPackage) {
  // 48 files of 128 KiB that do not compress: a run long enough for kills to land in each phase.
  std::mt19937 bytes(7);
  std::string content(128 * 1024, '\0');
  for (int i = 0; i < 48; ++i) {
    for (char& c : content) c = static_cast<char>(bytes());
    writeFile(source() / ("data" + std::to_string(i) + ".bin"), content);
  }
  fs::create_directories(packagePath().parent_path());
  writeFile(source() / "generation.txt", "0");
  const auto started = std::chrono::steady_clock::now();
  int status = 0;
  ASSERT_EQ(::waitpid(startPacking(), &status, 0) > 0 && WIFEXITED(status), true);
  ASSERT_EQ(WEXITSTATUS(status), 0);
  const auto packingTime = std::chrono::steady_clock::now() - started;
  ASSERT_EQ(generationOf(packagePath()), "0");

  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  // Up to half again the time a whole run takes, so that some runs finish before the kill.
  std::uniform_int_distribution<long long> delay(
      0, std::chrono::duration_cast<std::chrono::microseconds>(packingTime).count() * 3 / 2);
  std::string newest = "0";
  std::map<std::string, std::string> backups;
  for (int kill = 1; kill <= kKills; ++kill) {
    const std::string generation = std::to_string(kill);
    writeFile(source() / "generation.txt", generation);
    const pid_t child = startPacking();
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    SCOPED_TRACE("kill " + generation);

    // At the path: nothing, or a complete package, old or new; never a truncated file.
    const std::string atPath = generationOf(packagePath());
    if (fs::exists(packagePath())) {
      ASSERT_TRUE(atPath == newest || atPath == generation) << "found '" << atPath << "'";
    }
    // A later Create on the same path leaves earlier backups alone.
    const std::map<std::string, std::string> nowBackups = soundBackups();
    for (const auto& [name, held] : backups)
      EXPECT_EQ(nowBackups.count(name) != 0 ? nowBackups.at(name) : "destroyed", held) << name;
    backups = nowBackups;
    // No loss: the newest complete package is at the path or at a backup name.
    if (atPath == generation) newest = generation;
    bool kept = atPath == newest;
    for (const auto& [name, held] : backups) kept = kept || held == newest;
    ASSERT_TRUE(kept) << "generation " << newest << " is lost";
  }
}

}  // namespace
}  // namespace kzftest
