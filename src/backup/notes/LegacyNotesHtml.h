// LegacyNotesHtml: the HTML body of a note from a phone before iOS 9 as the same
// Markdown-flavoured text a modern note gives: its first line (the title) and the rest,
// with headings as "# ", list items as "- " or "1. " (nested ones indented four spaces a
// level), links as [text](url) and images or embedded objects as "[attachment]".
//
// Blocks (div, p, li, headings, ...) and <br> end lines; other tags are dropped, the
// common entities and numeric references decoded. Spaces are kept as typed (the old
// editor wrote what the person typed); line breaks in the source are not text. The HTML is
// untrusted: the reader is a single forward pass with bounded look-ahead, whatever the nesting. One
// thread.
#ifndef VELDRAKE_BACKUP_LEGACYNOTESHTML_H_
#define VELDRAKE_BACKUP_LEGACYNOTESHTML_H_

#include <cstddef>
#include <string>

namespace veldrake::backup {

// False (title and content unspecified) when the content would pass `limit` bytes.
bool RenderLegacyNoteHtml(const std::string& html, size_t limit, std::string* title,
                          std::string* content);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_LEGACYNOTESHTML_H_
