// The reader of files no handle claims: the file's bytes unchanged, in blocks.
#include "PlainFileReader.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <stdexcept>

namespace Quorlith::kzfdatainterfaces {

namespace {
// read(2) and readlink(2) leave counts above SSIZE_MAX undefined; no caller needs more.
std::size_t clampCount(std::size_t max) { return std::min<std::size_t>(max, SSIZE_MAX); }
}  // namespace

bool PlainFileReader::narrowSource(std::string& path) {
  try {
    path = fl::i18n::to_string(source_);
    return true;
  } catch (const std::runtime_error&) {
    fail(-EILSEQ);
    return false;
  }
}

long PlainFileReader::read(char* buffer, std::size_t max, KZFMetaData& /*metaData*/) {
  if (!fd_.isOpen()) {
    std::string path;
    if (!narrowSource(path)) return -1;
    fd_ = opc::core::FileHandle(::open(path.c_str(), O_RDONLY | O_CLOEXEC), path);
    if (!fd_.isOpen()) return fail(-errno);
  }
  for (;;) {
    ssize_t n = ::read(fd_.get(), buffer, clampCount(max));
    if (n < 0) {
      if (errno == EINTR) continue;
      return fail(-errno);
    }
    // A file that fills the first block is likely long enough for a larger read-ahead to pay;
    // a small one is done in the next read, and the call would be wasted. Only advice, so a
    // failure changes nothing.
    if (!pastFirstBlock_ && n > 0 && static_cast<std::size_t>(n) == max) {
      (void)::posix_fadvise(fd_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    pastFirstBlock_ = true;
    return n;
  }
}

long PlainFileReader::readLink(char* buffer, std::size_t max, KZFMetaData& /*metaData*/) {
  std::string path;
  if (!narrowSource(path)) return -1;
  ssize_t n = ::readlink(path.c_str(), buffer, clampCount(max));
  if (n < 0) return fail(-errno);
  // readlink(2) silently cuts a text that does not fit; a full buffer may hold a cut text, and
  // leaves the caller no room to terminate it, so it is refused.
  if (static_cast<std::size_t>(n) >= max) return fail(-ENAMETOOLONG);
  return n;
}

}  // namespace Quorlith::kzfdatainterfaces
