// PrivateFolder: a temporary folder only its owner can enter (mode 0700, made with
// mkdtemp under $TMPDIR or /tmp, never beside the backup), for the databases an export
// has to open as files: decrypted ones, and copies that sit beside their write-ahead log.
// It is removed with everything in it when the object goes, on every path out of an
// export. While it exists it is in a process-wide registry, so that
// RemoveAllPrivateFolders (a host's signal-watching thread, before it ends the process)
// and our own handlers of SIGINT, SIGTERM, SIGHUP and SIGQUIT (installed only where the
// host left them at their default action) can remove it at once.
//
// Its name carries the process id ("veldrake-backup-<pid>-XXXXXX"): a folder left by a
// process that was killed outright is removed by the next export that finds it (ours by
// prefix, mode 0700, owner and a dead process; see StaleFolders.h).
//
// Thread contract: one owner; the registry is process-wide and thread-safe.
#ifndef VELDRAKE_BACKUP_PRIVATEFOLDER_H_
#define VELDRAKE_BACKUP_PRIVATEFOLDER_H_

#include <string>

namespace veldrake::backup {

// The start of every private folder's name.
constexpr const char* kPrivatePrefix = "veldrake-backup-";

class PrivateFolder {
 public:
  PrivateFolder() = default;
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  // Makes the folder; false, with *why naming what is wrong with the temporary folder
  // (TMPDIR missing, not a folder, not writable), when it cannot be made, or when more
  // exports run at once than the registry holds (16).
  bool Create(std::string* why);
  // The path of `name` inside the folder. REQUIRES: Create succeeded; `name` is one of
  // kFileNames.
  std::string PathOf(const char* name) const;
  // Creates the file `name` in the folder for writing (CreatePrivateFile); -1 once
  // RemoveAllPrivateFolders has run, so nothing new appears in a folder it emptied.
  // REQUIRES: as PathOf.
  int CreateFile(const char* name) const;

  // The only names a private folder holds (Manifest.db and up to kMaxStores stores,
  // "store<n>.sqlite", each with its SQLite companions), so a signal handler can remove
  // them without reading the folder.
  static const char* const kFileNames[];
  static constexpr int kMaxStores = 4;

 private:
  std::string path_;
  int slot_ = -1;
};

// Removes every registered private folder now, with whatever is in it; their owners'
// later removal finds nothing. Any thread.
void RemoveAllPrivateFolders();

// The folder temporary files go to: $TMPDIR when set and not empty, else /tmp.
std::string TemporaryBase();

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_PRIVATEFOLDER_H_
