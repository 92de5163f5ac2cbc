// Text of the OPC layer: the UTF-16 string type and conversions from narrow text.
#pragma once

#include <fl/i18n/ustring.hpp>
#include <opc/Export.hpp>
#include <string>

namespace opc {

/// Text of 16-bit UTF-16 code units: part names, URIs, relationship types and XML text.
using fl::i18n::ustring;

/// Narrow text in the process encoding to UTF-16. Throws std::runtime_error naming the byte
/// offset of an invalid sequence.
OPC_API ustring toString(const std::string& narrow);

/// ASCII text (typically a literal) to UTF-16, one code unit per byte. Throws
/// std::runtime_error for a null pointer or a byte outside ASCII, naming the text.
OPC_API ustring toStringFromASCIIStringLiteral(const char* ascii);

}  // namespace opc
