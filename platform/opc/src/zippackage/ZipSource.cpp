// The shared archive file: read-ahead window and inflater hand-over.
#include "ZipSource.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace opc::zippackage {

namespace {
/// The first fill after a read elsewhere in the file: about what one small item takes.
constexpr std::size_t kFirstFill = 16 * 1024;
/// Reads at least this large that the window does not already hold go straight to the caller:
/// copying them through the window would cost more than the system calls it saves.
constexpr std::size_t kDirectRead = 32 * 1024;
}  // namespace

ZipSource::ZipSource(core::FileHandle file)
    : file_(std::move(file)), window_(kWindowCapacity), fillSize_(kFirstFill) {}

ByteView ZipSource::view(std::uint64_t offset, std::size_t need) {
  need = std::clamp<std::size_t>(need, 1, window_.size());
  std::uint64_t end = start_ + filled_;
  if (offset < start_ || offset > end || end - offset < need) {
    // Reads that continue forward from the window double the next fill; others start small.
    bool forward = filled_ > 0 && offset >= start_ && offset <= end + window_.size();
    fillSize_ = forward ? std::min(fillSize_ * 2, window_.size()) : kFirstFill;
    filled_ = 0;
    start_ = offset;
    filled_ = file_.readAt(offset, window_.data(), std::max(fillSize_, need));
  }
  auto at = static_cast<std::size_t>(offset - start_);
  return ByteView{window_.data() + at, filled_ - at};
}

std::size_t ZipSource::read(std::uint64_t offset, unsigned char* out, std::size_t count) {
  bool held = offset >= start_ && offset < start_ + filled_;
  if (!held && count >= kDirectRead) return file_.readAt(offset, out, count);
  ByteView bytes = view(offset, held ? 1 : count);
  std::size_t taken = std::min(bytes.size, count);
  std::memcpy(out, bytes.data, taken);
  return taken;
}

std::unique_ptr<Inflater> ZipSource::borrowInflater() {
  if (spare_) return std::move(spare_);
  return std::make_unique<Inflater>();
}

void ZipSource::giveBack(std::unique_ptr<Inflater> inflater) noexcept {
  if (spare_ || !inflater) return;
  inflater->reset();
  spare_ = std::move(inflater);
}

}  // namespace opc::zippackage
