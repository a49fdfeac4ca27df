// OpenedBackup: one backup opened for one export: its facts, the keybag opened with the
// password (encrypted backups), Manifest.db, and the databases of the phone it holds.
//
// A Files row leads to <folder>/<first two hex digits>/<fileID>, built here from a fileID
// of exactly 40 hex digits, never taken from the database as a path, and reached through
// no symbolic link (ContentCopy.h), so no row leads outside the backup folder. The
// backup's own files are only ever read: a database is opened in place read-only and
// immutable, or, when it is encrypted or has a write-ahead log beside it, decrypted or
// copied with its log into a PrivateFolder (capped by the sizes Manifest.db records and
// the space left) and opened there. Every database is opened under a SqlGuard.
//
// Thread contract: one owner, one thread.
#ifndef VELDRAKE_BACKUP_OPENEDBACKUP_H_
#define VELDRAKE_BACKUP_OPENEDBACKUP_H_

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "BackupFolder.h"
#include "FileRecord.h"
#include "Keybag.h"
#include "PrivateFolder.h"
#include "SqlGuard.h"
#include "Warnings.h"

struct sqlite3;
struct sqlite3_stmt;

namespace veldrake::backup {

class SecretBuffer;

class OpenedBackup {
 public:
  // Notes the cancel counter: a VeldrakeBackupCancel from now on stops this export.
  OpenedBackup();
  ~OpenedBackup();
  OpenedBackup(const OpenedBackup&) = delete;
  OpenedBackup& operator=(const OpenedBackup&) = delete;

  // Opens the backup folder `folder` (`password` may be null). A VeldrakeBackupResult,
  // with *message on failure. An Info.plist set aside is told through `warnings`, if given.
  int Open(const std::string& folder, const char* password, std::string* message,
           const Warnings* warnings = nullptr);

  // True when the backup lists the file.
  bool Has(const char* domain, const std::string& relativePath);

  // Opens the database `domain`/`relativePath` with its write-ahead log, read-only in
  // effect, into *db (the caller closes it). kVeldrakeBackupStoreMissing when the backup
  // does not list it; kVeldrakeBackupStoreUnreadable when it cannot be opened.
  // At most PrivateFolder::kMaxStores stores per OpenedBackup (more: StoreUnreadable).
  // REQUIRES: Open succeeded.
  int OpenStore(const char* domain, const std::string& relativePath, sqlite3** db,
                std::string* message);

  // Copies (decrypts) the file `domain`/`relativePath` into the caller's descriptor `fd`,
  // capped by the size Manifest.db records and by the space left on fd's file system.
  // kVeldrakeBackupStoreMissing when the backup does not list it, kVeldrakeBackupNoSpace,
  // kVeldrakeBackupStoreUnreadable when it is damaged, larger than its record or a link.
  // REQUIRES: Open succeeded.
  int CopyFile(const char* domain, const std::string& relativePath, int fd, std::string* message);

  // What the backup holds at `domain`/`relativePath` (OpenedBackupContent.cpp): a regular
  // file, reached through no link, whose length fits its recorded size (kFound, *size
  // set), nothing, a folder or a link (in Manifest.db or on disk), or a damaged record.
  enum class Content { kFound, kAbsent, kNotAFile, kDamaged };
  // *place (when given) says where a kFound content is, for CopyPlace.
  Content Probe(const char* domain, const std::string& relativePath, int64_t* size,
                ContentPlace* place = nullptr);
  // CopyFile for a content Probe found at `place`; `domain` and `relativePath` name it.
  int CopyPlace(const ContentPlace& place, const char* domain, const std::string& relativePath,
                int fd, std::string* message);

  // Turns the result of the code that read the store into what really happened: a failure
  // after a cancel is kVeldrakeBackupCancelled; any result after the guard refused a
  // table or ended a query for its time is a damaged or hostile store, even where the
  // reader had carried on without that table. *message says so. Other results pass.
  int Explain(int result, std::string* message) const;

 private:
  struct Located {
    std::string file;    // the content's path inside the backup folder
    std::string fileId;  // 40 hex digits
    FileRecord record;
  };
  enum class Lookup { kFound, kAbsent, kDamaged };
  // One opened store: its name (domain/relativePath) and the guard of its connection.
  struct Store {
    Store(std::string storeName, uint64_t cancelGeneration)
        : name(std::move(storeName)), guard(cancelGeneration) {}
    std::string name;
    SqlGuard guard;
  };

  int OpenManifest(const char* password, std::string* message);
  int UnlockManifest(const char* password, std::string* message);
  Lookup Locate(const char* domain, const std::string& relativePath, Located* out);
  bool ListedOtherwise(const char* domain, const std::string& relativePath);
  int DecryptManifest(std::string* message);
  int EnsurePrivate(std::string* message);
  int Copy(const Located& located, int fd, const std::string& what, std::string* message);
  // Copies one content into the private folder as `name`; `shown` names it in messages
  // (the store's domain/relativePath, with "-wal" for its log).
  int Materialise(const Located& located, const std::string& name, const std::string& shown,
                  std::string* message);
  int OpenInPlace(const Located& content, Store& store, sqlite3** db, std::string* message);
  int OpenCopies(const Located& content, const Located* wal, Store& store, sqlite3** db,
                 std::string* message);

  uint64_t cancelGeneration_;
  SqlGuard manifestGuard_;
  std::deque<Store> stores_;  // a deque: the guards' addresses stay put
  BackupFacts facts_;
  Keybag keybag_;
  PrivateFolder private_;
  bool privateMade_ = false;
  sqlite3* manifest_ = nullptr;
  // Manifest.db's lookups, taken by the notes' reading thread and by the copies the host
  // asks for on its own thread at the same time.
  std::mutex manifestLock_;
  sqlite3_stmt* locate_ = nullptr;
  int root_ = -1;  // the backup folder, opened once for every content reached in it
  // The buffer every decrypting copy of an encrypted backup's files goes through, made
  // with the first and wiped when the backup is closed: a fresh one per file was a tenth
  // of an export of thousands of attachments.
  std::unique_ptr<SecretBuffer> scratch_;  // Locate's query, prepared once: it runs per attachment
};

// Opens `path` read-only as an immutable database (no lock, no log, nothing written, not
// through a link), under `guard`.
int OpenImmutable(const std::string& path, SqlGuard* guard, sqlite3** db);
// Opens the database `name` (a path or an SQLite URI, as `flags` say) not through a link,
// checks that it is one and attaches `guard`; an SQLite result code.
int OpenGuarded(const std::string& name, int flags, SqlGuard* guard, sqlite3** db);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_OPENEDBACKUP_H_
