// The errors of the text conversions, each raised here and only here.
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "TextCodec.hpp"

namespace fl::i18n::detail {
namespace {

std::string codePointText(char32_t codePoint) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(codePoint));
  return buffer;
}

}  // namespace

void throwInvalidSequence(std::string_view encodingName, std::size_t byteOffset,
                          std::string_view reason) {
  throw std::runtime_error("invalid " + std::string(encodingName) + " sequence at byte offset " +
                           std::to_string(byteOffset) + " (" + std::string(reason) + ")");
}

void throwLoneSurrogate(std::size_t unitOffset, char16_t unit) {
  throw std::runtime_error("lone surrogate at code unit offset " + std::to_string(unitOffset) +
                           " (" + codePointText(unit) + ")");
}

void throwUnrepresentable(std::string_view encodingName, char32_t codePoint,
                          std::size_t unitOffset) {
  throw std::runtime_error("character " + codePointText(codePoint) + " at code unit offset " +
                           std::to_string(unitOffset) + " cannot be represented in " +
                           std::string(encodingName));
}

void throwUnsupportedEncoding(std::string_view encodingName, int error) {
  throw std::runtime_error("cannot convert between UTF-16 and the encoding '" +
                           std::string(encodingName) + "': " + std::strerror(error));
}

}  // namespace fl::i18n::detail
