// LastMessage: the calling thread's message about its last call into the library, which
// every entry point sets and VeldrakeBackupLastMessage returns.
#ifndef VELDRAKE_BACKUP_LASTMESSAGE_H_
#define VELDRAKE_BACKUP_LASTMESSAGE_H_

#include <string>

namespace veldrake::backup {

std::string& LastMessage();

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_LASTMESSAGE_H_
