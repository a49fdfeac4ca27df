// NoteTable: a table as the Notes app stores it: a merge document (docs/notes-store.md,
// "The table merge document") of ordered sets of row and column identifiers and a map
// of column -> row -> cell text, gzip-compressed in the attachment's mergeable data.
//
// Thread contract: pure functions (identifiers are random).
#ifndef DEVICESIM_BACKUP_NOTETABLE_H_
#define DEVICESIM_BACKUP_NOTETABLE_H_

#include <string>

#include "NoteModel.h"

namespace devicesim::backup {

// The uncompressed merge document of `table` (rows of cells; short rows are padded
// with empty cells, and empty cells are left out as a phone leaves them).
std::string TableDocument(const NoteObject& table);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTETABLE_H_
