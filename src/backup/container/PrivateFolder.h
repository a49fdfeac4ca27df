// PrivateFolder: a temporary folder only its owner can enter (mode 0700, made with
// mkdtemp under $TMPDIR or /tmp, never beside the backup), for the databases an export
// has to open as files: decrypted ones, and copies that sit beside their write-ahead log.
// It is removed with everything in it when the object goes, on every path out of an
// export; while it exists, SIGINT, SIGTERM, SIGHUP and SIGQUIT remove it too (best effort)
// when the host left them at their default action, then end the process as the signal
// would have.
//
// Thread contract: one owner; the signal bookkeeping is process-wide and lock-free.
#ifndef VELDRAKE_BACKUP_PRIVATEFOLDER_H_
#define VELDRAKE_BACKUP_PRIVATEFOLDER_H_

#include <string>

namespace veldrake::backup {

class PrivateFolder {
 public:
  PrivateFolder() = default;
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  // Makes the folder; false when it cannot be made.
  bool Create();
  // The path of `name` inside the folder. REQUIRES: Create succeeded; `name` is one of
  // kFileNames.
  std::string PathOf(const char* name) const;

  // The only names a private folder holds (a database with its SQLite companions), so
  // a signal handler can remove them without reading the folder.
  static const char* const kFileNames[];

 private:
  std::string path_;
  int slot_ = -1;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_PRIVATEFOLDER_H_
