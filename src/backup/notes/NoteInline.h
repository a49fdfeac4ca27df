// NoteInline: one line's spans as inline text, Markdown or HTML, and the escapes the
// renderers share.
#ifndef VELDRAKE_BACKUP_NOTEINLINE_H_
#define VELDRAKE_BACKUP_NOTEINLINE_H_

#include <string>
#include <vector>

#include "NoteRender.h"

namespace veldrake::backup {

// The line's spans in `format`; table objects render as nothing here (the block renderer
// places them). `inCell` escapes "|" for a pipe table's cell in text and Markdown.
std::string RenderInline(const NoteDocument& document, const NoteLine& line, NoteFormat format,
                         const ObjectLookup& lookup, bool inCell);

// The tables a line holds, in order.
std::vector<const NoteTableCells*> LineTables(const NoteDocument& document, const NoteLine& line,
                                              const ObjectLookup& lookup);

// RenderNote's HTML side (NoteRenderHtml.cpp).
bool RenderNoteHtml(const NoteDocument& document, size_t from, const ObjectLookup& lookup,
                    size_t limit, std::string* out);

// & < > " ' as entities.
std::string EscapeHtml(const std::string& text);
// A link's target for an href: "" when its scheme could run code or read local files.
std::string SafeHref(const std::string& url);
// A Markdown link destination: spaces, angle brackets, parentheses, backslashes and
// control characters percent-encoded.
std::string MarkdownTarget(const std::string& url);
// Markdown's escapes for text: a backslash before each character that could start markup.
std::string EscapeMarkdown(const std::string& text, bool inCell);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEINLINE_H_
