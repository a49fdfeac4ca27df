// Manifest: the backup's catalogue of files (Manifest.db) and each file's record, an
// NSKeyedArchiver archive of an MBFile.
//
// Thread contract: pure functions, and the one database file they are told to write.
#ifndef DEVICESIM_BACKUP_MANIFEST_H_
#define DEVICESIM_BACKUP_MANIFEST_H_

#include <cstdint>
#include <string>
#include <vector>

namespace devicesim::backup {

enum FileFlags : int { kRegularFile = 1, kDirectory = 2 };

struct FileEntry {
  std::string domain, relativePath;
  int flags = kRegularFile;
  uint64_t size = 0;  // the plain content's length
  uint32_t protectionClass = 0;
  std::string wrappedKey;  // class + wrapped file key; empty when not encrypted
  uint64_t inode = 0;
  int64_t time = 0;  // seconds since 1970, as the phone's file system keeps it
};

// Lowercase hex SHA-1 of "domain-relativePath": the file's name in the backup.
std::string FileId(const std::string& domain, const std::string& relativePath);

// The Files.file blob of one entry.
std::string MBFileArchive(const FileEntry& entry);

bool WriteManifestDb(const std::vector<FileEntry>& entries, const std::string& path,
                     std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_MANIFEST_H_
