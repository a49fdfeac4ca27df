// Plists: the backup's three property lists: Info.plist (XML, what the computer shows
// of the backup), Status.plist (binary, whether it is complete) and Manifest.plist
// (binary: the keybag, encryption, the device's lockdown values).
//
// Thread contract: pure functions.
#ifndef DEVICESIM_BACKUP_PLISTS_H_
#define DEVICESIM_BACKUP_PLISTS_H_

#include <string>

#include "devicesim/backup/BackupWriter.h"

namespace devicesim::backup {

struct BackupStamp {
  double date = 0;   // seconds since 2001-01-01 UTC
  std::string uuid;  // the backup's UUID text
};

std::string InfoPlist(const BackupOptions& options, const BackupStamp& stamp);
std::string StatusPlist(const BackupStamp& stamp);
// `manifestKey` is empty for an unencrypted backup.
std::string ManifestPlist(const BackupOptions& options, const BackupStamp& stamp,
                          const std::string& keybag, const std::string& manifestKey);

// Major version of a "17.5"-style text (0 when it has none).
int MajorVersion(const std::string& productVersion);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_PLISTS_H_
