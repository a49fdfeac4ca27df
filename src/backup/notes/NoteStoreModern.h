// NoteStoreModern: DeliverModernNotes with the inflate cap as a parameter, so a test can
// show a body past the cap skipped without inflating 64 MiB.
#ifndef VELDRAKE_BACKUP_NOTESTOREMODERN_H_
#define VELDRAKE_BACKUP_NOTESTOREMODERN_H_

#include <cstddef>

#include "NoteWhole.h"
#include "Warnings.h"
#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace veldrake::backup {

// As DeliverModernNotes, a body inflating past `bodyCap` bytes being skipped.
int ReadModernNotes(sqlite3* db, const MediaFiles& files, VeldrakeRecordCallback callback,
                    const Warnings& warnings, size_t bodyCap);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTESTOREMODERN_H_
