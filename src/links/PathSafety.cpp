// Path safety for extraction: name checks, link containment, resolution beneath the root.
#include "PathSafety.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fl/i18n/Describe.hpp>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace Quorlith::kzfpackage::pathsafety {

namespace {

/// Links followed while judging one target before it counts as a loop (the kernel's limit).
constexpr int kMaxLinkExpansions = 40;
/// openat2 answers EAGAIN when a rename raced the lookup; it is asked again this many times.
constexpr int kMaxOpenat2Retries = 64;
/// Attempts at a fresh temporary name before giving up.
constexpr int kMaxTemporaryNameAttempts = 100;
/// A file's content goes to the kernel in writes of at most this size (see StagedFile::write).
constexpr std::size_t kMaxWriteSize = 16 * 1024;

std::atomic<bool> walkForced{false};
/// Set once the kernel (or a seccomp policy) has answered ENOSYS or EPERM to openat2.
std::atomic<bool> openat2Unavailable{false};

}  // namespace

namespace {

bool isControl(char16_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

std::vector<std::string> split(std::string_view text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (;;) {
    std::size_t slash = text.find('/', start);
    parts.emplace_back(text.substr(start, slash - start));
    if (slash == std::string_view::npos) return parts;
    start = slash + 1;
  }
}

/// Components `first` to `count` - 1 joined by "/".
std::string join(const std::vector<std::string>& parts, std::size_t count, std::size_t first = 0) {
  std::string out;
  for (std::size_t i = first; i < count; ++i) {
    if (i != first) out += '/';
    out += parts[i];
  }
  return out;
}

std::string folderProblem(int error) {
  switch (error) {
    // O_NOFOLLOW | O_DIRECTORY answers ENOTDIR for a link, RESOLVE_NO_SYMLINKS ELOOP.
    case ELOOP:
    case ENOTDIR:
      return "is not a real folder (a file, or a symbolic link, which extraction never follows)";
    case EXDEV:
      return "leads outside the extraction root";
    default:
      return std::strerror(error);
  }
}

}  // namespace

EntryRefusal::EntryRefusal(Rule brokenRule, std::string entryName, std::string why)
    : std::runtime_error("entry \"" + entryName + "\": " + why),
      rule(brokenRule),
      entry(std::move(entryName)),
      reason(std::move(why)) {}

void refuseEntry(const std::string& entry, Rule rule, const std::string& reason) {
  throw EntryRefusal(rule, entry, reason);
}

void refuseEntry(const std::string& entry, const std::string& reason) {
  throw EntryRefusal(Rule::Other, entry, reason);
}

std::string EntryPath::relative() const { return join(components, components.size()); }

namespace {

// The name is described only when it is refused: every entry passes through here.
[[noreturn]] void refuseName(const fl::i18n::ustring& name, const std::string& reason) {
  refuseEntry(fl::i18n::describe(name), Rule::Name, reason);
}

}  // namespace

EntryPath checkEntryName(const fl::i18n::ustring& name) {
  if (name.empty()) refuseName(name, "the name is empty");
  for (char16_t c : name) {
    if (c == 0) refuseName(name, "the name holds a NUL character");
    if (isControl(c)) refuseName(name, "the name holds a control character");
    if (c == u'\\') refuseName(name, "the name holds a backslash");
  }
  // One leading "/" names the root itself: the library's own entries are written that way.
  const std::u16string_view body =
      name.front() == u'/' ? std::u16string_view(name).substr(1) : std::u16string_view(name);
  if (body.empty()) refuseName(name, "the name is only \"/\"");
  if (body.back() == u'/') refuseName(name, "the name ends in \"/\"");
  std::string narrow;
  try {
    narrow = fl::i18n::to_string(fl::i18n::ustring(body));
  } catch (const std::exception& e) {
    refuseName(name, std::string("the name has no form in the narrow encoding: ") + e.what());
  }
  // A multi-byte encoding may place a backslash byte inside a character.
  if (narrow.find('\\') != std::string::npos) refuseName(name, "the name holds a backslash");
  if (narrow.size() > kMaxNameBytes) {
    refuseName(name, "the name is longer than " + std::to_string(kMaxNameBytes) + " bytes");
  }
  EntryPath path{split(narrow)};
  for (const std::string& component : path.components) {
    if (component.empty()) refuseName(name, "the name has an empty component");
    if (component == "." || component == "..") {
      refuseName(name, "the name has a \"" + component + "\" component");
    }
    if (component.size() > kMaxComponentBytes) {
      refuseName(name, "a component of the name is longer than " +
                           std::to_string(kMaxComponentBytes) + " bytes");
    }
  }
  return path;
}

void checkLinkTarget(const EntryPath& link, const std::string& target,
                     const std::map<std::string, std::string>& links) {
  const std::string shown = link.relative();
  if (!target.empty() && target.front() == '/') {
    refuseEntry(shown, Rule::Link, "the link target \"" + target + "\" is absolute");
  }
  // Where the walk stands, as text ("a/b"), with where each component begins: stepping in or
  // out costs the component's length, never a rejoin of the whole place, so a deep target
  // costs its length rather than its length squared.
  std::string place;
  std::vector<std::size_t> starts;
  auto enter = [&place, &starts](const std::string& component) {
    starts.push_back(place.size());
    if (!place.empty()) place += '/';
    place += component;
  };
  auto leave = [&place, &starts] {
    place.resize(starts.back());
    starts.pop_back();
  };
  for (std::size_t i = 0; i + 1 < link.components.size(); ++i) enter(link.components[i]);
  std::deque<std::string> pending;
  for (std::string& part : split(target)) pending.push_back(std::move(part));
  int expansions = 0;
  while (!pending.empty()) {
    const std::string component = std::move(pending.front());
    pending.pop_front();
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (starts.empty()) {
        refuseEntry(shown, Rule::Link,
                    "the link target \"" + target + "\" climbs out of the extraction root");
      }
      leave();
      continue;
    }
    // The last component is not followed: a link it names is an entry of its own, whose
    // target is checked in turn. Following it would refuse a long chain of links to links,
    // which the kernel makes without complaint and a package may carry.
    if (pending.empty()) break;
    enter(component);
    const auto through = links.find(place);
    if (through == links.end()) continue;
    if (++expansions > kMaxLinkExpansions) {
      refuseEntry(shown, Rule::Link,
                  "the link target \"" + target + "\" leads through a loop of links");
    }
    leave();
    const std::string& next = through->second;
    if (!next.empty() && next.front() == '/') {
      refuseEntry(shown, Rule::Link,
                  "the link target \"" + target + "\" passes through the link \"" + through->first +
                      "\", whose target is absolute");
    }
    std::vector<std::string> parts = split(next);
    pending.insert(pending.begin(), parts.begin(), parts.end());
  }
}

