// Manifest.db, the keybag and the stores of one opened backup.
#include "OpenedBackup.h"

#include <sqlite3.h>

#include <cstdio>

#include "Crypto.h"
#include "FileIo.h"
#include "SqlStatement.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr size_t kFileIdDigits = 40;
constexpr size_t kManifestKeyClassBytes = 4;
constexpr const char* kWalSuffix = "-wal";
// The names of the stores an export may hold open at once (PrivateFolder::kFileNames).
constexpr const char* kStoreNames[] = {"store.sqlite", "store2.sqlite", "store3.sqlite"};
constexpr int kMaxStores = sizeof kStoreNames / sizeof kStoreNames[0];
constexpr const char* kManifestName = "Manifest.db";

bool IsFileId(const std::string& id) {
  if (id.size() != kFileIdDigits) return false;
  for (char c : id)
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  return true;
}

// A file path as an SQLite URI path: everything but unreserved characters and "/" escaped.
std::string UriPath(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string uri;
  for (const char ch : path) {
    const auto c = static_cast<unsigned char>(ch);
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
    if (plain) {
      uri += static_cast<char>(c);
    } else {
      uri += '%';
      uri += kHex[c >> 4];
      uri += kHex[c & 15];
    }
  }
  return uri;
}

// The class of a ManifestKey, little-endian ahead of the wrapped key.
uint32_t LittleEndianClass(const std::string& bytes) {
  uint32_t value = 0;
  for (size_t i = kManifestKeyClassBytes; i-- > 0;)
    value = (value << 8) | static_cast<unsigned char>(bytes[i]);
  return value;
}

// Whether SQLite can read the schema: a file that is no database fails here, not later.
bool ReadsSchema(sqlite3* db) {
  return sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr) ==
         SQLITE_OK;
}

}  // namespace

int OpenImmutable(const std::string& path, sqlite3** db) {
  const std::string uri = "file:" + UriPath(path) + "?mode=ro&immutable=1";
  const int rc = sqlite3_open_v2(uri.c_str(), db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  if (rc == SQLITE_OK && ReadsSchema(*db)) return SQLITE_OK;
  sqlite3_close(*db);
  *db = nullptr;
  return rc == SQLITE_OK ? SQLITE_NOTADB : rc;
}

OpenedBackup::~OpenedBackup() {
  sqlite3_close(manifest_);
}

int OpenedBackup::Open(const std::string& folder, const char* password, std::string* message) {
  const int read = ReadBackupFacts(folder, &facts_, message);
  if (read != kVeldrakeBackupOk) return read;
  return OpenManifest(password, message);
}

bool OpenedBackup::EnsurePrivate() {
  if (!privateMade_) privateMade_ = private_.Create();
  return privateMade_;
}

int OpenedBackup::UnlockManifest(const char* password, std::string* message) {
  if (password == nullptr || *password == '\0') {
    *message = facts_.path + " is encrypted: a password is needed";
    return kVeldrakeBackupNeedsPassword;
  }
  std::string why;
  if (!keybag_.Parse(facts_.keybag, &why)) {
    *message = facts_.path + "/Manifest.plist: " + why;
    return kVeldrakeBackupStoreUnreadable;
  }
  const Keybag::Opened opened = keybag_.Open(password);
  if (opened == Keybag::kWrongPassword) {
    *message = "the password does not open the backup " + facts_.path;
    return kVeldrakeBackupWrongPassword;
  }
  if (opened != Keybag::kOpened) {
    *message = facts_.path + "/Manifest.plist: the keybag holds no key the password opens";
    return kVeldrakeBackupStoreUnreadable;
  }
  return kVeldrakeBackupOk;
}

int OpenedBackup::OpenManifest(const char* password, std::string* message) {
  const std::string path = facts_.path + "/Manifest.db";
  std::string opened = path;
  if (facts_.encrypted) {
    const int unlocked = UnlockManifest(password, message);
    if (unlocked != kVeldrakeBackupOk) return unlocked;
  }
  if (facts_.encrypted && !facts_.manifestKey.empty()) {
    const std::string& wrapped = facts_.manifestKey;
    const std::string* classKey = wrapped.size() == kManifestKeyClassBytes + kWrappedKeyBytes
                                      ? keybag_.ClassKey(LittleEndianClass(wrapped))
                                      : nullptr;
    std::string key;
    const bool unwrapped =
        classKey != nullptr &&
        UnwrapKey(*classKey, wrapped.substr(kManifestKeyClassBytes), &key) == Unwrap::kOk;
    if (!unwrapped || !EnsurePrivate() ||
        DecryptFile(path, private_.PathOf(kManifestName), key, kWholePages) != Decrypted::kOk) {
      Wipe(&key);
      *message = path + " cannot be decrypted (ManifestKey or the file is damaged)";
      return kVeldrakeBackupStoreUnreadable;
    }
    Wipe(&key);
    opened = private_.PathOf(kManifestName);
  }
  if (OpenImmutable(opened, &manifest_) != SQLITE_OK) {
    *message = path + " is no readable database";
    return kVeldrakeBackupStoreUnreadable;
  }
  const Columns files(manifest_, "Files");
  if (!files.Has("fileID") || !files.Has("domain") || !files.Has("relativePath") ||
      !files.Has("flags") || !files.Has("file")) {
    *message = path + " has no Files table";
    return kVeldrakeBackupStoreUnreadable;
  }
  return kVeldrakeBackupOk;
}

OpenedBackup::Lookup OpenedBackup::Locate(const char* domain, const std::string& relativePath,
                                          Located* out) {
  static const char kQuery[] =
      "SELECT fileID, file FROM Files WHERE domain = ?1 AND relativePath = ?2 AND flags = 1";
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(manifest_, kQuery, -1, &statement, nullptr) != SQLITE_OK)
    return Lookup::kDamaged;
  sqlite3_bind_text(statement, 1, domain, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 2, relativePath.c_str(), -1, SQLITE_STATIC);
  Lookup result = Lookup::kAbsent;
  const int step = sqlite3_step(statement);
  if (step == SQLITE_ROW) {
    const char* id = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    const std::string fileId = id != nullptr ? id : "";
    const void* blob = sqlite3_column_blob(statement, 1);
    const int length = sqlite3_column_bytes(statement, 1);
    result = Lookup::kDamaged;
    if (IsFileId(fileId) && ParseFileRecord(blob, static_cast<size_t>(length), &out->record)) {
      out->file = facts_.path + "/" + fileId.substr(0, 2) + "/" + fileId;
      result = Lookup::kFound;
    }
  } else if (step != SQLITE_DONE) {
    result = Lookup::kDamaged;
  }
  sqlite3_finalize(statement);
  return result;
}

