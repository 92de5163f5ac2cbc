// The kzf commands: each opens one package through the library and reports on `out`.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "SourceList.hpp"

namespace kzf::tool {

/// Exit statuses of the tool.
enum ExitStatus : int {
  kSuccess = 0,
  kFailure = 1,  ///< the operation failed, or verify found problems; standard error says why
  kUsage = 2,    ///< the command line was wrong
};

/// What "kzf create" stores and how.
struct CreateOptions {
  std::string package;
  SourceOptions sources;
  std::string settingsFile;  ///< JSON settings to store; none when empty
  std::string title;         ///< core properties; absent when empty
  std::string creator;
  std::string description;
  bool force = false;  ///< replace an existing package
  bool quiet = false;  ///< no progress line
  int level = -1;      ///< compression level 0 to 9; -1: the library's default
  bool noOutside = false;  ///< refuse links that leave the tree
  /// Bounds on what links bring in from outside the tree (entries, content bytes); 0: none.
  std::uint64_t outsideEntries = 10000;
  std::uint64_t outsideBytes = std::uint64_t{1} << 30;
};

/// What "kzf list" shows.
struct ListOptions {
  bool details = false;  ///< kind, mode, sizes, ratio, date and link targets
  bool all = false;      ///< the manifests under /.META/ too
  bool asJson = false;   ///< every entry as JSON (manifests included)
};

/// Writes a new package from the sources in one addFileListToKZF call.
int runCreate(const CreateOptions& options);
/// What "kzf extract" writes.
struct ExtractOptions {
  bool overwrite = false;          ///< files and links replace those there (else: refused)
  std::vector<std::string> names;  ///< only these entries (and what their links need)
  bool quiet = false;
};

/// Extracts a package below `directory`. Names of the package already there refuse it before
/// anything is written, unless `overwrite`.
int runExtract(const std::string& package, const std::string& directory,
               const ExtractOptions& options);
/// Lists the names of a package's entries (see ListOptions).
int runList(const std::string& package, const ListOptions& options, std::ostream& out);
/// Prints the settings of a package, or of a folder a package was extracted to.
int runSettings(const std::string& packageOrFolder, bool asJson, std::ostream& out);
/// Checks a package; kFailure, with the problems listed, when it has any.
int runVerify(const std::string& package, std::ostream& out);

}  // namespace kzf::tool
