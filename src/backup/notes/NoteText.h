// NoteText: the UTF-8 steps both note stores need, tolerant of bytes that are not UTF-8
// (a backup's text is untrusted and a record's text must still be valid UTF-8).
#ifndef VELDRAKE_BACKUP_NOTETEXT_H_
#define VELDRAKE_BACKUP_NOTETEXT_H_

#include <cstddef>
#include <string>

namespace veldrake::backup {

constexpr char32_t kReplacementChar = 0xFFFD;

struct DecodedChar {
  char32_t point;  // kReplacementChar for a byte that starts no valid sequence
  size_t bytes;    // 1 to 4, never 0
};

// The character starting at `at` (< text.size()). Overlong forms, surrogates and values
// past U+10FFFF count as invalid: one byte, U+FFFD.
DecodedChar DecodeUtf8(const std::string& text, size_t at);

// Appends `point` as UTF-8; surrogates and values past U+10FFFF become U+FFFD.
void AppendUtf8(char32_t point, std::string* out);

// A link's target as it goes between "](" and ")": control characters (a line break would
// cut the link apart) dropped, and in <...> when it holds spaces, parentheses or angle
// brackets.
std::string LinkTarget(const std::string& url);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTETEXT_H_
