// NoteMarkup: reads a note written in the notes set's Markdown dialect
// (docs/notes-set.md) into the app's model, as a person typing it on a phone of the given
// generation would have made it.
//
// Thread contract: pure functions.
#ifndef DEVICESIM_BACKUP_NOTEMARKUP_H_
#define DEVICESIM_BACKUP_NOTEMARKUP_H_

#include <string>

#include "NoteModel.h"

namespace devicesim::backup {

// The title becomes the first paragraph (styled as the title), the markup the rest.
NoteDoc ParseNoteMarkup(const std::string& title, const std::string& markup,
                        const NoteFeatures& features);
// A plain note: the title line, then every line of `text` as body text.
NoteDoc PlainNoteDoc(const std::string& title, const std::string& text);
// The runs of one line of inline markup (no objects but links and styles when `objects`
// is null, as in a table cell).
std::vector<Span> ParseInline(const std::string& line, const NoteFeatures& features,
                              std::vector<NoteObject>* objects);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEMARKUP_H_
