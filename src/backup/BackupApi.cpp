// The library's entry points: arguments, the backup's place, the store of the kind
// asked for, and the calling thread's last message. Nothing thrown gets past here.
#include <sqlite3.h>

#include <cstring>
#include <string>
#include <vector>

#include "AddressBook.h"
#include "ApiSupport.h"
#include "BackupFolder.h"
#include "Cancel.h"
#include "NotesRoute.h"
#include "OpenedBackup.h"
#include "PrivateFolder.h"
#include "StaleFolders.h"
#include "Warnings.h"
#include "veldrake/Backup.h"

namespace {

using namespace veldrake::backup;

constexpr const char* kHomeDomain = "HomeDomain";
constexpr const char* kAddressBookPath = "Library/AddressBook/AddressBook.sqlitedb";

thread_local std::string& tMessage = LastMessage();  // shared with ContactsApi.cpp
// The host's record callback for the export on this thread, behind Deliver.
thread_local VeldrakeRecordCallback tCallback = nullptr;
thread_local uint64_t tCancelGeneration = 0;

// Sets the thread's callback for one export and gives the previous back after it (a
// host's callback may itself run an export).
class ThisExport {
 public:
  explicit ThisExport(VeldrakeRecordCallback callback)
      : callback_(tCallback), generation_(tCancelGeneration) {
    tCallback = callback;
    tCancelGeneration = CancelGeneration();
  }
  ~ThisExport() {
    tCallback = callback_;
    tCancelGeneration = generation_;
  }
  ThisExport(const ThisExport&) = delete;
  ThisExport& operator=(const ThisExport&) = delete;

 private:
  VeldrakeRecordCallback callback_;
  uint64_t generation_;
};

// Hands one record to the host unless the export was cancelled; marks the progress that
// restarts the database guard's time limit.
int Deliver(void* record) {
  if (CancelledSince(tCancelGeneration)) return -1;
  const int answer = tCallback(record);
  MarkProgress();
  return answer;
}

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

int Export(const char* path, const char* password, int dataKind, VeldrakeRecordCallback callback,
           const Warnings& warnings) {
  SweepStaleFolders(TemporaryBase());  // what an export killed outright left behind
  std::string folder;
  const int located = LocateOneBackup(path, &folder, &tMessage);
  if (located != kVeldrakeBackupOk) return located;
  OpenedBackup backup;
  const ThisExport scope(callback);
  int result = backup.Open(folder, password, &tMessage, &warnings);
  if (result == kVeldrakeBackupOk && dataKind == VELDRAKE_BACKUP_NOTES) {
    result = DeliverBackupNotes(backup, Deliver, warnings, &tMessage);
  } else if (result == kVeldrakeBackupOk) {
    sqlite3* db = nullptr;
    result = backup.OpenStore(kHomeDomain, kAddressBookPath, &db, &tMessage);
    if (result == kVeldrakeBackupOk) result = DeliverContacts(db, Deliver, &tMessage);
    sqlite3_close(db);
  }
  result = backup.Explain(result, &tMessage);
  if (result == kVeldrakeBackupStopped) tMessage = "the export was stopped by its callback";
  return result;
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
      if (!facts.infoProblem.empty())
        tMessage += (tMessage.empty() ? "" : "; ") + facts.infoProblem;
    }
    return static_cast<int>(found.size());
  } catch (...) {
    return FailedWith(&tMessage);
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
    const Warnings warnings{warn, warnContext};
    const int result = Export(path, password, dataKind, callback, warnings);
    if (result == kVeldrakeBackupOk) tMessage.clear();
    return result;
  } catch (...) {
    return FailedWith(&tMessage);
  }
}

extern "C" VELDRAKE_BACKUP_API void VeldrakeBackupCancel(void) {
  RequestCancel();
}

extern "C" VELDRAKE_BACKUP_API void VeldrakeBackupRemoveTemporaries(void) {
  RequestCancel();
  try {
    RemoveAllPrivateFolders();
  } catch (...) {  // a path's copy could not be made: the owner's own removal remains
  }
}

extern "C" VELDRAKE_BACKUP_API const char* VeldrakeBackupLastMessage(void) {
  return tMessage.c_str();
}
