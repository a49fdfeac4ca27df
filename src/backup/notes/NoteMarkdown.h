// NoteMarkdown: a modern note's text and attribute runs as the QX::Notes texts, for a
// store read without its attachment rows (NoteDocument.h and NoteRender.h do the work).
//
// The first line of the text is the note's title; the rest is rendered line by line with
// the paragraph style that covers the line: "# "/"## "/"### " headings, "- " bullets,
// "1. " numbered items (counted per indent level), "- [ ] "/"- [x] " checklist items,
// fenced monospaced blocks, "> " quotes, inline looks as "**", "*", "~~" (or HTML tags),
// links as [text](url) and an attachment as "[attachment: <type>]". Nested items are
// indented by four spaces a level. Text without any style comes out exactly as stored.
// One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTEMARKDOWN_H_
#define VELDRAKE_BACKUP_NOTEMARKDOWN_H_

#include <string>

#include "NoteProto.h"

namespace veldrake::backup {

// The body's title (its first line, plain) and the rest of it rendered; false (with both
// unspecified) when the rendered content would pass `limit` bytes, which bounds what
// markup a crafted body of many short styled lines can make us write.
bool RenderNoteBody(const NoteBody& body, size_t limit, std::string* title, std::string* content);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEMARKDOWN_H_
