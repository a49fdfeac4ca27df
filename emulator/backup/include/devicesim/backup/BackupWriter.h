// BackupWriter: writes a phone's local backup of the book and notes the emulator serves,
// laid out, named and (with a password) encrypted the way a phone writes one, so that the
// backup route can be checked against the sync route on the same data without a phone.
//
// The backup is assembled in a private temporary folder beside DIR/<udid> and renamed into
// place only when complete: a failure leaves nothing behind. The databases are built in a
// second private folder (0700) under TMPDIR, removed on every return.
//
// Thread contract: touches only the paths it is given and its own temporary folders.
#ifndef DEVICESIM_BACKUP_BACKUPWRITER_H_
#define DEVICESIM_BACKUP_BACKUPWRITER_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"

namespace devicesim::backup {

struct BackupOptions {
  std::string password;                 // empty: not encrypted
  std::string productVersion = "17.5";  // decides the notes store: < 9 legacy notes.sqlite
  uint32_t sha256Iterations = 10000000, sha1Iterations = 10000;  // keybag's DPIC / ITER
  size_t walPeople = 0;  // the last N people live only in the -wal file
  std::string udid = "00008110-000A1B2C3D4E5F60", deviceName = "Veldrake Phone";
  bool replace = false;      // an existing DIR/<udid> is replaced rather than refused
  bool notesFaults = false;  // add hostile notes for a reader's tests (NoteFaults.h)
};

// Writes a complete backup into dir/<udid>/; false with *error on failure.
bool WriteBackup(const AddressBook& book, const NoteStore& notes, const std::string& dir,
                 const BackupOptions& options, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_BACKUPWRITER_H_
