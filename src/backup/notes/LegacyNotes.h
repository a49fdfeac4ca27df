// LegacyNotes: DeliverLegacyNotes's work over notes.sqlite (ZNOTE with its ZNOTEBODY).
#ifndef VELDRAKE_BACKUP_LEGACYNOTES_H_
#define VELDRAKE_BACKUP_LEGACYNOTES_H_

#include <cstddef>

#include "Warnings.h"
#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace veldrake::backup {

// As DeliverLegacyNotes, a body or its rendered text past `bodyCap` bytes being skipped
// with a warning (a parameter so a test need not write 64 MiB).
int ReadLegacyNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings,
                    size_t bodyCap);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_LEGACYNOTES_H_