EntryPath EntryRules::admit(const fl::i18n::ustring& name, KZFFileEntryType type) {
  EntryPath place = checkEntryName(name);
  const std::string shown = place.relative();
  // "a" and "/a" are one place: one entry may hold it (two folders may both name it).
  const auto [kind, fresh] = kinds_.emplace(shown, type);
  if (!fresh && (kind->second != type || type != KZFFileEntryType::Folder)) {
    refuseEntry(shown, Rule::Place,
                kind->second == type ? "the name is used by two entries"
                                     : "the name is used by two entries of different kinds");
  }
  if (type != KZFFileEntryType::Folder && folders_.count(shown) != 0) {
    refuseEntry(shown, Rule::Place, "the name is used as a folder by other entries");
  }
  // Every level above an entry is a folder: extraction never writes through a file or a link.
  std::string above;
  for (std::size_t i = 0; i + 1 < place.components.size(); ++i) {
    if (i != 0) above += '/';
    above += place.components[i];
    const auto held = kinds_.find(above);
    if (held != kinds_.end() && held->second != KZFFileEntryType::Folder) {
      refuseEntry(shown, Rule::Place, "\"" + above + "\" above it is not a folder");
    }
    folders_.insert(above);
  }
  return place;
}

void EntryRules::addLink(const EntryPath& place, const std::string& target) {
  links_[place.relative()] = target;
}

