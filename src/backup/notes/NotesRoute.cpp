// The note store of a backup, opened for the note side.
#include "NotesRoute.h"

#include <sqlite3.h>

#include "BackupNotes.h"
#include "OpenedBackup.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr const char* kModernDomain = "AppDomainGroup-group.com.apple.notes";
constexpr const char* kModernPath = "NoteStore.sqlite";
constexpr const char* kLegacyDomain = "HomeDomain";
constexpr const char* kLegacyPath = "Library/Notes/notes.sqlite";

}  // namespace

int DeliverBackupNotes(OpenedBackup& backup, VeldrakeRecordCallback callback,
                       const Warnings& warnings, std::string* message) {
  const bool modern = backup.Has(kModernDomain, kModernPath);
  if (!modern && !backup.Has(kLegacyDomain, kLegacyPath)) {
    *message = "the backup holds no notes store (NoteStore.sqlite or notes.sqlite)";
    return kVeldrakeBackupStoreMissing;
  }
  sqlite3* db = nullptr;
  int result = modern ? backup.OpenStore(kModernDomain, kModernPath, &db, message)
                      : backup.OpenStore(kLegacyDomain, kLegacyPath, &db, message);
  if (result != kVeldrakeBackupOk) return result;
  result = modern ? DeliverModernNotes(db, callback, warnings)
                  : DeliverLegacyNotes(db, callback, warnings);
  if (result == kVeldrakeBackupStoreUnreadable)
    *message = std::string("the notes store ") + (modern ? kModernPath : kLegacyPath) +
               " is damaged or no note store";
  sqlite3_close(db);
  return result;
}

}  // namespace veldrake::backup
