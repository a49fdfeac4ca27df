// NotesRoute: which of the backup's two note stores holds the notes, opened and handed to
// the note side (BackupNotes.h): the modern NoteStore.sqlite when the backup has one,
// otherwise the legacy notes.sqlite of phones before iOS 9.
//
// Thread contract: the caller's thread.
#ifndef VELDRAKE_BACKUP_NOTESROUTE_H_
#define VELDRAKE_BACKUP_NOTESROUTE_H_

#include <string>

#include "NoteWhole.h"
#include "Warnings.h"
#include "veldrake/RecordCallback.h"

namespace veldrake::backup {

class OpenedBackup;

// What `backup` holds of the notes domain's files, for the note readers; valid while
// `backup` is.
MediaFiles NotesMediaFiles(OpenedBackup& backup);

// A VeldrakeBackupResult; kVeldrakeBackupStoreMissing when neither store is there.
int DeliverBackupNotes(OpenedBackup& backup, VeldrakeRecordCallback callback,
                       const Warnings& warnings, std::string* message);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTESROUTE_H_
