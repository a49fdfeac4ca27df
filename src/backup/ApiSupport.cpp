// The entry points' shared pieces.
#include "ApiSupport.h"

#include <new>
#include <stdexcept>
#include <vector>

#include "BackupFolder.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {

std::string& LastMessage() {
  thread_local std::string message;
  return message;
}

int LocateOneBackup(const std::string& path, std::string* folder, std::string* message) {
  const std::vector<std::string> found = FindBackups(path);
  if (found.empty()) {
    *message = "no backup at " + path;
    return kVeldrakeBackupNotABackup;
  }
  if (found.size() > 1) {
    *message = path + " holds " + std::to_string(found.size()) + " backups:";
    for (const std::string& one : found) *message += " " + one;
    return kVeldrakeBackupSeveral;
  }
  *folder = found.front();
  return kVeldrakeBackupOk;
}

// What an exception from below means at the boundary: memory ran out, or a file-system
// call failed in a way the code above it did not foresee.
int FailedWith(std::string* message) {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    *message = "out of memory";
    return kVeldrakeBackupNoMemory;
  } catch (const std::exception& error) {
    *message = std::string("the backup cannot be read: ") + error.what();
    return kVeldrakeBackupStoreUnreadable;
  } catch (...) {
    *message = "the backup cannot be read";
    return kVeldrakeBackupStoreUnreadable;
  }
}

}  // namespace veldrake::backup
