// One pluggable source of readers for the names it claims (for example enciphered code files).
#include <kzfdatainterfaces/KZFReaderFactoryHandle.hpp>

namespace Quorlith::kzfdatainterfaces {

KZFReaderFactoryHandle::~KZFReaderFactoryHandle() = default;

}  // namespace Quorlith::kzfdatainterfaces
