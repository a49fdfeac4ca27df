// Control, separator and direction characters replaced, with utf8proc's categories.
#include "SafeText.h"

#include <utf8proc.h>

namespace host {
namespace {

// Characters that change how a text reads without being seen: controls, direction
// overrides and isolates and marks, line and paragraph separators, a byte order mark.
bool Unsafe(utf8proc_int32_t c) {
  if ((c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069)) return true;
  if (c == 0x200E || c == 0x200F || c == 0xFEFF) return true;
  const utf8proc_category_t category = utf8proc_category(c);
  return category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP || category == UTF8PROC_CATEGORY_CS;
}

}  // namespace

std::string SafeText(const std::string& text, char replacement, Separators separators) {
  std::string out;
  out.reserve(text.size());
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  size_t at = 0;
  while (at < text.size()) {
    utf8proc_int32_t c = 0;
    const utf8proc_ssize_t n =
        utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &c);
    if (n <= 0) {
      out += replacement;
      ++at;
      continue;
    }
    const bool separator = c == '/' || c == '\\';
    if (Unsafe(c) || (separator && separators == Separators::kReplaced))
      out += replacement;
    else
      out.append(text, at, static_cast<size_t>(n));
    at += static_cast<size_t>(n);
  }
  return out;
}

}  // namespace host
