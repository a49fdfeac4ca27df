// LegacyNotes: DeliverLegacyNotes's work over notes.sqlite (ZNOTE with its ZNOTEBODY).
#ifndef VELDRAKE_BACKUP_LEGACYNOTES_H_
#define VELDRAKE_BACKUP_LEGACYNOTES_H_

#include "Warnings.h"
#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace veldrake::backup {

int ReadLegacyNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_LEGACYNOTES_H_
