// Chooses the reader for each file: the first handle that claims it, else the plain readers.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/Export.hpp>
#include <kzfdatainterfaces/KZFFileReader.hpp>
#include <kzfdatainterfaces/KZFReaderFactoryHandle.hpp>
#include <kzfdatainterfaces/KZFStreamReader.hpp>
#include <memory>
#include <opc/Stream.hpp>
#include <vector>

namespace Quorlith::kzfdatainterfaces {

/// An ordered list of reader handles. A copy shares the handles (they hold no per-file state)
/// but has a list of its own. Names no handle claims are read unchanged by the plain readers.
class KZFDI_API KZFFileReaderFactory {
 public:
  using Handles = std::vector<std::shared_ptr<KZFReaderFactoryHandle>>;

  /// A factory without handles: every file is read unchanged.
  KZFFileReaderFactory() = default;
  /// A factory asking `handles` in order. Throws std::invalid_argument for a null handle.
  explicit KZFFileReaderFactory(Handles handles);

  /// Appends `handle`, asked after the ones already present. Throws std::invalid_argument
  /// when it is null.
  void addHandle(std::shared_ptr<KZFReaderFactoryHandle> handle);

  /// True when the reader for `name` changes its content: the first handle that claims the
  /// name decides; false when none claims it.
  bool willBeTransformed(const fl::i18n::ustring& name) const;

  /// The reader for the source file `source`: the first claiming handle's, else the plain
  /// file reader (which opens the file only at its first read). Throws std::runtime_error
  /// naming the source when a handle returns no reader.
  std::unique_ptr<KZFFileReader> getReader(const fl::i18n::ustring& source) const;

  /// The reader over the stored content `in` of the entry `name`: the first claiming handle's,
  /// else the plain stream reader. `in` must outlive the reader. Throws std::runtime_error
  /// naming the entry when a handle returns no reader.
  std::unique_ptr<KZFStreamReader> getReader(const fl::i18n::ustring& name,
                                             opc::InputStream& in) const;

 private:
  const KZFReaderFactoryHandle* claimant(const fl::i18n::ustring& name) const;

  Handles handles_;
};

}  // namespace Quorlith::kzfdatainterfaces
