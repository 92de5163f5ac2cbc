// Chooses the reader for each file: the first handle that claims it, else the plain readers.
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "PlainFileReader.hpp"
#include "PlainStreamReader.hpp"

namespace Quorlith::kzfdatainterfaces {

namespace {

void requireHandle(const std::shared_ptr<KZFReaderFactoryHandle>& handle, std::size_t position) {
  if (!handle) {
    throw std::invalid_argument("reader factory handle " + std::to_string(position) + " is null");
  }
}

template <typename Reader>
std::unique_ptr<Reader> requireReader(std::unique_ptr<Reader> reader, const char* kind,
                                      const fl::i18n::ustring& name) {
  if (!reader) {
    throw std::runtime_error("the reader factory handle claiming '" + fl::i18n::to_string(name) +
                             "' returned no " + kind + " reader");
  }
  return reader;
}

}  // namespace

KZFFileReaderFactory::KZFFileReaderFactory(Handles handles) : handles_(std::move(handles)) {
  for (std::size_t i = 0; i < handles_.size(); ++i) requireHandle(handles_[i], i);
}

void KZFFileReaderFactory::addHandle(std::shared_ptr<KZFReaderFactoryHandle> handle) {
  requireHandle(handle, handles_.size());
  handles_.push_back(std::move(handle));
}

const KZFReaderFactoryHandle* KZFFileReaderFactory::claimant(const fl::i18n::ustring& name) const {
  for (const auto& handle : handles_) {
    if (handle->claims(name)) return handle.get();
  }
  return nullptr;
}

bool KZFFileReaderFactory::willBeTransformed(const fl::i18n::ustring& name) const {
  const KZFReaderFactoryHandle* handle = claimant(name);
  return handle != nullptr && handle->transforms(name);
}

std::unique_ptr<KZFFileReader> KZFFileReaderFactory::getReader(
    const fl::i18n::ustring& source) const {
  if (const KZFReaderFactoryHandle* handle = claimant(source)) {
    return requireReader(handle->createFileReader(source), "file", source);
  }
  return std::make_unique<PlainFileReader>(source);
}

std::unique_ptr<KZFStreamReader> KZFFileReaderFactory::getReader(const fl::i18n::ustring& name,
                                                                 opc::InputStream& in) const {
  if (const KZFReaderFactoryHandle* handle = claimant(name)) {
    return requireReader(handle->createStreamReader(name, in), "stream", name);
  }
  return std::make_unique<PlainStreamReader>(in);
}

}  // namespace Quorlith::kzfdatainterfaces
