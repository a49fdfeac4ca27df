// The note store of a backup, opened for the note side.
#include "NotesRoute.h"

#include <sqlite3.h>

#include "BackupNotes.h"
#include "OpenedBackup.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr const char* kModernPath = "NoteStore.sqlite";
constexpr const char* kLegacyDomain = "HomeDomain";
constexpr const char* kLegacyPath = "Library/Notes/notes.sqlite";

}  // namespace

MediaFiles NotesMediaFiles(OpenedBackup& backup) {
  return [&backup](const std::string& relative) {
    MediaFile file;
    const OpenedBackup::Content content =
        backup.Probe(kNotesDomain, relative, &file.size, &file.place);
    file.state = content == OpenedBackup::Content::kFound      ? MediaFile::kFound
                 : content == OpenedBackup::Content::kNotAFile ? MediaFile::kNotAFile
                 : content == OpenedBackup::Content::kDamaged  ? MediaFile::kDamaged
                                                               : MediaFile::kAbsent;
    return file;
  };
}

int DeliverBackupNotes(OpenedBackup& backup, VeldrakeRecordCallback callback,
                       const Warnings& warnings, std::string* message) {
  const bool modern = backup.Has(kNotesDomain, kModernPath);
  if (!modern && !backup.Has(kLegacyDomain, kLegacyPath)) {
    *message = "the backup holds no notes store (NoteStore.sqlite or notes.sqlite)";
    return kVeldrakeBackupStoreMissing;
  }
  sqlite3* db = nullptr;
  int result = modern ? backup.OpenStore(kNotesDomain, kModernPath, &db, message)
                      : backup.OpenStore(kLegacyDomain, kLegacyPath, &db, message);
  if (result != kVeldrakeBackupOk) return result;
  result = modern ? DeliverModernNotes(db, NotesMediaFiles(backup), callback, warnings)
                  : DeliverLegacyNotes(db, callback, warnings);
  if (result == kVeldrakeBackupStoreUnreadable)
    *message = std::string("the notes store ") + (modern ? kModernPath : kLegacyPath) +
               " is damaged or no note store";
  sqlite3_close(db);
  return result;
}

}  // namespace veldrake::backup