bool OpenedBackup::Has(const char* domain, const std::string& relativePath) {
  Located located;
  return Locate(domain, relativePath, &located) != Lookup::kAbsent;
}

bool OpenedBackup::Materialise(const Located& located, const char* name, std::string* message) {
  const std::string to = private_.PathOf(name);
  if (!facts_.encrypted) {
    if (CopyToPrivateFile(located.file, to)) return true;
    *message = located.file + " cannot be copied into a private folder";
    return false;
  }
  const std::string* classKey = keybag_.ClassKey(located.record.protectionClass);
  std::string key;
  const bool unwrapped =
      classKey != nullptr && UnwrapKey(*classKey, located.record.wrappedKey, &key) == Unwrap::kOk;
  const Decrypted done =
      unwrapped ? DecryptFile(located.file, to, key, located.record.size) : Decrypted::kDamaged;
  Wipe(&key);
  if (done == Decrypted::kOk) return true;
  *message = located.file + (done == Decrypted::kCannotWrite
                                 ? " cannot be decrypted into a private folder"
                                 : " cannot be decrypted (its key or content is damaged)");
  return false;
}

int OpenedBackup::OpenStore(const char* domain, const std::string& relativePath, sqlite3** db,
                            std::string* message) {
  const std::string name = std::string(domain) + "/" + relativePath;
  Located store, wal;
  const Lookup found = Locate(domain, relativePath, &store);
  if (found == Lookup::kAbsent) {
    *message = facts_.path + " holds no " + name;
    return kVeldrakeBackupStoreMissing;
  }
  const Lookup walFound = Locate(domain, relativePath + kWalSuffix, &wal);
  if (found == Lookup::kDamaged || walFound == Lookup::kDamaged || !IsPlainFile(store.file) ||
      (walFound == Lookup::kFound && !IsPlainFile(wal.file))) {
    *message = facts_.path + ": the record or file of " + name + " is damaged or missing";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (!facts_.encrypted && walFound == Lookup::kAbsent) {
    if (OpenImmutable(store.file, db) == SQLITE_OK) return kVeldrakeBackupOk;
    *message = store.file + " (" + name + ") is no readable database";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (!EnsurePrivate()) {
    *message = "no private temporary folder can be made";
    return kVeldrakeBackupStoreUnreadable;
  }
  // Each store its own name: an export may hold several open at once.
  if (stores_ == kMaxStores) {
    *message = "too many stores open at once to copy " + name;
    return kVeldrakeBackupStoreUnreadable;
  }
  const std::string copy = kStoreNames[stores_++];
  if (!Materialise(store, copy.c_str(), message) ||
      (walFound == Lookup::kFound && !Materialise(wal, (copy + kWalSuffix).c_str(), message)))
    return kVeldrakeBackupStoreUnreadable;
  // Our own copy: SQLite may write its index of the log beside it, which is why the
  // backup's files are never opened this way.
  const std::string path = private_.PathOf(copy.c_str());
  if (sqlite3_open_v2(path.c_str(), db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
      ReadsSchema(*db))
    return kVeldrakeBackupOk;
  sqlite3_close(*db);
  *db = nullptr;
  *message = store.file + " (" + name + ") is no readable database";
  return kVeldrakeBackupStoreUnreadable;
}

}  // namespace veldrake::backup
