// FileRecord: what Manifest.db's Files.file blob says of one file: an NSKeyedArchiver
// binary property list of an MBFile, whose "$top" root points into "$objects" at a
// dictionary with the file's Size, ProtectionClass and (encrypted backups) EncryptionKey,
// itself a reference to a dictionary whose NS.data is the 4-byte little-endian class and
// the 40-byte wrapped key. The blob is untrusted: references are followed only where
// they lead inside "$objects", one step at a time, so a self-reference cannot loop.
//
// Thread contract: pure function, any thread.
#ifndef VELDRAKE_BACKUP_FILERECORD_H_
#define VELDRAKE_BACKUP_FILERECORD_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace veldrake::backup {

struct FileRecord {
  int64_t size = -1;             // the true length of the content
  uint32_t protectionClass = 0;  // the class whose key wraps `wrappedKey`
  std::string wrappedKey;        // kWrappedKeyBytes, or empty when not encrypted
};

// Whether `id` is a content's name in the backup: 40 lowercase hex digits.
bool IsFileId(const std::string& id);

// Where a content is in the backup, as a lookup in Manifest.db found it: its file (40 hex
// digits) and record. Kept with what refers to the content, so that copying it later
// needs no second lookup.
struct ContentPlace {
  std::string fileId;  // "" when not found
  FileRecord record;
};

// Reads the archive of `length` bytes; false when it is no MBFile archive with a size
// that is not negative (and, where an EncryptionKey is there, one of 44 bytes).
bool ParseFileRecord(const void* blob, size_t length, FileRecord* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_FILERECORD_H_
