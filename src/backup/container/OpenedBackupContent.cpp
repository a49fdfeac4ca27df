// The files of an opened backup other than its databases, probed before a host asks for
// them, so a missing, linked or oversized one is known while its note is read.
#include <sqlite3.h>
#include <sys/stat.h>

#include "ContentCopy.h"
#include "Crypto.h"
#include "FileIo.h"
#include "OpenedBackup.h"

namespace veldrake::backup {
namespace {

// Whether `stored` bytes on disk hold content of `length` bytes: the same length when
// plain, or that length padded to whole AES blocks (1 to 16 bytes more) when encrypted.
bool LengthFits(int64_t stored, int64_t length, bool encrypted) {
  if (stored < 0 || length < 0) return false;
  if (!encrypted) return stored == length;
  const auto block = static_cast<int64_t>(kAesBlockBytes);
  return stored % block == 0 && stored > length && stored - length <= block;
}

}  // namespace

bool OpenedBackup::ListedOtherwise(const char* domain, const std::string& relativePath) {
  // On the relativePath index, as Locate.
  static const char kQuery[] = "SELECT 1 FROM Files WHERE +domain = ?1 AND relativePath = ?2";
  const std::lock_guard<std::mutex> hold(manifestLock_);
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(manifest_, kQuery, -1, &statement, nullptr) != SQLITE_OK) return false;
  sqlite3_bind_text(statement, 1, domain, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 2, relativePath.c_str(), -1, SQLITE_STATIC);
  const bool listed = sqlite3_step(statement) == SQLITE_ROW;
  sqlite3_finalize(statement);
  return listed;
}

OpenedBackup::Content OpenedBackup::Probe(const char* domain, const std::string& relativePath,
                                          int64_t* size, ContentPlace* place) {
  Located located;
  const Lookup found = Locate(domain, relativePath, &located);
  if (found == Lookup::kDamaged) return Content::kDamaged;
  if (found == Lookup::kAbsent)
    return ListedOtherwise(domain, relativePath) ? Content::kNotAFile : Content::kAbsent;
  *size = located.record.size;
  struct stat st;
  if (lstat(located.file.c_str(), &st) != 0) return Content::kAbsent;
  Fd file(OpenContentAt(root_, located.fileId));  // refuses links at either step
  if (file.get() < 0 || fstat(file.get(), &st) != 0 || !S_ISREG(st.st_mode))
    return Content::kNotAFile;
  const bool keyed = !facts_.encrypted || located.record.wrappedKey.size() == kWrappedKeyBytes;
  if (!keyed || !LengthFits(st.st_size, located.record.size, facts_.encrypted))
    return Content::kDamaged;
  if (place != nullptr) *place = ContentPlace{located.fileId, located.record};
  return Content::kFound;
}

}  // namespace veldrake::backup
