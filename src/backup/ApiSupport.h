// ApiSupport: what every entry point of the library shares: the calling thread's last
// message, finding the one backup a path names, and turning what was thrown below into a
// result code at the boundary.
//
// Thread contract: the message is the calling thread's own; the rest are plain functions.
#ifndef VELDRAKE_BACKUP_APISUPPORT_H_
#define VELDRAKE_BACKUP_APISUPPORT_H_

#include <string>

namespace veldrake::backup {

// The calling thread's message about its last call (VeldrakeBackupLastMessage).
std::string& LastMessage();

// The one backup folder at `path` into *folder; kVeldrakeBackupNotABackup or
// kVeldrakeBackupSeveral with *message otherwise.
int LocateOneBackup(const std::string& path, std::string* folder, std::string* message);

// Inside a catch block: the result the exception being handled stands for, with *message.
int FailedWith(std::string* message);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_APISUPPORT_H_
