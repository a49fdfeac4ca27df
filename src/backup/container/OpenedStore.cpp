// The stores of an opened backup and the copies made of its files.
#include <sqlite3.h>
#include <sys/stat.h>

#include "Cancel.h"
#include "ContentCopy.h"
#include "Crypto.h"
#include "FileIo.h"
#include "OpenedBackup.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr const char* kWalSuffix = "-wal";
constexpr const char* kStoreName = "store.sqlite";
constexpr const char* kStoreWalName = "store.sqlite-wal";
// A phone checkpoints its logs every thousand pages; one far larger than its database is
// no phone's.
constexpr int64_t kWalAllowance = int64_t{64} << 20;
constexpr int64_t kWalPerStoreByte = 4;

int CopyResult(Copied copied) {
  if (copied == Copied::kOk) return kVeldrakeBackupOk;
  return copied == Copied::kNoSpace ? kVeldrakeBackupNoSpace : kVeldrakeBackupStoreUnreadable;
}

}  // namespace

int OpenedBackup::Copy(const Located& located, int fd, const std::string& what,
                       std::string* message) {
  std::string key;
  if (facts_.encrypted) {
    const std::string* classKey = keybag_.ClassKey(located.record.protectionClass);
    if (classKey == nullptr ||
        UnwrapKey(*classKey, located.record.wrappedKey, &key) != Unwrap::kOk) {
      Wipe(&key);
      *message = what + " cannot be decrypted (its key is damaged)";
      return kVeldrakeBackupStoreUnreadable;
    }
  }
  Fd in(OpenContent(facts_.path, located.fileId));
  const Copied copied = in.get() < 0 ? Copied::kCannotRead
                                     : CopyContent(in.get(), fd, facts_.encrypted ? &key : nullptr,
                                                   located.record.size);
  Wipe(&key);
  MarkProgress();
  if (copied != Copied::kOk) *message = DescribeCopy(copied, what, located.record.size);
  return CopyResult(copied);
}

int OpenedBackup::CopyFile(const char* domain, const std::string& relativePath, int fd,
                           std::string* message) {
  const std::string what = facts_.path + ": " + domain + "/" + relativePath;
  Located located;
  const Lookup found = Locate(domain, relativePath, &located);
  if (found == Lookup::kAbsent) *message = facts_.path + " holds no " + domain + "/" + relativePath;
  if (found == Lookup::kDamaged) *message = what + ": its record in Manifest.db is damaged";
  if (found != Lookup::kFound)
    return found == Lookup::kAbsent ? kVeldrakeBackupStoreMissing : kVeldrakeBackupStoreUnreadable;
  return Copy(located, fd, what, message);
}

int OpenedBackup::Materialise(const Located& located, const char* name, std::string* message) {
  Fd out(CreatePrivateFile(private_.PathOf(name)));
  if (out.get() < 0) {
    *message = located.file + " cannot be written into the temporary folder";
    return kVeldrakeBackupStoreUnreadable;
  }
  return Copy(located, out.get(), located.file + " (" + storeName_ + ")", message);
}

int OpenedBackup::OpenInPlace(const Located& store, const std::string& name, sqlite3** db,
                              std::string* message) {
  Fd content(OpenContent(facts_.path, store.fileId));  // refuses links at either step
  struct stat st;
  if (content.get() >= 0 && fstat(content.get(), &st) == 0 && st.st_size != store.record.size) {
    *message = store.file + " (" + name + ") is not as long as Manifest.db records";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (content.get() >= 0 && OpenImmutable(store.file, &storeGuard_, db) == SQLITE_OK)
    return kVeldrakeBackupOk;
  *message = store.file + " (" + name + ") is no readable database (or a link)";
  return kVeldrakeBackupStoreUnreadable;
}

int OpenedBackup::OpenCopies(const Located& store, const Located* wal, const std::string& name,
                             sqlite3** db, std::string* message) {
  if (wal != nullptr && wal->record.size > kWalAllowance + kWalPerStoreByte * store.record.size) {
    *message = wal->file + " (" + name + kWalSuffix + ") is far larger than any phone's log";
    return kVeldrakeBackupStoreUnreadable;
  }
  int result = EnsurePrivate(message);
  if (result == kVeldrakeBackupOk) result = Materialise(store, kStoreName, message);
  if (result == kVeldrakeBackupOk && wal != nullptr)
    result = Materialise(*wal, kStoreWalName, message);
  if (result != kVeldrakeBackupOk) return result;
  // Our own copy: SQLite may write its index of the log beside it, which is why the
  // backup's files are never opened this way.
  if (OpenGuarded(private_.PathOf(kStoreName), SQLITE_OPEN_READWRITE, &storeGuard_, db) ==
      SQLITE_OK)
    return kVeldrakeBackupOk;
  *message = store.file + " (" + name + ") is no readable database";
  return kVeldrakeBackupStoreUnreadable;
}

int OpenedBackup::OpenStore(const char* domain, const std::string& relativePath, sqlite3** db,
                            std::string* message) {
  storeName_ = std::string(domain) + "/" + relativePath;
  Located store, wal;
  const Lookup found = Locate(domain, relativePath, &store);
  if (found == Lookup::kAbsent) {
    *message = facts_.path + " holds no " + storeName_;
    return kVeldrakeBackupStoreMissing;
  }
  const Lookup walFound = Locate(domain, relativePath + kWalSuffix, &wal);
  if (found == Lookup::kDamaged || walFound == Lookup::kDamaged) {
    *message = facts_.path + ": the record of " + storeName_ + " is damaged";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (!facts_.encrypted && walFound == Lookup::kAbsent)
    return OpenInPlace(store, storeName_, db, message);
  return OpenCopies(store, walFound == Lookup::kFound ? &wal : nullptr, storeName_, db, message);
}

int OpenedBackup::Explain(int result, std::string* message) const {
  if (result != kVeldrakeBackupOk && CancelledSince(cancelGeneration_)) {
    *message = "the export was cancelled";
    return kVeldrakeBackupCancelled;
  }
  for (const SqlGuard* guard : {&storeGuard_, &manifestGuard_}) {
    const std::string& why =
        guard->timedOut() ? "a query ran longer than any real store's would" : guard->refusal();
    if (why.empty()) continue;
    const std::string store = guard == &storeGuard_ ? storeName_ : std::string("Manifest.db");
    *message = facts_.path + ": " + store + " is a damaged or hostile store: " + why;
    return kVeldrakeBackupStoreUnreadable;
  }
  return result;
}

}  // namespace veldrake::backup
