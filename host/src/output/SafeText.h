// SafeText: text from a phone or a backup made harmless to show or to use in a name.
//
// Such text may hold invalid UTF-8, control characters (a terminal's escape sequences),
// line separators or direction overrides that make it read as something else; each of
// those becomes one replacement character.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_SAFETEXT_H_
#define VELDRAKE_HOST_SAFETEXT_H_

#include <string>

namespace host {

enum class Separators { kKept, kReplaced };  // "/" and "\" in the text

// `text` with every character above (and with kReplaced every "/" and "\") replaced by
// `replacement`, invalid bytes one by one.
std::string SafeText(const std::string& text, char replacement, Separators separators);

}  // namespace host

#endif  // VELDRAKE_HOST_SAFETEXT_H_
