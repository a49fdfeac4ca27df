// BackupNotes: the notes of a backup's two note stores, delivered as QX::Notes records.
//
// The modern store is the Notes app's NoteStore.sqlite (AppDomainGroup-group.com.apple.notes);
// the legacy one is Library/Notes/notes.sqlite of phones before iOS 9, with HTML bodies.
// Both read the columns the database has rather than one OS version's schema. A note in
// "Recently Deleted" or marked for deletion is not delivered; a password-protected note,
// or one whose body is damaged or inflates past its cap, is skipped with one warning line
// naming it. Each record is lent to `callback` and destroyed when it returns; notes go in
// ascending note id, the subject being the note's title and the content its body (after
// the title line) as Markdown-flavoured text: headings, bulleted and numbered lists,
// checklists as "- [ ]"/"- [x]", inline looks, links as [text](url), tables as pipe
// tables, attachments by file name.
//
// Results: kVeldrakeBackupOk, kVeldrakeBackupStopped (the callback answered -1),
// kVeldrakeBackupStoreUnreadable (the database is damaged or not a note store),
// kVeldrakeBackupNoMemory.
//
// Thread contract: runs on the caller's thread; `db` is the caller's open read-only
// connection and stays open.
#ifndef VELDRAKE_BACKUP_BACKUPNOTES_H_
#define VELDRAKE_BACKUP_BACKUPNOTES_H_

#include "NoteWhole.h"
#include "Warnings.h"
#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace veldrake::backup {

// `files` says what the backup holds of the notes' files (NoMediaFiles: nothing).
int DeliverModernNotes(sqlite3* db, const MediaFiles& files, VeldrakeRecordCallback callback,
                       const Warnings& warnings);
int DeliverLegacyNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_BACKUPNOTES_H_