void EntryRules::checkLinks() const {
  for (const auto& [place, target] : links_) {
    checkLinkTarget(EntryPath{split(place)}, target, links_);
  }
}

void forceComponentWalk(bool on) { walkForced = on; }

BeneathRoot::BeneathRoot(const std::string& root) : root_(root) {
  fd_ = FileHandle(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd_.get() < 0)
    refuseEntry(".", "cannot open the extraction root: " + std::string(std::strerror(errno)));
}

FileHandle BeneathRoot::openExisting(int folder, const std::string& relative, int& error) const {
  if (!walkForced && !openat2Unavailable) {
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    for (int attempt = 0;; ++attempt) {
      const long fd = ::syscall(SYS_openat2, folder, relative.c_str(), &how, sizeof how);
      if (fd >= 0) return FileHandle(static_cast<int>(fd));
      if (errno == EINTR || (errno == EAGAIN && attempt < kMaxOpenat2Retries)) continue;
      break;
    }
    if (errno != ENOSYS && errno != EPERM) {
      error = errno;
      return FileHandle();
    }
    // Older kernels lack openat2 and some sandboxes forbid it: walk instead, from now on.
    openat2Unavailable = true;
  }
  // Names were checked to hold no "." or ".." component, so with O_NOFOLLOW on every step
  // the walk can neither climb out nor pass through a link.
  FileHandle current;
  int at = folder;
  for (const std::string& component : split(relative)) {
    FileHandle next(
        ::openat(at, component.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (next.get() < 0) {
      error = errno;
      return FileHandle();
    }
    current = std::move(next);
    at = current.get();
  }
  return current;
}

FileHandle BeneathRoot::openFolder(const EntryPath& place, std::size_t count,
                                   const std::string& entry, const FileHandle* from,
                                   std::size_t fromCount) const {
  const int start = from != nullptr ? from->get() : fd_.get();
  if (from == nullptr) fromCount = 0;
  if (count == fromCount) {
    FileHandle copy(::fcntl(start, F_DUPFD_CLOEXEC, 0));
    if (copy.get() < 0)
      refuseEntry(entry, "cannot reach the extraction root: " + std::string(std::strerror(errno)));
    return copy;
  }
  // The whole path first: in the common case every level exists already.
  int error = 0;
  FileHandle whole = openExisting(start, join(place.components, count, fromCount), error);
  if (whole.get() >= 0) return whole;
  if (error != ENOENT) {
    refuseEntry(entry,
                "the folder \"" + join(place.components, count) + "\" " + folderProblem(error));
  }
  FileHandle current = openFolder(place, fromCount, entry, from, fromCount);
  for (std::size_t i = fromCount; i < count; ++i) {
    const std::string& component = place.components[i];
    FileHandle next = openExisting(current.get(), component, error);
    if (next.get() < 0 && error == ENOENT) {
      // Another entry (or another process) may make the folder first: EEXIST is fine, and the
      // open that follows decides whether what exists is a real folder.
      if (::mkdirat(current.get(), component.c_str(), 0777) != 0 && errno != EEXIST) {
        refuseEntry(entry, "cannot create the folder \"" + join(place.components, i + 1) +
                               "\": " + std::strerror(errno));
      }
      next = openExisting(current.get(), component, error);
    }
    if (next.get() < 0) {
      refuseEntry(entry,
                  "the folder \"" + join(place.components, i + 1) + "\" " + folderProblem(error));
    }
    current = std::move(next);
  }
  return current;
}

const FileHandle& HeldFolder::reach(const BeneathRoot& root, const EntryPath& place,
                                    std::size_t count, const std::string& entry) {
  const auto first = place.components.begin();
  const bool heldIsPrefix = fd_.get() >= 0 && components_.size() <= count &&
                            std::equal(components_.begin(), components_.end(), first);
  if (heldIsPrefix && components_.size() == count) return fd_;
  // A folder below the held one is reached from it: a chain of nested folders, which name
  // order brings one after another, then costs one step per level instead of a walk from the
  // root per level.
  fd_ = heldIsPrefix ? root.openFolder(place, count, entry, &fd_, components_.size())
                     : root.openFolder(place, count, entry);
  components_.assign(first, first + static_cast<std::ptrdiff_t>(count));
  return fd_;
}

StagedFile::StagedFile(const FileHandle& folder, const std::string& finalName,
                       const std::string& entry)
    : folder_(folder.get()), finalName_(finalName), entry_(entry) {
  // Writing under the final name saves a rename per file, which on tmpfs costs about as much
  // as creating the file (an unnamed O_TMPFILE file linked in at the end costs more still).
  // The price: a process killed while writing leaves a short file under the final name, as it
  // leaves the tree incomplete; every failure that is reported removes the file.
  // Mode 0666: the umask then gives the file the mode any newly written file would get.
  fd_ = FileHandle(::openat(folder_, finalName_.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (fd_.get() >= 0) return;
  if (errno != EEXIST) fail("create it", errno);
  createTemporary();
}

void StagedFile::createTemporary() {
  temporaryName_ = makeUnderFreshName(".kzfext-", entry_, [this](const std::string& candidate) {
    fd_ = FileHandle(::openat(folder_, candidate.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (fd_.get() >= 0) return true;
    if (errno != EEXIST) fail("create a temporary file in its folder", errno);
    return false;
  });
}

std::string makeUnderFreshName(const std::string& prefix, const std::string& entry,
                               const std::function<bool(const std::string&)>& make) {
  static constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  thread_local std::mt19937_64 random{std::random_device{}()};
  std::uniform_int_distribution<std::size_t> pick(0, sizeof kAlphabet - 2);
  for (int attempt = 0; attempt < kMaxTemporaryNameAttempts; ++attempt) {
    std::string candidate = prefix;
    for (int i = 0; i < 8; ++i) candidate += kAlphabet[pick(random)];
    if (make(candidate)) return candidate;
  }
  refuseEntry(entry, std::string("cannot find a free temporary name in its folder: ") +
                         std::strerror(EEXIST));
}

StagedFile::~StagedFile() {
  if (committed_) return;
  fd_.reset();
  ::unlinkat(folder_, (temporaryName_.empty() ? finalName_ : temporaryName_).c_str(), 0);
}

void StagedFile::write(const char* data, std::size_t count) {
  // Small writes. The page cache of ext4 sizes its folios after the write, and 256 KiB
  // writes made the kernel's copy into fresh 256 KiB folios the bulk of a disk extraction
  // (70% of the samples of a slow run), though not on tmpfs. Extracting two 512 MiB files to
  // ext4 right after writing the package, 4 alternating runs each on a shared machine:
  // 256 KiB writes 3.50-4.56 s (system 1.47-1.72 s), 16 KiB writes 1.82-2.55 s (system
  // 0.43-0.58 s); to tmpfs the medians were 2.22 s and 2.33 s, within the noise.
  while (count > 0) {
    const ssize_t written = ::write(fd_.get(), data, std::min(count, kMaxWriteSize));
    if (written < 0) {
      if (errno == EINTR) continue;
      fail("write its content", errno);
    }
    data += written;
    count -= static_cast<std::size_t>(written);
  }
}

bool StagedFile::setPermission(mode_t permission) {
  // Only the permission bits: a package never sets set-user-id, set-group-id or sticky.
  return ::fchmod(fd_.get(), permission & 0777) == 0;
}

void StagedFile::setModificationTime(std::time_t seconds) {
  const timespec times[2] = {{0, UTIME_OMIT}, {seconds, 0}};
  if (::futimens(fd_.get(), times) != 0) fail("set its modification time", errno);
}

void StagedFile::commit() {
  try {
    fd_.close();
  } catch (const std::system_error& e) {
    fail("close it after writing", e.code().value());
  }
  if (!temporaryName_.empty() &&
      ::renameat(folder_, temporaryName_.c_str(), folder_, finalName_.c_str()) != 0) {
    fail("rename it over its final name", errno);
  }
  committed_ = true;
}

void StagedFile::fail(const std::string& action, int error) const {
  refuseEntry(entry_, "cannot " + action + ": " + std::strerror(error));
}

}  // namespace Quorlith::kzfpackage::pathsafety
