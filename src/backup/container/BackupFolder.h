// BackupFolder: finding a backup on disk and reading what its property lists say of it.
//
// A backup folder holds Manifest.plist (binary: encryption, the keybag, the phone's
// lockdown values), Info.plist (XML: the phone's name, UDID, OS version, the date),
// Status.plist (binary: whether the snapshot finished) and Manifest.db. A path names a
// backup folder, or a folder whose backups are its direct subfolders (a computer's backup
// tool writes DIR/<UDID>/).
//
// Thread contract: pure functions over the file system, any thread.
#ifndef VELDRAKE_BACKUP_BACKUPFOLDER_H_
#define VELDRAKE_BACKUP_BACKUPFOLDER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace veldrake::backup {

struct BackupFacts {
  std::string path;  // the backup folder
  std::string udid, name, version;
  int64_t date = -1;  // seconds since 1970, -1 unknown
  bool encrypted = false;
  bool complete = false;
  std::string keybag;       // BackupKeyBag, encrypted backups
  std::string manifestKey;  // ManifestKey, encrypted backups of iOS 10.2 and later
  std::string infoProblem;  // why Info.plist was set aside; "" when read or absent
};

// True when `folder` holds a Manifest.plist.
bool IsBackupFolder(const std::string& folder);

// The backup folders at `path`: itself, or its direct subfolders that are backups, in
// name order. Empty when there is none.
std::vector<std::string> FindBackups(const std::string& path);

// Reads the property lists of the backup folder `folder`. A result code of
// VeldrakeBackupResult; kVeldrakeBackupNotABackup or kVeldrakeBackupStoreUnreadable with
// *message when they cannot be read.
int ReadBackupFacts(const std::string& folder, BackupFacts* out, std::string* message);

// Reads a regular file of at most `limit` bytes whole; false otherwise.
bool ReadSmallFile(const std::string& path, size_t limit, std::string* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_BACKUPFOLDER_H_
