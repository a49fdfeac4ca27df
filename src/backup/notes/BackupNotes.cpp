// The two note stores' entry points: no exception leaves them.
#include "BackupNotes.h"

#include <new>

#include "LegacyNotes.h"
#include "NoteInflate.h"
#include "NoteStoreModern.h"

namespace veldrake::backup {

int DeliverModernNotes(sqlite3* db, const MediaFiles& files, VeldrakeRecordCallback callback,
                       const Warnings& warnings) {
  try {
    return ReadModernNotes(db, files, callback, warnings, kNoteBodyCap);
  } catch (const std::bad_alloc&) {
    return kVeldrakeBackupNoMemory;
  }
}

int DeliverLegacyNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings) {
  try {
    return ReadLegacyNotes(db, callback, warnings, kNoteBodyCap);
  } catch (const std::bad_alloc&) {
    return kVeldrakeBackupNoMemory;
  }
}

}  // namespace veldrake::backup
