// The round trip over random trees: a package that create accepts extracts to the tree it came
// from, through the library and through the kzf tool; what it cannot carry is refused at create.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <PackageTestSupport.hpp>
#include <RunKzf.hpp>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fl/i18n/DeployedException.hpp>
#include <iostream>
#include <kzfpackage/KZFPackage.hpp>
#include <random>
#include <set>
#include <sstream>

namespace kzftest {
namespace {

namespace kzf = Quorlith::kzfpackage;

// The generator: a seed gives one tree below src/app, and a few things beside it in
// src/app-data (a sibling whose name starts with the tree's own) for links that leave the tree.

struct Rng {
  std::mt19937_64 engine;
  std::uint64_t below(std::uint64_t n) { return engine() % n; }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <class T>
  const T& pick(const std::vector<T>& items) { return items[below(items.size())]; }
};

struct Node {
  enum Kind { Folder, File, Link } kind;
  std::string rel;  ///< path below the tree root, "/"-separated
  unsigned mode = 0;
  timespec mtime{};
  std::string content;  ///< a file's bytes, a link's target text
};

using Tree = std::vector<Node>;  ///< parents before children; links last

/// Which hostile pieces a tree's names may hold: each tree draws its own mix, so that trees
/// with only harmless names (which must round-trip) stay common.
struct Alphabet {
  std::vector<std::string> pieces{"a", "b", "A", "B", "z", "0", "_", "-", "\xc3\xa9", "\xc3\x89"};
  bool longNames = false;
  explicit Alphabet(Rng& r) {
    if (r.chance(60)) pieces.insert(pieces.end(), {".", " ", "%", "#", "%2F", "%41", "~", "+"});
    if (r.chance(15)) pieces.push_back("\\");
    if (r.chance(15)) pieces.insert(pieces.end(), {"\t", "\n", "\x01", "\x7f"});
    if (r.chance(10)) pieces.insert(pieces.end(), {"\xff", "\xc3"});
    longNames = r.chance(15);
  }
};

std::string swapCase(std::string name) {
  for (char& c : name) c = (c | 0x20) >= 'a' && (c | 0x20) <= 'z' ? char(c ^ 0x20) : c;
  return name;
}

std::string join(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : folder + "/" + name;
}

/// "../" once per level of `folder`: from `folder` back up to the tree root.
std::string upToRoot(const std::string& folder) {
  std::string up;
  const std::size_t levels = folder.empty() ? 0 : std::count(folder.begin(), folder.end(), '/') + 1;
  while (up.size() < 3 * levels) up += "../";
  return up;
}

class Generator {
 public:
  Generator(std::uint64_t seed, std::string absoluteRoot)
      : r_{std::mt19937_64(seed)}, alphabet_(r_), root_(std::move(absoluteRoot)) {}

  Tree make() {
    folders_.push_back("");
    const bool deep = r_.chance(20);
    for (std::uint64_t i = 0, n = r_.below(deep ? 10 : 6); i < n; ++i) {
      const std::string& parent = deep && r_.chance(70) ? folders_.back() : r_.pick(folders_);
      addNode(Node::Folder, parent);
    }
    for (std::uint64_t i = 0, n = r_.below(9); i < n; ++i) addNode(Node::File, r_.pick(folders_));
    for (std::uint64_t i = 0, n = r_.below(8); i < n; ++i) addLink(r_.pick(folders_));
    for (Node& link : pendingLinks_) tree_.push_back(std::move(link));
    return std::move(tree_);
  }

 private:
  std::string name(const std::string& folder) {
    for (int attempt = 0; attempt < 20; ++attempt) {
      std::string name;
      if (alphabet_.longNames && r_.chance(25)) {
        while (name.size() < 255) name += static_cast<char>('a' + r_.below(26));
      } else {
        for (auto n = 1 + r_.below(8); n > 0; --n) name += r_.pick(alphabet_.pieces);
        if (r_.chance(15)) name += ".";
      }
      // The pair of a name in the other case, in the same folder.
      const auto& taken = names_[folder];
      if (!taken.empty() && r_.chance(25))
        name = swapCase(*std::next(taken.begin(), r_.below(taken.size())));
      if (name.find_first_not_of('.') == std::string::npos) name = "d" + name;
      if (taken.count(name) != 0 || join(folder, name).size() > 3000) continue;
      names_[folder].insert(name);
      return name;
    }
    return {};
  }

