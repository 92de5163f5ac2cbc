// Temporary file guard: creates a uniquely named file and deletes it on destruction.
#include <unistd.h>

#include <opc/core/FileHandle.hpp>
#include <opc/util/TempfileGuard.hpp>

namespace opc::util {

namespace {
// Readable by the owner only: the name may later hold a moved-aside package.
constexpr unsigned kGuardFileMode = 0600;
}  // namespace

TempfileGuard::TempfileGuard(const fl::i18n::ustring& directory) {
  core::FileHandle file =
      core::createUniqueFile(fl::i18n::to_string(directory), ".kzftmp-", kGuardFileMode);
  narrowFileName_ = file.path();
  try {
    file.close();
    fileName_ = fl::i18n::to_ustring(narrowFileName_);
  } catch (...) {
    removeFile();
    throw;
  }
}

TempfileGuard::~TempfileGuard() { removeFile(); }

const fl::i18n::ustring& TempfileGuard::getFileName() const { return fileName_; }

void TempfileGuard::removeFile() noexcept {
  // A missing file is fine: its owner may have renamed it away already.
  if (!narrowFileName_.empty()) ::unlink(narrowFileName_.c_str());
  narrowFileName_.clear();
}

}  // namespace opc::util
