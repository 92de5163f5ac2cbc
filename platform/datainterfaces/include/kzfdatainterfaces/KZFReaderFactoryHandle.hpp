// One pluggable source of readers for the names it claims (for example enciphered code files).
#pragma once

#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/Export.hpp>
#include <kzfdatainterfaces/KZFFileReader.hpp>
#include <kzfdatainterfaces/KZFStreamReader.hpp>
#include <memory>
#include <opc/Stream.hpp>

namespace Quorlith::kzfdatainterfaces {

/// Supplies the readers for the files it claims. A factory asks its handles in order; the
/// first one that claims a name serves it.
class KZFDI_API KZFReaderFactoryHandle {
 public:
  virtual ~KZFReaderFactoryHandle();
  KZFReaderFactoryHandle(const KZFReaderFactoryHandle&) = delete;
  KZFReaderFactoryHandle& operator=(const KZFReaderFactoryHandle&) = delete;

  /// True when this handle serves the file `name` (a source path or a destination name).
  virtual bool claims(const fl::i18n::ustring& name) const = 0;
  /// True when the readers of this handle change the content of the claimed `name`.
  virtual bool transforms(const fl::i18n::ustring& name) const = 0;
  /// A reader for the source file `source`; never null.
  virtual std::unique_ptr<KZFFileReader> createFileReader(
      const fl::i18n::ustring& source) const = 0;
  /// A reader over the stored content `in` of the entry `name`; never null. The reader reads
  /// from `in`, which must outlive it.
  virtual std::unique_ptr<KZFStreamReader> createStreamReader(const fl::i18n::ustring& name,
                                                              opc::InputStream& in) const = 0;

 protected:
  KZFReaderFactoryHandle() = default;
};

}  // namespace Quorlith::kzfdatainterfaces
