// VeldrakeBackupGetContacts: the address book with its images database beside it. The
// images are a bonus: a backup without them, or with a damaged one, still gives every
// contact, and says once why the photos are missing.
#include <sqlite3.h>

#include <string>

#include "ApiSupport.h"
#include "ContactDetails.h"
#include "OpenedBackup.h"
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

int ExportContacts(const char* path, const char* password, int flags,
                   VeldrakeContactCallback callback, void* context, const Warnings& warnings) {
  std::string& message = LastMessage();
  std::string folder;
  int result = LocateOneBackup(path, &folder, &message);
  if (result != kVeldrakeBackupOk) return result;
  OpenedBackup backup;
  result = backup.Open(folder, password, &message);
  if (result != kVeldrakeBackupOk) return result;
  sqlite3* book = nullptr;
  result = backup.OpenStore(kHomeDomain, kBookPath, &book, &message);
  sqlite3* images = nullptr;
  if (result == kVeldrakeBackupOk && (flags & VELDRAKE_CONTACTS_NO_PHOTOS) == 0)
    images = OpenImages(backup, warnings);
  if (result == kVeldrakeBackupOk)
    result = DeliverContactDetails(book, images, callback, context, warnings, &message);
  sqlite3_close(images);
  sqlite3_close(book);
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
    Warnings warnings;
    warnings.callback = warn;
    warnings.context = warnContext;
    const int result = ExportContacts(path, password, flags, callback, context, warnings);
    if (result == kVeldrakeBackupOk) message.clear();
    return result;
  } catch (...) {
    return FailedWith(&message);
  }
}
