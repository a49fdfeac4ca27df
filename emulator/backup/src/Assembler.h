// Assembler: puts a backup together in a private folder beside its final place, then
// renames it into place, so a reader never finds a half-written backup.
//
// Files are built (as plain databases) in a second private folder under TMPDIR and copied
// in (encrypted when the backup is) under their hashed names; every folder of a domain
// gets its own row in the manifest, as a phone lists them.
//
// Thread contract: one Assembler per backup, used on one thread.
#ifndef DEVICESIM_BACKUP_ASSEMBLER_H_
#define DEVICESIM_BACKUP_ASSEMBLER_H_

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Crypto.h"
#include "Files.h"
#include "Manifest.h"
#include "Plists.h"
#include "devicesim/backup/BackupWriter.h"

namespace devicesim::backup {

class Assembler {
 public:
  explicit Assembler(const BackupOptions& options) : options_(options) {}

  // Makes the two private folders beside dir/<udid> and under TMPDIR; refuses an existing
  // backup unless the options say to replace it.
  bool Begin(const std::string& dir, std::string* error);
  // A path in the private build folder for a database to be built under `name`.
  std::string StagePath(const std::string& name) const { return stage_.path() + "/" + name; }
  // Copies (or encrypts) the built file at `staged` into the backup as domain-path.
  bool AddFile(const std::string& domain, const std::string& relativePath,
               const std::string& staged, std::string* error);
  // Manifest.db, the property lists, then the rename into place.
  bool Finish(std::string* error);

 private:
  void AddFolders(const std::string& domain, const std::string& relativePath);
  bool CopyIn(const std::string& from, const std::string& to, const std::string& key,
              uint64_t* size, std::string* error);
  bool PutInPlace(std::string* error);

  const BackupOptions& options_;
  std::string final_;
  TempDir stage_, out_;
  Keybag keybag_;
  BackupStamp stamp_;
  std::vector<FileEntry> entries_;
  std::set<std::string> folders_;
  int64_t time_ = 0;
};

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_ASSEMBLER_H_
