// BackupCommand: veldrake-devicesim's --write-backup, the options and the run, kept here
// so the program only wires them in.
//
// The password comes from the first line of --password-file, never from the command line,
// and is never printed.
//
// Thread contract: called from the program's main thread.
#ifndef DEVICESIM_BACKUP_BACKUPCOMMAND_H_
#define DEVICESIM_BACKUP_BACKUPCOMMAND_H_

#include <string>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupWriter.h"

namespace CLI {
class App;
}  // namespace CLI

namespace devicesim::backup {

struct BackupCommand {
  std::string dir;           // empty: no backup is written
  std::string passwordFile;  // empty: not encrypted
  BackupOptions options;
};

void AddBackupOptions(CLI::App& app, BackupCommand& command);

// Writes the backup and says where; the program's exit status (0, or 2 for bad input such
// as an unreadable password file or an existing backup, 1 when writing fails).
int RunBackupCommand(const BackupCommand& command, const AddressBook& book, const NoteStore& notes);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_BACKUPCOMMAND_H_
