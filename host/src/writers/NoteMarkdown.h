// NoteMarkdown: a note as a Markdown file of its own, for a Markdown notes app or a wiki.
//
// YAML front matter first (title, created, modified as ISO 8601 UTC, folder, account when
// the phone has several, pinned, id, tags from the hashtags), every text a double-quoted
// YAML string; then the body, its links already resolved. A body whose first line is not
// the title gets the title as a heading, so the note reads the same in any viewer.
// A sync-route note's plain text is escaped on the way (NoteText.h).
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTEMARKDOWN_H_
#define VELDRAKE_HOST_NOTEMARKDOWN_H_

#include <ostream>
#include <string>

#include "NoteLinks.h"
#include "NoteRecord.h"

namespace host {

std::string MarkdownFrontMatter(const NoteRecord& note);
// The body alone, its links resolved through `resolve` (unresolved ones go to "#").
void WriteMarkdownBody(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve);
// The whole file: front matter, title heading when needed, the body.
void WriteMarkdownPage(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve);
// Whether the note's text already starts with its title (no heading is added then).
bool BodyStartsWithTitle(const NoteRecord& note);
// The folder path as one text, "Work/Projects"; "" for none.
std::string FolderText(const NoteRecord& note);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEMARKDOWN_H_
