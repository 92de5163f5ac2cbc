// Turns the sources named on the command line and in a list file into the package's file list.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFRecordData.hpp>
#include <map>
#include <string>
#include <vector>

namespace kzf::tool {

/// Where "kzf create" takes its content from.
struct SourceOptions {
  /// The package being written: never stored in itself.
  std::string package;
  /// Folders (walked) and files or links (stored by their own name).
  std::vector<std::string> sources;
  /// Package folder the sources are stored below; the package root when empty.
  std::string prefix;
  /// File of "source<TAB>destination" lines; none when empty.
  std::string listFile;
  /// Leave dangling symbolic links out instead of refusing them.
  bool skipDanglingLinks = false;
  /// Patterns of what to leave out: one without "/" matches an entry's own name at any depth
  /// ("*.o", ".git"), one with "/" its path below the folder named as a source ("build/tmp").
  /// An excluded folder is left out with everything in it.
  std::vector<std::string> excludes;
  /// Leave FIFOs, sockets and devices out instead of refusing them.
  bool skipSpecial = false;
};

/// A symbolic link whose target does not exist, as the user named it.
struct DanglingLink {
  std::string source;
  std::string target;
};

/// The file list for one addFileListToKZF call, keyed by absolute source path, and the dangling
/// links left out of it.
struct SourceList {
  std::map<fl::i18n::ustring, Quorlith::kzfdatainterfaces::KZFRecordData> files;
  std::vector<DanglingLink> skipped;
  /// The FIFOs, sockets and devices left out, as the user named them.
  std::vector<std::string> skippedSpecial;
  /// The symbolic links among the sources (keys of `files`), as the user named them.
  std::map<fl::i18n::ustring, std::string> linkNames;
};

/// Collects every source of `options`. A folder is walked without following links: what it
/// holds is stored under its path relative to the folder, below the prefix. A file or link is
/// stored under its own name below the prefix. Each list line stores its source under exactly
/// the destination it names. Nothing is written. Throws UsageError for a prefix or list
/// destination that is not a relative path inside the package; ToolError for a missing source,
/// an unreadable folder or list, a malformed list line, two sources for one destination,
/// a source or destination name holding a backslash, and (unless skipDanglingLinks) for
/// dangling links and (unless skipSpecial) for FIFOs, sockets and devices, all of which the one
/// message names.
SourceList collectSources(const SourceOptions& options);

}  // namespace kzf::tool
