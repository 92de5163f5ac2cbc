// The reader through which a source file's bytes (or a symbolic link's text) enter a package.
#include <kzfdatainterfaces/KZFFileReader.hpp>

namespace Quorlith::kzfdatainterfaces {

KZFFileReader::~KZFFileReader() = default;

}  // namespace Quorlith::kzfdatainterfaces
