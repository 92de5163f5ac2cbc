// Path safety for extraction: entry-name checks, link-target containment, and folder and file
// operations resolved beneath an open handle on the extraction root, never through a link.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <fl/i18n/ustring.hpp>
#include <functional>
#include <kzfpackage/KZFFileEntry.hpp>
#include <map>
#include <opc/core/FileHandle.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quorlith::kzfpackage::pathsafety {

using opc::core::FileHandle;

/// Longest component and longest whole name (in narrow bytes) an entry may have.
constexpr std::size_t kMaxComponentBytes = 255;
constexpr std::size_t kMaxNameBytes = 4095;

/// The rule an entry breaks. Extraction reports every refusal as KZFPACKAGE_EXTRACT_FAILED;
/// creation, which must refuse the same entries before they are written, names the rule.
enum class Rule {
  Name,   ///< the name itself (empty, ".", "..", control characters, lengths, encoding)
  Place,  ///< one entry per place, one kind per place, folders above every entry
  Link,   ///< a link target leaving the root or going round a loop
  Other   ///< a failure of the disk or of the package, not of a rule
};

/// An entry refused: what() is "entry \"<entry>\": <reason>".
class EntryRefusal : public std::runtime_error {
 public:
  EntryRefusal(Rule rule, std::string entry, std::string reason);
  Rule rule;
  std::string entry;
  std::string reason;
};

/// The one place that refuses an entry; extract reports it as KZFPACKAGE_EXTRACT_FAILED with
/// the root.
[[noreturn]] void refuseEntry(const std::string& entry, Rule rule, const std::string& reason);
/// The same for failures that break no rule (the disk, the package's parts).
[[noreturn]] void refuseEntry(const std::string& entry, const std::string& reason);

/// An entry name that passed checkEntryName: its components below the extraction root.
struct EntryPath {
  /// The components in narrow text, at least one, none empty, "." or "..".
  std::vector<std::string> components;
  /// The components joined with "/" (no leading "/").
  std::string relative() const;
};

/// Checks one entry name before anything touches the disk and returns its place below the
/// root. One leading "/" means the root itself. Throws std::runtime_error naming the entry when
/// the name is empty, has an empty, "." or ".." component, ends in "/", holds a backslash, a
/// NUL or another control character, has a component over 255 bytes or is over 4095 bytes as a
/// whole, or cannot be converted strictly to the narrow encoding.
EntryPath checkEntryName(const fl::i18n::ustring& name);

/// Throws std::runtime_error naming the link when `target`, read from the link's own folder,
/// is absolute or climbs out of the root. `links` maps the relative path of every link the
/// package will create to its target: a folder component (any but the last) that names one of
/// them is followed, as the kernel would follow it, so that chains ("cur" -> ".", "par" ->
/// "cur/..") are judged by where they really lead. The last component is not followed: a link
/// there is judged as an entry of its own. Costs the target's length plus the links followed.
void checkLinkTarget(const EntryPath& link, const std::string& target,
                     const std::map<std::string, std::string>& links);

/// The rules every entry of a package obeys, applied in one place: by extraction to the
/// entries of a manifest before anything touches the disk, by `verify` to the same, and by
/// creation to each entry as it is added (links at close, once every link is known), so that a
/// package the library writes is one it extracts.
class EntryRules {
 public:
  /// Checks one more entry: its name, and that its place is not held by another entry (two
  /// folders may share one) and lies below folders only. Returns the place.
  EntryPath admit(const fl::i18n::ustring& name, KZFFileEntryType type);
  /// Remembers a link admitted at `place` with its target text, for checkLinks.
  void addLink(const EntryPath& place, const std::string& target);
  /// Checks every remembered link with checkLinkTarget.
  void checkLinks() const;

 private:
  std::map<std::string, KZFFileEntryType> kinds_;
  std::set<std::string> folders_;  ///< every place some entry lies below
  std::map<std::string, std::string> links_;
};

