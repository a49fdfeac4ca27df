// NotesDocument: all notes as one document (standard output or one file): JSON, Markdown
// or text in the forms they have always had. No attachment is written there: a link to
// one names its file, a link to another note goes nowhere, and the caller says once that
// `-o DIR/` writes the files.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTESDOCUMENT_H_
#define VELDRAKE_HOST_NOTESDOCUMENT_H_

#include <string>
#include <vector>

#include "Formats.h"
#include "NoteRecord.h"

namespace host {

// The document in `format` (kNotesJson, kMarkdown or kText).
std::string NotesDocument(Format format, const std::vector<NoteRecord>& notes);

// How many attachments have a file that a folder export would write.
size_t AttachmentFiles(const std::vector<NoteRecord>& notes);

// The line said when a document leaves `count` attachment files out ("" for none).
std::string AttachmentsLeftOutLine(size_t count);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTESDOCUMENT_H_
