// The library's three entry points: arguments, the backup's place, the store of the kind
// asked for, and the calling thread's last message. Nothing thrown gets past here.
#include <sqlite3.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "AddressBook.h"
#include "BackupFolder.h"
#include "LastMessage.h"
#include "NotesRoute.h"
#include "OpenedBackup.h"
#include "Warnings.h"
#include "veldrake/Backup.h"

namespace {

using namespace veldrake::backup;

constexpr const char* kHomeDomain = "HomeDomain";
constexpr const char* kAddressBookPath = "Library/AddressBook/AddressBook.sqlitedb";

thread_local std::string& tMessage = LastMessage();

// Copies `text` into `out` of `capacity` bytes, cut at a UTF-8 character boundary.
void CopyCut(const std::string& text, char* out, size_t capacity) {
  size_t length = text.size() < capacity ? text.size() : capacity - 1;
  while (length > 0 && length < text.size() &&
         (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
    --length;
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

void Describe(const BackupFacts& facts, VeldrakeBackupInfo* out) {
  std::memset(out, 0, sizeof *out);
  CopyCut(facts.path, out->path, sizeof out->path);
  CopyCut(facts.udid, out->udid, sizeof out->udid);
  CopyCut(facts.name, out->name, sizeof out->name);
  CopyCut(facts.version, out->version, sizeof out->version);
  out->date = facts.date;
  out->encrypted = facts.encrypted ? 1 : 0;
  out->complete = facts.complete ? 1 : 0;
}

// The one backup folder at `path`, or a failure with its message.
int LocateOne(const std::string& path, std::string* folder) {
  const std::vector<std::string> found = FindBackups(path);
  if (found.empty()) {
    tMessage = "no backup at " + path;
    return kVeldrakeBackupNotABackup;
  }
  if (found.size() > 1) {
    tMessage = path + " holds " + std::to_string(found.size()) + " backups:";
    for (const std::string& one : found) tMessage += " " + one;
    return kVeldrakeBackupSeveral;
  }
  *folder = found.front();
  return kVeldrakeBackupOk;
}

int Export(const char* path, const char* password, int dataKind, VeldrakeRecordCallback callback,
           const Warnings& warnings) {
  std::string folder;
  const int located = LocateOne(path, &folder);
  if (located != kVeldrakeBackupOk) return located;
  OpenedBackup backup;
  int result = backup.Open(folder, password, &tMessage);
  if (result != kVeldrakeBackupOk) return result;
  if (dataKind == VELDRAKE_BACKUP_NOTES)
    return DeliverBackupNotes(backup, callback, warnings, &tMessage);
  sqlite3* db = nullptr;
  result = backup.OpenStore(kHomeDomain, kAddressBookPath, &db, &tMessage);
  if (result == kVeldrakeBackupOk) result = DeliverContacts(db, callback, &tMessage);
  sqlite3_close(db);
  if (result == kVeldrakeBackupStopped) tMessage = "the export was stopped by its callback";
  return result;
}

// What an exception from below means at the boundary: memory ran out, or a file-system
// call failed in a way the code above it did not foresee.
int Failed() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    tMessage = "out of memory";
    return kVeldrakeBackupNoMemory;
  } catch (const std::exception& error) {
    tMessage = std::string("the backup cannot be read: ") + error.what();
    return kVeldrakeBackupStoreUnreadable;
  } catch (...) {
    tMessage = "the backup cannot be read";
    return kVeldrakeBackupStoreUnreadable;
  }
}

}  // namespace

extern "C" VELDRAKE_BACKUP_API int VeldrakeBackupList(const char* path, VeldrakeBackupInfo* out,
                                                      int capacity) {
  tMessage.clear();
  if (path == nullptr || capacity < 0 || (capacity > 0 && out == nullptr)) {
    tMessage = "a null path, or no room for the list";
    return kVeldrakeBackupInvalidArgument;
  }
  try {
    const std::vector<std::string> found = FindBackups(path);
    if (found.empty()) {
      tMessage = std::string("no backup at ") + path;
      return kVeldrakeBackupNotABackup;
    }
    for (size_t i = 0; i < found.size() && i < static_cast<size_t>(capacity); ++i) {
      BackupFacts facts;
      std::string ignored;  // an unfinished or damaged backup is listed as such
      ReadBackupFacts(found[i], &facts, &ignored);
      Describe(facts, &out[i]);
    }
    return static_cast<int>(found.size());
  } catch (...) {
    return Failed();
  }
}

extern "C" VELDRAKE_BACKUP_API int VeldrakeBackupGetData(const char* path, const char* password,
                                                         int dataKind,
                                                         VeldrakeRecordCallback callback,
                                                         VeldrakeBackupWarningCallback warn,
                                                         void* warnContext) {
  tMessage.clear();
  if (path == nullptr || callback == nullptr ||
      (dataKind != VELDRAKE_BACKUP_CONTACTS && dataKind != VELDRAKE_BACKUP_NOTES)) {
    tMessage = "a null path or callback, or an unknown data kind";
    return kVeldrakeBackupInvalidArgument;
  }
  try {
    Warnings warnings;
    warnings.callback = warn;
    warnings.context = warnContext;
    const int result = Export(path, password, dataKind, callback, warnings);
    if (result == kVeldrakeBackupOk) tMessage.clear();
    return result;
  } catch (...) {
    return Failed();
  }
}

extern "C" VELDRAKE_BACKUP_API const char* VeldrakeBackupLastMessage(void) {
  return tMessage.c_str();
}
