// The files of an opened backup other than its databases: probed and streamed to a host.
#include <sqlite3.h>
#include <sys/stat.h>

#include "Crypto.h"
#include "OpenedBackup.h"

namespace veldrake::backup {

bool OpenedBackup::ListedOtherwise(const char* domain, const std::string& relativePath) {
  static const char kQuery[] = "SELECT 1 FROM Files WHERE domain = ?1 AND relativePath = ?2";
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(manifest_, kQuery, -1, &statement, nullptr) != SQLITE_OK) return false;
  sqlite3_bind_text(statement, 1, domain, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 2, relativePath.c_str(), -1, SQLITE_STATIC);
  const bool listed = sqlite3_step(statement) == SQLITE_ROW;
  sqlite3_finalize(statement);
  return listed;
}

OpenedBackup::Content OpenedBackup::Check(const Located& located) {
  struct stat st;
  if (lstat(located.file.c_str(), &st) != 0) return Content::kAbsent;
  if (!S_ISREG(st.st_mode)) return Content::kNotAFile;
  const bool fits = LengthFits(st.st_size, located.record.size, facts_.encrypted) &&
                    (!facts_.encrypted || located.record.wrappedKey.size() == kWrappedKeyBytes);
  return fits ? Content::kFound : Content::kDamaged;
}

OpenedBackup::Content OpenedBackup::Probe(const char* domain, const std::string& relativePath,
                                          int64_t* size) {
  Located located;
  const Lookup found = Locate(domain, relativePath, &located);
  if (found == Lookup::kDamaged) return Content::kDamaged;
  if (found == Lookup::kAbsent)
    return ListedOtherwise(domain, relativePath) ? Content::kNotAFile : Content::kAbsent;
  *size = located.record.size;
  return Check(located);
}

Streamed OpenedBackup::StreamFile(const char* domain, const std::string& relativePath,
                                  const ChunkSink& sink) {
  Located located;
  if (Locate(domain, relativePath, &located) != Lookup::kFound || Check(located) != Content::kFound)
    return Streamed::kCannotRead;
  std::string key;
  if (facts_.encrypted) {
    const std::string* classKey = keybag_.ClassKey(located.record.protectionClass);
    if (classKey == nullptr || UnwrapKey(*classKey, located.record.wrappedKey, &key) != Unwrap::kOk)
      return Streamed::kDamaged;
  }
  const Streamed streamed = StreamContent(located.file, key, located.record.size, sink);
  Wipe(&key);
  return streamed;
}

}  // namespace veldrake::backup
