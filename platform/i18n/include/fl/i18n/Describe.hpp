// How a name (a path, a part name, an id) is shown inside a message.
#pragma once

#include <string>
#include <string_view>

namespace fl::i18n {

/// `name` as a message shows it, in the process encoding: on one line, every character the
/// reader could not see or tell apart written as \uXXXX (its UTF-16 units in upper-case hex):
/// control characters (C0, DEL, C1), the line and paragraph separators, surrogates without
/// their partner, the backslash itself (so an escape is never ambiguous) and characters the
/// process encoding cannot represent. Everything else, non-ASCII letters included, stays as
/// it is, readable in the user's locale. Never throws for the name's content.
std::string describe(std::u16string_view name);

}  // namespace fl::i18n
