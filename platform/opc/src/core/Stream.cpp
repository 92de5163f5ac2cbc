// Stream base classes, standard-stream adaptors and stream copying.
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>

#include <stdexcept>

namespace opc {

InputStream::~InputStream() = default;
OutputStream::~OutputStream() = default;

std::size_t StdIStreamAdaptor::read(char* buffer, std::size_t max) {
  if (eof_ || max == 0) return 0;
  in_.read(buffer, static_cast<std::streamsize>(max));
  auto got = static_cast<std::size_t>(in_.gcount());
  if (in_.bad()) throw std::runtime_error("read error on input stream");
  if (got == 0) eof_ = true;
  return got;
}

bool StdIStreamAdaptor::isEOF() const { return eof_; }

std::size_t StdOStreamAdaptor::write(const char* data, std::size_t count) {
  out_.write(data, static_cast<std::streamsize>(count));
  if (!out_) throw std::runtime_error("write error on output stream");
  return count;
}

void StdOStreamAdaptor::flush() { out_.flush(); }

namespace {
constexpr std::size_t kCopyBlock = 64 * 1024;

template <typename Sink>
std::uint64_t copyBlocks(InputStream& in, Sink&& sink) {
  char buffer[kCopyBlock];
  std::uint64_t total = 0;
  for (;;) {
    std::size_t n = in.read(buffer, sizeof buffer);
    if (n == 0) return total;
    sink(buffer, n);
    total += n;
  }
}
}  // namespace

std::uint64_t StreamHelper::copyStreamToStream(InputStream& in, std::ostream& out) {
  return copyBlocks(in, [&out](const char* data, std::size_t n) {
    out.write(data, static_cast<std::streamsize>(n));
    if (!out) throw std::runtime_error("write error while copying a stream");
  });
}

std::uint64_t StreamHelper::copyStreamToStream(InputStream& in, OutputStream& out) {
  return copyBlocks(in, [&out](const char* data, std::size_t n) {
    if (out.write(data, n) != n) throw std::runtime_error("short write while copying a stream");
  });
}

namespace interfaces {
IPhysicalPackage::~IPhysicalPackage() = default;
}

}  // namespace opc
