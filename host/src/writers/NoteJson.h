// NoteJson: notes as one JSON array, an object per note.
//
// The keys every export has had: "subject", "content" (null when absent) and "modified"
// (ISO 8601 UTC, null for none). Then "folder" (the path, "Work/Projects"; null for none),
// "account" (null unless the phone has several), "created", "pinned", "id" (null on the
// sync route), "tags", "attachments" (id, kind, type, fileName, title and url when known,
// size, and "path" relative to the output folder when the file was written there) and
// "tables" (per table its rows, each an array of cell texts).
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTEJSON_H_
#define VELDRAKE_HOST_NOTEJSON_H_

#include <ostream>

#include "NoteRecord.h"

namespace host {

// The array one note at a time, the note's texts moved rather than copied:
// WriteNoteJsonItem for the `index`-th note (0-based), then EndNotesJson with the count.
void WriteNoteJsonItem(std::ostream& out, NoteRecord&& note, size_t index);
void EndNotesJson(std::ostream& out, size_t count);

// The kind's name in JSON: "file", "image", "scan", "drawing", "url", "table", "missing".
const char* AttachmentKindName(int kind);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEJSON_H_