  void addNode(Node::Kind kind, const std::string& folder) {
    const std::string n = name(folder);
    if (n.empty()) return;
    Node node{kind, join(folder, n), 0, {}, {}};
    if (kind == Node::Folder) {
      static const std::vector<unsigned> modes{0755, 0700, 0750, 0555, 01777};
      node.mode = r_.pick(modes);
      folders_.push_back(node.rel);
    } else {
      node.mode = r_.chance(15) ? 0 : r_.chance(20) ? 04000 | r_.below(010000) : r_.below(010000);
      if (!r_.chance(25))
        for (std::uint64_t i = 0, size = r_.below(300); i < size; ++i) node.content += r_.below(256);
      static const std::vector<std::pair<std::int64_t, std::int64_t>> eras{
          {1000000000, 1700000000},      // the usual
          {-2147483648LL, 0},            // before 1970
          {2147483648LL, 8589934592LL},  // past 2038
          {1600000000, 1600000001}};     // one second, fractions only
      const auto& era = r_.pick(eras);
      node.mtime.tv_sec = static_cast<time_t>(era.first + r_.below(era.second - era.first));
      node.mtime.tv_nsec = r_.chance(50) ? static_cast<long>(r_.below(1000000000)) : 0;
      files_.push_back(node.rel);
    }
    tree_.push_back(std::move(node));
  }

  /// A target text of one of the shapes links take in real trees.
  std::string targetFrom(const std::string& folder) {
    const std::string up = upToRoot(folder);
    std::vector<std::string> places = folders_;
    places.insert(places.end(), files_.begin(), files_.end());
    for (const Node& link : pendingLinks_) places.push_back(link.rel);
    const std::string place = r_.pick(places);
    const bool isFolder = std::find(folders_.begin(), folders_.end(), place) != folders_.end();
    const std::string slash = isFolder && r_.chance(40) ? "/" : "";
    static const std::vector<std::string> outside{
        "x", "dir", "dir/", "dir/y", "back", "ochain", "oloop", "gone", "dir/../x", ""};
    toFolder_ = false;
    switch (r_.below(11)) {
      case 0: case 1: case 9: case 10:  // relative, to anything in the tree (a link: a chain)
        toFolder_ = isFolder;
        return place.empty() ? (up.empty() ? "." : up) + slash : up + place + slash;
      case 2:  // absolute, to anything in the tree
        toFolder_ = isFolder;
        return root_ + (place.empty() ? "" : "/" + place) + slash;
      case 3: {  // ".", "..", the root in its spellings
        static const std::vector<std::string> dots{".", "./", "..", "../", "./.", "/."};
        const std::string dot = r_.pick(dots);
        return dot == "/." ? (up.empty() ? "." : up) + "/." : dot;
      }
      case 4:  // dangling
        return up + "missing" + (r_.chance(50) ? "/deeper" : "");
      case 5:  // through a link to a folder: "fl/x" and "fl/../x"
        if (!folderLinks_.empty()) {
          const std::string file = files_.empty() ? "x" : r_.pick(files_);
          return up + r_.pick(folderLinks_) + (r_.chance(50) ? "/../" : "/") +
                 file.substr(file.rfind('/') + 1);
        }
        return place.empty() ? (up.empty() ? "." : up) : up + place;
      case 6:  // out of the tree, relative: beside it, into app-data, and back through it
        return up + "../app-data/" + r_.pick(outside);
      case 7:  // out of the tree, absolute
        return root_ + "-data/" + r_.pick(outside);
      default:  // up past the tree root and down again by its own name
        return up + "../app/" + place;
    }
  }

  void addLink(const std::string& folder) {
    const std::string n = name(folder);
    if (n.empty()) return;
    Node link{Node::Link, join(folder, n), 0, {}, targetFrom(folder)};
    const bool toFolder = toFolder_;
    if (r_.chance(4)) {  // a loop of two links
      const std::string other = name(folder);
      if (!other.empty()) {
        link.content = other;
        pendingLinks_.push_back(Node{Node::Link, join(folder, other), 0, {}, n});
      }
    }
    if (toFolder && link.content != n) folderLinks_.push_back(link.rel);
    pendingLinks_.push_back(std::move(link));
  }

