// A reserved temporary file name in a chosen directory, deleted when the guard goes away.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <opc/Export.hpp>
#include <string>

namespace opc::util {

/// Reserves a fresh, unused file name in a directory by creating an empty file under it, and
/// deletes whatever file has that name when destroyed. A caller may remove the file and rename
/// another one onto the name (to keep a backup there): the guard deletes that one in turn.
/// Neither copied nor moved: its owner holds it by pointer.
class OPC_API TempfileGuard {
 public:
  /// Creates the file in `directory`. Throws std::runtime_error naming the directory when it
  /// cannot be created there.
  explicit TempfileGuard(const fl::i18n::ustring& directory);
  ~TempfileGuard();
  TempfileGuard(const TempfileGuard&) = delete;
  TempfileGuard& operator=(const TempfileGuard&) = delete;

  /// The full path of the reserved file (the directory given, a slash, the file's name).
  const fl::i18n::ustring& getFileName() const;

 private:
  void removeFile() noexcept;

  fl::i18n::ustring fileName_;
  std::string narrowFileName_;
};

}  // namespace opc::util
