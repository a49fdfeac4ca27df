// NotesDocument: notes one after another in one document (standard output or one file):
// JSON, Markdown or text in the forms they have always had, one note at a time. No
// attachment is written there: a link to one names its file, a link to another note goes
// nowhere, and the caller says once that `-o DIR/` writes the files.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTESDOCUMENT_H_
#define VELDRAKE_HOST_NOTESDOCUMENT_H_

#include <ostream>
#include <string>

#include "Formats.h"
#include "NoteRecord.h"

namespace host {

// The `index`-th note (0-based) of a document in `format` (kNotesJson, kMarkdown or kText),
// its texts moved out; then EndNotesDocument with the count.
void WriteNoteInDocument(std::ostream& out, Format format, NoteRecord&& note, size_t index);
void EndNotesDocument(std::ostream& out, Format format, size_t count);

// How many of the note's attachments have a file that a folder export would write.
size_t AttachmentFiles(const NoteRecord& note);

// The line said when a document leaves `count` attachment files out ("" for none).
std::string AttachmentsLeftOutLine(size_t count);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTESDOCUMENT_H_
