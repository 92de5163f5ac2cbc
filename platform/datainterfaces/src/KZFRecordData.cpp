// The destination of one source file inside a package, with the caller's mark, note and metadata.
#include <kzfdatainterfaces/KZFRecordData.hpp>

namespace Quorlith::kzfdatainterfaces {

KZFRecordData::KZFRecordData(const fl::i18n::ustring& name, bool mark, const std::string& note)
    : name_(name), mark_(mark), note_(note) {}

}  // namespace Quorlith::kzfdatainterfaces
