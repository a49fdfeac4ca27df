// The stores of an opened backup and the copies made of its files.
#include <sqlite3.h>
#include <sys/stat.h>

#include <utility>
#include <vector>

#include "Cancel.h"
#include "ContentCopy.h"
#include "Crypto.h"
#include "FileIo.h"
#include "OpenedBackup.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr const char* kWalSuffix = "-wal";
constexpr const char* kManifestName = "Manifest.db";
// A phone checkpoints its logs every thousand pages; one far larger than its database is
// no phone's.
constexpr int64_t kWalAllowance = int64_t{64} << 20;
constexpr int64_t kWalPerStoreByte = 4;

int CopyResult(Copied copied) {
  if (copied == Copied::kOk) return kVeldrakeBackupOk;
  return copied == Copied::kNoSpace ? kVeldrakeBackupNoSpace : kVeldrakeBackupStoreUnreadable;
}

// The private name of store number `n` (with `suffix`): one of PrivateFolder::kFileNames.
std::string PrivateName(size_t n, const char* suffix = "") {
  return "store" + std::to_string(n) + ".sqlite" + suffix;
}

// What a guard saw that makes its database hostile, or "".
std::string HostileSign(const SqlGuard& guard) {
  if (guard.timedOut()) return "a query ran longer than any real store's";
  if (guard.outOfMemory()) return "a query took more memory than any real store's";
  return guard.refusal();
}

// Whether the content `fileId` of the backup at `folder` is a file of no bytes.
bool EmptyContent(const std::string& folder, const std::string& fileId) {
  Fd file(OpenContent(folder, fileId));
  struct stat st;
  return file.get() >= 0 && fstat(file.get(), &st) == 0 && st.st_size == 0;
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
  if (facts_.encrypted && !scratch_) scratch_ = std::make_unique<SecretBuffer>(kCopyScratchBytes);
  Fd in(OpenContentAt(root_, located.fileId));
  const Copied copied = in.get() < 0 ? Copied::kCannotRead
                                     : CopyContent(in.get(), fd, facts_.encrypted ? &key : nullptr,
                                                   located.record.size, scratch_.get());
  Wipe(&key);
  MarkProgress();
  if (copied != Copied::kOk) *message = ContentLinkRefusal(facts_.path, located.fileId);
  if (copied != Copied::kOk && message->empty())
    *message = DescribeCopy(copied, what, located.record.size);
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

int OpenedBackup::CopyPlace(const ContentPlace& place, const char* domain,
                            const std::string& relativePath, int fd, std::string* message) {
  if (!IsFileId(place.fileId)) return CopyFile(domain, relativePath, fd, message);
  const Located located{facts_.path + "/" + place.fileId.substr(0, 2) + "/" + place.fileId,
                        place.fileId, place.record};
  return Copy(located, fd, facts_.path + ": " + domain + "/" + relativePath, message);
}

int OpenedBackup::Materialise(const Located& located, const std::string& name,
                              const std::string& shown, std::string* message) {
  Fd out(private_.CreateFile(name.c_str()));
  if (out.get() < 0) {
    *message = located.file + " cannot be written into the temporary folder";
    return kVeldrakeBackupStoreUnreadable;
  }
  return Copy(located, out.get(), located.file + " (" + shown + ")", message);
}

int OpenedBackup::OpenInPlace(const Located& content, Store& store, sqlite3** db,
                              std::string* message) {
  Fd file(OpenContentAt(root_, content.fileId));  // refuses links at either step
  struct stat st;
  if (file.get() >= 0 && fstat(file.get(), &st) == 0 && st.st_size != content.record.size) {
    *message = content.file + " (" + store.name + ") is not as long as Manifest.db records";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (file.get() >= 0 && OpenImmutable(content.file, &store.guard, db) == SQLITE_OK)
    return kVeldrakeBackupOk;
  *message = ContentLinkRefusal(facts_.path, content.fileId);
  if (message->empty()) *message = content.file + " (" + store.name + ") is no readable database";
  return kVeldrakeBackupStoreUnreadable;
}

int OpenedBackup::OpenCopies(const Located& content, const Located* wal, Store& store, sqlite3** db,
                             std::string* message) {
  if (wal != nullptr && wal->record.size > kWalAllowance + kWalPerStoreByte * content.record.size) {
    *message = wal->file + " (" + store.name + kWalSuffix + ") is far larger than any phone's log";
    return kVeldrakeBackupStoreUnreadable;
  }
  const size_t n = stores_.size() - 1;
  int result = EnsurePrivate(message);
  if (result == kVeldrakeBackupOk)
    result = Materialise(content, PrivateName(n), store.name, message);
  if (result == kVeldrakeBackupOk && wal != nullptr)
    result = Materialise(*wal, PrivateName(n, kWalSuffix), store.name + kWalSuffix, message);
  if (result != kVeldrakeBackupOk) return result;
  // Our own copy: SQLite may write its index of the log beside it, which is why the
  // backup's files are never opened this way.
  const std::string path = private_.PathOf(PrivateName(n).c_str());
  if (OpenGuarded(path, SQLITE_OPEN_READWRITE, &store.guard, db) == SQLITE_OK)
    return kVeldrakeBackupOk;
  *message = content.file + " (" + store.name + ") is no readable database";
  return kVeldrakeBackupStoreUnreadable;
}

int OpenedBackup::OpenStore(const char* domain, const std::string& relativePath, sqlite3** db,
                            std::string* message) {
  const std::string name = std::string(domain) + "/" + relativePath;
  if (stores_.size() >= static_cast<size_t>(PrivateFolder::kMaxStores)) {
    *message = "more stores than one export opens: " + name;
    return kVeldrakeBackupStoreUnreadable;
  }
  Located content, wal;
  const Lookup found = Locate(domain, relativePath, &content);
  if (found == Lookup::kAbsent) {
    *message = facts_.path + " holds no " + name;
    return kVeldrakeBackupStoreMissing;
  }
  const Lookup walFound = Locate(domain, relativePath + kWalSuffix, &wal);
  if (found == Lookup::kDamaged || walFound == Lookup::kDamaged) {
    *message = facts_.path + ": the record of " + name + " is damaged";
    return kVeldrakeBackupStoreUnreadable;
  }
  Store& store = stores_.emplace_back(name, cancelGeneration_);
  // A log of no bytes holds nothing: a plain store beside one is read in place rather
  // than copied (an images database may be gigabytes).
  const bool noLog = walFound == Lookup::kAbsent ||
                     (wal.record.size == 0 && EmptyContent(facts_.path, wal.fileId));
  if (!facts_.encrypted && noLog) return OpenInPlace(content, store, db, message);
  return OpenCopies(content, walFound == Lookup::kFound ? &wal : nullptr, store, db, message);
}

int OpenedBackup::Explain(int result, std::string* message) const {
  if (result != kVeldrakeBackupOk && CancelledSince(cancelGeneration_)) {
    *message = "the export was cancelled";
    return kVeldrakeBackupCancelled;
  }
  std::vector<std::pair<std::string, std::string>> signs = {
      {kManifestName, HostileSign(manifestGuard_)}};
  for (const Store& store : stores_) signs.emplace_back(store.name, HostileSign(store.guard));
  for (const auto& [name, why] : signs) {
    if (why.empty()) continue;
    *message = facts_.path + ": " + name + " is a damaged or hostile store: " + why;
    return kVeldrakeBackupStoreUnreadable;
  }
  return result;
}

}  // namespace veldrake::backup
