// VeldrakeBackupGetContacts: the address book with its images database beside it. The
// images are a bonus: a backup without them, or with a damaged one, still gives every
// contact, and says once why the photos are missing.
#include <sqlite3.h>

#include <string>

#include "ApiSupport.h"
#include "Cancel.h"
#include "ContactDetails.h"
#include "OpenedBackup.h"
#include "PrivateFolder.h"
#include "StaleFolders.h"
#include "Warnings.h"
#include "veldrake/BackupContacts.h"

namespace {

using namespace veldrake::backup;

constexpr const char* kHomeDomain = "HomeDomain";
constexpr const char* kBookPath = "Library/AddressBook/AddressBook.sqlitedb";
constexpr const char* kImagesPath = "Library/AddressBook/AddressBookImages.sqlitedb";

// The images database, or null with a warning that says why there are no photos.
sqlite3* OpenImages(OpenedBackup& backup, const Warnings& warnings) {
  sqlite3* images = nullptr;
  std::string why;
  const int opened = backup.OpenStore(kHomeDomain, kImagesPath, &images, &why);
  if (opened == kVeldrakeBackupOk) return images;
  if (opened == kVeldrakeBackupStoreMissing)
    warnings.Say("the backup holds no AddressBookImages.sqlitedb: contacts come without photos");
  else
    warnings.Say(why + ": contacts come without photos");
  return nullptr;
}

// The host's callback behind a check for a cancel, marking the progress that restarts the
// database guard's time limit.
struct Delivery {
  VeldrakeContactCallback callback;
  void* context;
  uint64_t generation;

  static int Deliver(void* contact, const VeldrakeContactDetails* details, void* self) {
    const auto* d = static_cast<const Delivery*>(self);
    if (CancelledSince(d->generation)) return -1;
    const int answer = d->callback(contact, details, d->context);
    MarkProgress();
    return answer;
  }
};

int ExportContacts(const char* path, const char* password, int flags,
                   VeldrakeContactCallback callback, void* context, const Warnings& warnings) {
  SweepStaleFolders(TemporaryBase());  // what an export killed outright left behind
  std::string& message = LastMessage();
  std::string folder;
  int result = LocateOneBackup(path, &folder, &message);
  if (result != kVeldrakeBackupOk) return result;
  Delivery delivery{callback, context, CancelGeneration()};
  OpenedBackup backup;
  result = backup.Open(folder, password, &message, &warnings);
  sqlite3* book = nullptr;
  if (result == kVeldrakeBackupOk)
    result = backup.OpenStore(kHomeDomain, kBookPath, &book, &message);
  sqlite3* images = nullptr;
  if (result == kVeldrakeBackupOk && (flags & VELDRAKE_CONTACTS_NO_PHOTOS) == 0)
    images = OpenImages(backup, warnings);
  if (result == kVeldrakeBackupOk)
    result = DeliverContactDetails(book, images, Delivery::Deliver, &delivery, warnings, &message);
  sqlite3_close(images);
  sqlite3_close(book);
  result = backup.Explain(result, &message);
  if (result == kVeldrakeBackupStopped) message = "the export was stopped by its callback";
  return result;
}

}  // namespace

extern "C" VELDRAKE_BACKUP_API int VeldrakeBackupGetContacts(
    const char* path, const char* password, int flags, VeldrakeContactCallback callback,
    void* context, VeldrakeBackupWarningCallback warn, void* warnContext) {
  std::string& message = LastMessage();
  message.clear();
  if (path == nullptr || callback == nullptr || (flags & ~VELDRAKE_CONTACTS_NO_PHOTOS) != 0) {
    message = "a null path or callback, or unknown flags";
    return kVeldrakeBackupInvalidArgument;
  }
  try {
    const Warnings warnings{warn, warnContext};
    const int result = ExportContacts(path, password, flags, callback, context, warnings);
    if (result == kVeldrakeBackupOk) message.clear();
    return result;
  } catch (...) {
    return FailedWith(&message);
  }
}
