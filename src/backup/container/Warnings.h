// Warnings: how the backup layer tells the host about a record it had to skip (a locked
// note, a body too large to inflate, ...) without stopping the export.
//
// Thread contract: a plain value, used on the thread of the one export it belongs to.
#ifndef VELDRAKE_BACKUP_WARNINGS_H_
#define VELDRAKE_BACKUP_WARNINGS_H_

#include <string>

#include "veldrake/Backup.h"

namespace veldrake::backup {

struct Warnings {
  VeldrakeBackupWarningCallback callback = nullptr;  // null: warnings are dropped
  void* context = nullptr;

  // Hands one line to the host's callback, if it gave one.
  void Say(const std::string& line) const;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_WARNINGS_H_
