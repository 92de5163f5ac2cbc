// One file, folder or symbolic link of a package: where it goes, which part holds it, its kind,
// date and permission bits.
#include <kzfpackage/KZFFileEntry.hpp>

namespace Quorlith::kzfpackage {

KZFFileEntry::KZFFileEntry(const fl::i18n::ustring& name, const fl::i18n::ustring& content,
                           KZFFileEntryType type)
    : name_(name), content_(content), type_(type) {}

KZFFileEntry::~KZFFileEntry() = default;

fl::i18n::ustring KZFFileEntry::getName() const { return name_; }

fl::i18n::ustring KZFFileEntry::getContent() const { return content_; }

KZFFileEntryType KZFFileEntry::getType() const { return type_; }

void KZFFileEntry::setType(KZFFileEntryType type) { type_ = type; }

unsigned short KZFFileEntry::getPermission() const { return permission_; }

void KZFFileEntry::setPermission(unsigned short permission) { permission_ = permission; }

boost::optional<boost::posix_time::ptime> KZFFileEntry::getDate() const { return date_; }

void KZFFileEntry::setDate(boost::posix_time::ptime date) { date_ = date; }

}  // namespace Quorlith::kzfpackage