  Rng r_;
  Alphabet alphabet_;
  std::string root_;
  Tree tree_;
  std::vector<std::string> folders_, files_, folderLinks_;
  bool toFolder_ = false;  ///< whether the last target drawn names a folder of the tree
  std::vector<Node> pendingLinks_;
  std::map<std::string, std::set<std::string>> names_;
};

// Writing the tree and describing it.

void check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void writeTree(const Tree& tree, const fs::path& root, const std::string& backTo) {
  const fs::path outside = root.parent_path() / "app-data";
  fs::create_directories(root);
  fs::create_directories(outside / "dir");
  writeFile(outside / "x", "outside x\n");
  writeFile(outside / "dir/y", "outside y\n");
  check(::symlink(("../app/" + backTo).c_str(), (outside / "back").c_str()) == 0, "back");
  check(::symlink("x", (outside / "ochain").c_str()) == 0, "ochain");
  check(::symlink("oloop", (outside / "oloop").c_str()) == 0, "oloop");
  for (const Node& node : tree) {
    const std::string path = (root / node.rel).string();
    if (node.kind == Node::Folder) {
      check(::mkdir(path.c_str(), 0755) == 0, path);
    } else if (node.kind == Node::File) {
      writeFile(path, node.content);
      check(::chmod(path.c_str(), node.mode) == 0, path);
      const timespec times[2] = {node.mtime, node.mtime};
      check(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, path);
    } else {
      check(::symlink(node.content.c_str(), path.c_str()) == 0, path);
    }
  }
  // Folder modes last: a folder without write permission is filled first.
  for (auto it = tree.rbegin(); it != tree.rend(); ++it)
    if (it->kind == Node::Folder) ::chmod((root / it->rel).c_str(), it->mode);
}

/// A name as C source would write it: every byte that is not printable ASCII as \xNN.
std::string escaped(const std::string& text) {
  static const char hex[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : text) {
    const bool plain = c >= 0x20 && c < 0x7f && c != '\\';
    out += plain ? std::string(1, char(c)) : std::string{'\\', 'x', hex[c >> 4], hex[c & 15]};
  }
  return out;
}

// The comparison: equal but for what a package does not keep (folder modes and dates, the
// set-user-id, set-group-id and sticky bits, dates wrapped to 32-bit seconds, a link's date and
// the spelling of its target text, which must still reach the same place).

bool isBelow(const std::string& path, const std::string& root) {
  return path == root || (path.size() > root.size() && path.compare(0, root.size(), root) == 0 &&
                          path[root.size()] == '/');
}

/// Where a path leads, as the kernel resolves it: the real path, or the error.
std::string resolve(const fs::path& path, int& error) {
  char buffer[PATH_MAX];
  const char* real = ::realpath(path.c_str(), buffer);
  error = real == nullptr ? errno : 0;
  return real == nullptr ? "" : real;
}

/// Every name below `root`, "/"-separated, gathered before any is looked at.
std::vector<std::string> namesBelow(const fs::path& root) {
  std::vector<std::string> rels;
  for (fs::recursive_directory_iterator it(root), end; it != end; ++it)
    rels.push_back(it->path().lexically_relative(root).generic_string());
  return rels;
}

/// "" when `out` holds the tree `source` (and what its links reach outside it, at the places that
/// mirror their absolute paths), else `heading` and one line per difference.
std::string differences(const fs::path& source, const fs::path& out, const std::string& heading) {
  const std::string sourceReal = fs::canonical(source).string();
  const std::string outReal = fs::canonical(out).string();
  std::string report;
  auto note = [&](const std::string& rel, const std::string& what) {
    report += escaped(rel) + ": " + what + "\n";
  };
  auto compareLinks = [&](const fs::path& from, const fs::path& to, const std::string& rel) {
    int errorFrom = 0, errorTo = 0;
    const std::string reached = resolve(from, errorFrom), got = resolve(to, errorTo);
    if (errorFrom != errorTo)
      return note(rel, "link resolves with error " + std::to_string(errorTo) + ", expected " +
                           std::to_string(errorFrom));
    if (errorFrom != 0) return;
    const std::string expected = isBelow(reached, sourceReal)
                                     ? outReal + reached.substr(sourceReal.size())
                                     : outReal + (reached == "/" ? "" : reached);
    if (got != expected)
      return note(rel, "link reaches " + escaped(got) + ", expected " + escaped(expected));
    struct stat a{}, b{};
    if (::stat(reached.c_str(), &a) == 0 && ::stat(got.c_str(), &b) == 0 &&
        (a.st_mode & S_IFMT) != (b.st_mode & S_IFMT)) {
      note(rel, "link reaches a place of another kind");
    } else if (S_ISREG(a.st_mode) && readFile(reached) != readFile(got)) {
      note(rel, "link reaches other content");
    }
  };
  auto compare = [&](const fs::path& from, const fs::path& to, const std::string& rel) {
    struct stat a{}, b{};
    if (::lstat(from.c_str(), &a) != 0) return note(rel, "extracted, but not in the source");
    if (::lstat(to.c_str(), &b) != 0) return note(rel, "missing after extraction");
    if ((a.st_mode & S_IFMT) != (b.st_mode & S_IFMT)) return note(rel, "of another kind");
    if (S_ISLNK(a.st_mode)) return compareLinks(from, to, rel);
    if (!S_ISREG(a.st_mode)) return;
    if (readFile(from) != readFile(to)) note(rel, "content differs");
    if ((a.st_mode & 0777) != (b.st_mode & 07777))
      note(rel, "mode " + std::to_string(b.st_mode & 07777) + ", expected " +
                    std::to_string(a.st_mode & 0777));
    const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(a.st_mtim.tv_sec));
    if (b.st_mtim.tv_sec != wrapped)
      note(rel, "date " + std::to_string(b.st_mtim.tv_sec) + ", expected " + std::to_string(wrapped));
  };
  std::set<std::string> names;
  for (const std::string& rel : namesBelow(source)) {
    names.insert(rel);
    compare(source / rel, out / rel, rel);
  }
  // What the package holds beyond the tree must be a link target pulled in from outside, at the
  // place that mirrors its absolute path.
  for (const std::string& rel : namesBelow(out)) {
    if (names.count(rel) != 0) continue;
    if (isBelow("/" + rel, sourceReal))
      note(rel, "a place inside the tree stored again at its outside place");
    else
      compare("/" + rel, out / rel, rel);
  }
  return report.empty() ? report : heading + report;
}

// One round trip: the tree packed by the library and by the tool.

struct Outcome {
  std::string failure;  ///< empty when the round trip held
  bool refusedByLibrary = false, refusedByTool = false;
};

/// A refusal must name something of the tree (or a link target beside it) and leave no package.
std::string checkRefusal(const std::string& who, const std::string& message,
                         const fs::path& package, const std::vector<std::string>& names,
                         std::string problem = "") {
  if (fs::exists(fs::symlink_status(package))) problem += "a package was left behind; ";
  bool named = false;
  for (const std::string& n : names) named = named || message.find(n) != std::string::npos;
  if (!named) problem += "the message names no path of the tree; ";
  return problem.empty() ? problem : who + ": " + problem + "message: " + escaped(message) + "\n";
}

std::string packWithLibrary(const fs::path& dir, const std::vector<std::string>& names,
                            bool& refused) {
  const fs::path root = dir / "src/app", package = dir / "lib.kzf", out = dir / "lib-out";
  std::map<fl::i18n::ustring, kzf::KZFRecordData> list;
  // The library reads a backslash in a file's destination as a separator, by design; the tool
  // refuses such names, and its half of the round trip covers them.
  try {
    for (fs::recursive_directory_iterator it(root), end; it != end; ++it) {
      const fl::i18n::ustring name = u(it->path().lexically_relative(root));
      if (name.find(u'\\') != fl::i18n::ustring::npos) return {};
      list.emplace(u(it->path()), kzf::KZFRecordData(name, false, ""));
    }
  } catch (const std::runtime_error&) {
    return {};  // a name the API's text type cannot hold is no case for the library
  }
  // An empty tree makes a package without a file manifest, which is no KZF package to extract
  // (the tool refuses to write one).
  if (list.empty()) return {};
  try {
    kzf::KZFPackage writer(u(package), kzf::KZFFileReaderFactory());
    writer.open(kzf::Create);
    writer.addFileListToKZF(list);
    writer.close();
  } catch (const fl::i18n::DeployedException& e) {
    refused = true;
    return checkRefusal("library create", e.what(), package, names);
  } catch (const std::exception& e) {
    return "library create: not a DeployedException: " + escaped(e.what()) + "\n";
  }
  try {
    kzf::KZFPackage reader(u(package), kzf::KZFFileReaderFactory());
    reader.open(kzf::Read);
    reader.extract(u(out));
    reader.close();
  } catch (const std::exception& e) {
    return "library extract refused what create accepted: " + escaped(e.what()) + "\n";
  }
  return differences(root, out, "library round trip:\n");
}

std::string packWithTool(const fs::path& dir, const std::vector<std::string>& names,
                         bool& refused) {
  const std::map<std::string, std::optional<std::string>> environment{
      {"LC_ALL", "C.UTF-8"}, {"LANGUAGE", std::nullopt}, {"TZ", "UTC"},
      {"DEBUG_KZF_VERBOSE", std::nullopt}};
  const KzfRun create = runKzf(dir, {"create", "tool.kzf", "src/app"}, environment);
  if (create.status == 1) {
    refused = true;
    const std::string& err = create.err;
    if (fs::is_empty(dir / "src/app") && err.find("[KZF_NOTHING_TO_STORE]") != std::string::npos)
      return {};
    const bool oneLine = std::count(err.begin(), err.end(), '\n') == 1 && err.back() == '\n' &&
                         err.find("[KZF_SYSTEM_ERROR]") == std::string::npos;
    return checkRefusal("kzf create", err, dir / "tool.kzf", names,
                        oneLine ? "" : "not one identified line; ");
  }
  if (create.status != 0) return "kzf create: status " + std::to_string(create.status) + "\n";
  const KzfRun verify = runKzf(dir, {"verify", "tool.kzf"}, environment);
  if (verify.status != 0)
    return "kzf verify refused what create wrote: " + escaped(verify.err) + "\n";
  const KzfRun extract = runKzf(dir, {"extract", "tool.kzf", "tool-out"}, environment);
  if (extract.status != 0)
    return "kzf extract refused what create accepted: " + escaped(extract.err) + "\n";
  return differences(dir / "src/app", dir / "tool-out", "kzf round trip:\n");
}

/// Packs the tree of `seed` (for seed 0, `tree`), written below dir/src/app, both ways.
Outcome roundTrip(std::uint64_t seed, Tree tree, const fs::path& dir) {
  const fs::path root = dir / "src/app";
  if (seed != 0) tree = Generator(seed, root.string()).make();
  std::string backTo, failure;
  for (const Node& node : tree)
    if (node.kind == Node::File) backTo = node.rel;
  Outcome outcome;
  try {
    writeTree(tree, root, backTo);
    // What a refusal may name: a path below src (the tree, the things beside it, a missing link
    // target), absolute or as the tool was given it, or the name of an entry of some length.
    std::vector<std::string> names{(dir / "src").string() + "/", "src/app"};
    for (const Node& node : tree)
      if (node.rel.size() >= 3) names.push_back(node.rel);
    failure = packWithLibrary(dir, names, outcome.refusedByLibrary);
    failure += packWithTool(dir, names, outcome.refusedByTool);
    if (!failure.empty()) {  // the tree and what lies beside it as written, for the report
      std::istringstream lines(treeListing(dir / "src"));
      std::string listing;
      for (std::string line; std::getline(lines, line);) listing += escaped(line) + "\n";
      failure = listing + failure;
    }
  } catch (const std::exception& e) {  // the tree cannot be written, or a check cannot read it
    failure = "stopped: " + escaped(e.what());
  }
  if (!failure.empty())
    outcome.failure = (seed != 0 ? "seed " + std::to_string(seed) + "\n" : "") + failure;
  return outcome;
}

/// Dates are compared in seconds since the epoch; the process's zone must not move them.
const bool utcZone = (::setenv("TZ", "UTC", 1), ::tzset(), true);

/// A named case: the tree of a seed, or (seed 0) an explicit tree.
struct Case {
  std::string name;
  std::uint64_t seed;
  std::vector<Node> nodes;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class RoundTripProperty : public ::testing::TestWithParam<Case> {};

TEST_P(RoundTripProperty, CreateRefusesOrExtractGivesTheSameTree) {
  TempDir dir;
  const Outcome outcome = roundTrip(GetParam().seed, GetParam().nodes, dir.path());
  if (!outcome.failure.empty()) ADD_FAILURE() << outcome.failure;
}

std::vector<Case> fixedSeeds() {
  std::vector<Case> cases;
  for (std::uint64_t seed = 1; seed <= 24; ++seed)
    cases.push_back({"seed" + std::to_string(seed), seed, {}});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Fixed, RoundTripProperty, ::testing::ValuesIn(fixedSeeds()),
                         [](const auto& row) { return row.param.name; });

Node folder(const std::string& rel) { return {Node::Folder, rel, 0755, {}, {}}; }
Node file(const std::string& rel) { return {Node::File, rel, 0644, {1600000000, 0}, "f\n"}; }
Node link(const std::string& rel, const std::string& to) { return {Node::Link, rel, 0, {}, to}; }

// Each failure the soak found, as the seed that found it or as the smallest tree that shows it.
INSTANTIATE_TEST_SUITE_P(
    Regression, RoundTripProperty,
    ::testing::Values(
        Case{"EmptyFolderIsRefusedByTheTool", 0, {}},
        Case{"NameNotTextInTheLocaleIsRefusedNamingIt", 0, {file("a\xff")}},
        Case{"NewlineInADanglingLinkNameStaysOneLine", 0, {link("a\nb", "missing")}},
        Case{"LinkToItsOwnFolderIsDot", 0, {folder("d"), link("d/l", "../d")}},
        Case{"LinkToTheSiblingNamedLikeTheRoot", 0, {link("l", "../app-data/x")}},
        Case{"LinkToItselfOutsideTheTree", 0, {link("l", "../app-data/oloop")}},
        Case{"NamesDifferingOnlyInCase", 0,
             {file("readme"), file("README"), link("L", "readme"), link("l", "README")}},
        Case{"LinksToDotAndDotDotWithSlashes", 0,
             {folder("d"), link("d/l", "./"), link("d/m", "../"), link("n", "./.")}},
        Case{"ControlCharactersInFolderAndLinkNames", 0, {folder("a\x01b"), link("t\tl", ".")}},
        Case{"BackslashInAFileName", 0, {file("f\\g")}},
        Case{"DotDotAfterAFolderLinkIsResolvedOnDisk", 0,
             {folder("ex"), folder("t"), folder("t/sub"), file("t/x"), file("ex/x"),
              link("ex/d", "../t/sub"), link("l", "ex/d/../x")}},
        Case{"ChainLeavingTheTreeAndComingBack", 0, {file("f"), link("l", "../app-data/back")}},
        Case{"LinkToAFolderWithTrailingSlash", 0,
             {folder("sub"), file("sub/f"), link("dl", "sub/"), link("o", "../app-data/dir/")}},
        Case{"FileAndFolderWhosePartNamesNestByCase", 0, {file("x"), folder("X"), file("X/y")}},
        Case{"DotDotAfterALoopOfLinksLeadsNowhere", 0,
             {folder("ab"), file("ab/f"), link("ab/y", "z"), link("ab/z", "y"),
              link("l", "ab/y/../f")}}),
    [](const auto& row) { return row.param.name; });

/// Fresh seeds until KZF_SOAK_SECONDS have passed (scripts/roundtrip-soak); skipped otherwise.
TEST(RoundTripSoak, FreshSeeds) {
  const char* seconds = std::getenv("KZF_SOAK_SECONDS");
  if (seconds == nullptr) GTEST_SKIP() << "set KZF_SOAK_SECONDS to run";
  const auto start = std::chrono::steady_clock::now();
  const auto until = start + std::chrono::seconds(std::atoll(seconds));
  // KZF_SOAK_SEED replays one seed: the seeds the soak draws start from it.
  const char* first = std::getenv("KZF_SOAK_SEED");
  std::mt19937_64 seeds(first != nullptr ? 0 : std::random_device{}());
  unsigned trees = 0, failures = 0, refusedByLibrary = 0, refusedByTool = 0;
  while ((first != nullptr && trees == 0) || std::chrono::steady_clock::now() < until) {
    const std::uint64_t seed = first != nullptr && trees == 0 ? std::stoull(first) : seeds() >> 1;
    TempDir dir;
    const Outcome outcome = roundTrip(seed, {}, dir.path());
    ++trees;
    refusedByLibrary += outcome.refusedByLibrary;
    refusedByTool += outcome.refusedByTool;
    failures += !outcome.failure.empty();
    if (!outcome.failure.empty()) std::cout << "FAILED " << outcome.failure << "\n" << std::flush;
  }
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::cout << "roundtrip soak: " << trees << " trees in " << elapsed << " s, " << failures
            << " failing; refused by the library " << refusedByLibrary << ", by kzf "
            << refusedByTool << "\n";
  EXPECT_EQ(failures, 0u);
}

}  // namespace
}  // namespace kzftest