/// Test switch: when on, folders are resolved by the component-by-component walk even where
/// the kernel offers openat2, so that both resolutions can be tested on one machine.
void forceComponentWalk(bool on);

/// The extraction root, held open. Every folder below it is reached without following any
/// symbolic link: with openat2(RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS)
/// where the kernel offers it, otherwise by opening one component at a time with O_NOFOLLOW.
class BeneathRoot {
 public:
  /// Opens `root` (an existing folder). Throws std::runtime_error naming it on failure.
  explicit BeneathRoot(const std::string& root);

  /// The root as given, for messages and traces.
  const std::string& path() const { return root_; }

  /// Opens the folder made of the first `count` components of `place`, creating missing levels
  /// with mkdirat. An existing name is accepted only when it is a real folder. Errors name
  /// `entry`. With `from`, an open folder of the first `fromCount` components (itself reached
  /// through this object), only the levels below it are resolved, from it.
  FileHandle openFolder(const EntryPath& place, std::size_t count, const std::string& entry,
                        const FileHandle* from = nullptr, std::size_t fromCount = 0) const;

 private:
  FileHandle openExisting(int folder, const std::string& relative, int& error) const;

  std::string root_;
  FileHandle fd_;
};

/// The folder that consecutive entries are extracted into, held open from one entry to the next
/// (entries come in name order, so the files of one folder follow each other) and opened anew
/// through BeneathRoot::openFolder, with all its checks, when an entry lies elsewhere. Holding
/// it is safe because extraction never removes, renames or replaces a folder: a link is never
/// made over an existing name and a file never replaces a folder, so no later entry can put
/// something else in the place of the held folder.
class HeldFolder {
 public:
  /// The folder made of the first `count` components of `place` below `root`; it stays open
  /// until a call asks for another folder. Errors name `entry`.
  const FileHandle& reach(const BeneathRoot& root, const EntryPath& place, std::size_t count,
                          const std::string& entry);

 private:
  std::vector<std::string> components_;
  FileHandle fd_;
};

/// Makes something (a file, a link) beside the name it is to replace, under a fresh hidden name
/// `prefix` + 8 random letters and digits, and returns that name. `make(name)` returns true once
/// it has made it, false when the name is taken (EEXIST), and reports any other failure
/// itself; when no free name turns up, the refusal names `entry`.
std::string makeUnderFreshName(const std::string& prefix, const std::string& entry,
                               const std::function<bool(const std::string&)>& make);

/// A file being written into its folder; unless `commit` runs, nothing of it stays. Where the
/// final name is free, the file is created under it (O_EXCL | O_NOFOLLOW) and removed again on
/// failure. Where something is there already (the file of an earlier extraction, a planted link
/// or hard link), the file is written under a fresh temporary name that `commit` renames over
/// the final name: what was there is replaced, never written through, and stays as it was
/// until the new file is whole.
class StagedFile {
 public:
  /// Creates the file (mode 0666 less the umask) in `folder`. `folder`, `finalName` and `entry`
  /// must outlive this object. Errors name `entry`.
  StagedFile(const FileHandle& folder, const std::string& finalName, const std::string& entry);
  ~StagedFile();
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// Appends bytes; a failed write throws.
  void write(const char* data, std::size_t count);
  /// Sets the permission bits (masked with 0777); returns false when the change failed.
  bool setPermission(mode_t permission);
  /// Sets the modification time (the access time is left alone); a failure throws.
  void setModificationTime(std::time_t seconds);
  /// Closes the file (a failed close throws) and, when it was written under a temporary name,
  /// renames it over the final name.
  void commit();

 private:
  [[noreturn]] void fail(const std::string& action, int error) const;
  /// Writes under a fresh temporary name instead, because the final name is taken.
  void createTemporary();

  int folder_;
  const std::string& finalName_;
  const std::string& entry_;
  std::string temporaryName_;  ///< empty while the file is written under its final name
  FileHandle fd_;
  bool committed_ = false;
};

}  // namespace Quorlith::kzfpackage::pathsafety
