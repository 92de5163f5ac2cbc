// KZFProgressObserver: an optional listener for the progress of creating and extracting.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfpackage/Export.hpp>

#include <cstddef>
#include <cstdint>

namespace Quorlith::kzfpackage {

/// Where a package operation stands after one more entry.
struct KZFProgress {
  enum class Phase { Adding, Extracting };
  Phase phase = Phase::Adding;
  /// Entries stored or extracted so far by this operation.
  std::size_t entriesDone = 0;
  /// Entries the operation knows of. While adding, link targets found on the way are added to
  /// it when they are queued, so it can grow.
  std::size_t entriesTotal = 0;
  /// Content bytes stored or written so far (file content; links and folders count nothing).
  std::uint64_t bytesDone = 0;
  /// The destination name of the entry just done.
  fl::i18n::ustring name;
};

/// Receives one call per entry while a package adds a file list, processes its deferred link
/// targets at close, or extracts. Called on the thread doing the work; an exception it throws
/// ends that operation as any failure would.
class KZF_EXPORT KZFProgressObserver {
 public:
  virtual ~KZFProgressObserver();
  virtual void onProgress(const KZFProgress& progress) = 0;
};

}  // namespace Quorlith::kzfpackage
