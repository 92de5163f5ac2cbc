// The reader through which a stored part's content leaves a package, restored.
#include <kzfdatainterfaces/KZFStreamReader.hpp>

namespace Quorlith::kzfdatainterfaces {

KZFStreamReader::~KZFStreamReader() = default;

}  // namespace Quorlith::kzfdatainterfaces
