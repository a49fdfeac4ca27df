// NoteText: the small text conversions the notes writers share: a plain note text as
// Markdown or HTML, HTML escaping, and the line under a note's title. The conversions
// write to a stream line by line, so a note's text is never held twice.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTETEXT_H_
#define VELDRAKE_HOST_NOTETEXT_H_

#include <ostream>
#include <string>

namespace host {

// `text` with & < > " ' as entities, safe in element content and quoted attributes.
std::string EscapeHtml(const std::string& text);

// A plain text as CommonMark that renders as that text: every character that could start
// markup is backslash-escaped, and each line break inside a paragraph is a hard break.
void PlainTextToMarkdown(std::ostream& out, const std::string& text);

// A plain text as an HTML fragment: a <p> per paragraph, <br> per line break.
void PlainTextToHtml(std::ostream& out, const std::string& text);

// The first non-blank line of `text` that is not `title` itself, at most `limit` bytes
// cut at a character boundary ("..." appended when cut).
std::string FirstLineAfterTitle(const std::string& text, const std::string& title, size_t limit);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTETEXT_H_
