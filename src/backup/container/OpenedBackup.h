// OpenedBackup: one backup opened for one export: its facts, the keybag opened with the
// password (encrypted backups), Manifest.db, and the databases of the phone it holds.
//
// A Files row leads to <folder>/<first two hex digits>/<fileID>, built here from a fileID
// of exactly 40 hex digits, never taken from the database as a path, so no row leads
// outside the backup folder. The backup's own files are only ever read: a database is
// opened in place read-only and immutable, or, when it is encrypted or has a write-ahead
// log beside it, decrypted or copied with its log into a PrivateFolder and opened there.
//
// Thread contract: one owner, one thread.
#ifndef VELDRAKE_BACKUP_OPENEDBACKUP_H_
#define VELDRAKE_BACKUP_OPENEDBACKUP_H_

#include <memory>
#include <string>

#include "BackupFolder.h"
#include "ContentStream.h"
#include "FileRecord.h"
#include "Keybag.h"
#include "PrivateFolder.h"

struct sqlite3;

namespace veldrake::backup {

class OpenedBackup {
 public:
  OpenedBackup() = default;
  ~OpenedBackup();
  OpenedBackup(const OpenedBackup&) = delete;
  OpenedBackup& operator=(const OpenedBackup&) = delete;

  // Opens the backup folder `folder` (`password` may be null). A VeldrakeBackupResult,
  // with *message on failure.
  int Open(const std::string& folder, const char* password, std::string* message);

  // True when the backup lists the file.
  bool Has(const char* domain, const std::string& relativePath);

  // Opens the database `domain`/`relativePath` with its write-ahead log, read-only in
  // effect, into *db (the caller closes it). kVeldrakeBackupStoreMissing when the backup
  // does not list it; kVeldrakeBackupStoreUnreadable when it cannot be opened.
  // REQUIRES: Open succeeded; one store per OpenedBackup.
  int OpenStore(const char* domain, const std::string& relativePath, sqlite3** db,
                std::string* message);

  // What the backup holds at `domain`/`relativePath` (OpenedBackupContent.cpp): a plain
  // file whose content fits its recorded size (kFound, *size set), nothing, a folder or a
  // link (in Manifest.db or on disk), or a damaged record.
  enum class Content { kFound, kAbsent, kNotAFile, kDamaged };
  Content Probe(const char* domain, const std::string& relativePath, int64_t* size);
  // Streams that file's content, decrypted, no more than its recorded size, to `sink`.
  Streamed StreamFile(const char* domain, const std::string& relativePath, const ChunkSink& sink);

 private:
  struct Located {
    std::string file;  // the content's path inside the backup folder
    FileRecord record;
  };
  enum class Lookup { kFound, kAbsent, kDamaged };

  int OpenManifest(const char* password, std::string* message);
  int UnlockManifest(const char* password, std::string* message);
  Lookup Locate(const char* domain, const std::string& relativePath, Located* out);
  bool ListedOtherwise(const char* domain, const std::string& relativePath);
  Content Check(const Located& located);
  bool EnsurePrivate();
  bool Materialise(const Located& located, const char* name, std::string* message);

  BackupFacts facts_;
  Keybag keybag_;
  PrivateFolder private_;
  bool privateMade_ = false;
  sqlite3* manifest_ = nullptr;
};

// Opens `path` read-only as an immutable database (no lock, no log, nothing written).
int OpenImmutable(const std::string& path, sqlite3** db);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_OPENEDBACKUP_H_
