// Manifest.db, the keybag and the stores of one opened backup.
#include "OpenedBackup.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "Cancel.h"
#include "ContentCopy.h"
#include "Crypto.h"
#include "FileIo.h"
#include "SqlStatement.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr size_t kManifestKeyClassBytes = 4;
constexpr const char* kManifestName = "Manifest.db";

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

int OpenGuarded(const std::string& name, int flags, SqlGuard* guard, sqlite3** db) {
  const int rc = sqlite3_open_v2(name.c_str(), db, flags | SQLITE_OPEN_NOFOLLOW, nullptr);
  std::string ignored;
  if (rc == SQLITE_OK && ReadsSchema(*db) && guard->Attach(*db, &ignored)) return SQLITE_OK;
  sqlite3_close(*db);
  *db = nullptr;
  return rc == SQLITE_OK ? SQLITE_NOTADB : rc;
}

int OpenImmutable(const std::string& path, SqlGuard* guard, sqlite3** db) {
  const std::string uri = "file:" + UriPath(path) + "?mode=ro&immutable=1";
  return OpenGuarded(uri, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, guard, db);
}

OpenedBackup::OpenedBackup()
    : cancelGeneration_(CancelGeneration()), manifestGuard_(cancelGeneration_) {}

OpenedBackup::~OpenedBackup() {
  sqlite3_finalize(locate_);
  if (root_ >= 0) close(root_);
  sqlite3_close(manifest_);
}

int OpenedBackup::Open(const std::string& folder, const char* password, std::string* message,
                       const Warnings* warnings) {
  const int read = ReadBackupFacts(folder, &facts_, message);
  if (read != kVeldrakeBackupOk) return read;
  if (warnings != nullptr && !facts_.infoProblem.empty()) warnings->Say(facts_.infoProblem);
  root_ = open(facts_.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return OpenManifest(password, message);
}

int OpenedBackup::EnsurePrivate(std::string* message) {
  if (!privateMade_) privateMade_ = private_.Create(message);
  return privateMade_ ? kVeldrakeBackupOk : kVeldrakeBackupNoTemporaryFolder;
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

// Decrypts Manifest.db into the private folder with the key ManifestKey wraps.
int OpenedBackup::DecryptManifest(std::string* message) {
  const std::string path = facts_.path + "/" + kManifestName;
  const std::string& wrapped = facts_.manifestKey;
  const std::string* classKey = wrapped.size() == kManifestKeyClassBytes + kWrappedKeyBytes
                                    ? keybag_.ClassKey(LittleEndianClass(wrapped))
                                    : nullptr;
  std::string key;
  if (classKey == nullptr ||
      UnwrapKey(*classKey, wrapped.substr(kManifestKeyClassBytes), &key) != Unwrap::kOk) {
    Wipe(&key);
    *message = path + " cannot be decrypted (its ManifestKey is damaged)";
    return kVeldrakeBackupStoreUnreadable;
  }
  int result = EnsurePrivate(message);
  Fd in(OpenTopFile(facts_.path, kManifestName));
  struct stat st;
  if (result == kVeldrakeBackupOk && (in.get() < 0 || fstat(in.get(), &st) != 0)) {
    *message = path + " cannot be read (missing, a link or not a file)";
    result = kVeldrakeBackupStoreUnreadable;
  }
  if (result == kVeldrakeBackupOk) {
    Fd out(private_.CreateFile(kManifestName));
    int64_t left = 0;
    if (out.get() >= 0 && !HasRoomFor(out.get(), st.st_size, &left)) {
      *message = DescribeCopy(Copied::kNoSpace, path, st.st_size);
      result = kVeldrakeBackupNoSpace;
    } else if (out.get() < 0 ||
               DecryptFd(in.get(), out.get(), key, kWholePages) != Decrypted::kOk) {
      *message = path + " cannot be decrypted (ManifestKey or the file is damaged)";
      result = kVeldrakeBackupStoreUnreadable;
    }
  }
  Wipe(&key);
  return result;
}

int OpenedBackup::OpenManifest(const char* password, std::string* message) {
  const std::string path = facts_.path + "/" + kManifestName;
  std::string opened = path;
  if (facts_.encrypted) {
    const int unlocked = UnlockManifest(password, message);
    if (unlocked != kVeldrakeBackupOk) return unlocked;
  }
  if (facts_.encrypted && !facts_.manifestKey.empty()) {
    const int decrypted = DecryptManifest(message);
    if (decrypted != kVeldrakeBackupOk) return decrypted;
    opened = private_.PathOf(kManifestName);
  }
  if (!IsPlainFile(opened) || OpenImmutable(opened, &manifestGuard_, &manifest_) != SQLITE_OK) {
    *message = path + " is no readable database (or a link)";
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
  // The unary pluses keep SQLite on the relativePath index, which a phone's Manifest.db
  // has: without statistics it may take the domain index and step through every file of
  // the domain for each lookup, which made a note export with thousands of attachments
  // quadratic.
  static const char kQuery[] =
      "SELECT fileID, file FROM Files WHERE +domain = ?1 AND relativePath = ?2 AND +flags = 1";
  const std::lock_guard<std::mutex> hold(manifestLock_);
  if (locate_ == nullptr &&
      sqlite3_prepare_v2(manifest_, kQuery, -1, &locate_, nullptr) != SQLITE_OK)
    return Lookup::kDamaged;
  sqlite3_stmt* statement = locate_;
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
      out->fileId = fileId;
      result = Lookup::kFound;
    }
  } else if (step != SQLITE_DONE) {
    result = Lookup::kDamaged;
  }
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  return result;
}

bool OpenedBackup::Has(const char* domain, const std::string& relativePath) {
  Located located;
  return Locate(domain, relativePath, &located) != Lookup::kAbsent;
}

}  // namespace veldrake::backup
