// BackupCommands: the contacts and notes of a phone's local backup folder, through
// libVeldrakeBackup (include/veldrake/Backup.h), loaded beside libVeldrakeForMac.
//   veldrake contacts|notes --backup PATH [--password-file FILE] ...  every format, -o,
//                 --limit and -q as from a device; a skipped record is one "warning:" line
//   veldrake backups PATH   lists the backups under PATH: UDID, name, OS version, date,
//                 encrypted or not
//
// Thread contract: the program's main thread.
#ifndef VELDRAKE_HOST_BACKUPCOMMANDS_H_
#define VELDRAKE_HOST_BACKUPCOMMANDS_H_

#include "CommandLine.h"

namespace host {

// The exit status, with every line to the person said.
int RunBackupExport(const Options& options);
int RunBackupList(const Options& options);

}  // namespace host

#endif  // VELDRAKE_HOST_BACKUPCOMMANDS_H_
