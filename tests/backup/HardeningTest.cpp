// The container's defences against hostile backups, piece by piece: the guard every store
// is opened under (real tables only, SQLite's settings, cancel and time limit), the sweep
// of private folders left by killed processes, the capped and link-free copies out of a
// backup folder, and the private folder's registry and messages.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <openssl/evp.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "Cancel.h"
#include "ContentCopy.h"
#include "Crypto.h"
#include "FileIo.h"
#include "OpenedBackup.h"
#include "PrivateFolder.h"
#include "SqlGuard.h"
#include "StaleFolders.h"
#include "veldrake/Backup.h"

namespace {

namespace fs = std::filesystem;
using namespace veldrake::backup;
using backuptest::MakeBackup;
using backuptest::TempDir;

// A database made from `schema`, then guarded.
struct Guarded {
  explicit Guarded(const std::string& schema, SqlLimits limits = SqlLimits())
      : guard(CancelGeneration(), limits) {
    sqlite3_open(":memory:", &db);
    EXPECT_EQ(sqlite3_exec(db, schema.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << schema;
    std::string why;
    EXPECT_TRUE(guard.Attach(db, &why)) << why;
  }
  ~Guarded() { sqlite3_close(db); }
  // The first step's result, or the prepare's failure.
  int Step(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    int rc = sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_step(statement);
    sqlite3_finalize(statement);
    return rc;
  }
  sqlite3* db = nullptr;
  SqlGuard guard;
};

const char* kFts =
    "CREATE TABLE p(First); INSERT INTO p VALUES ('Eve');"
    " CREATE VIRTUAL TABLE ABPerson USING fts5(First, content='p')";
const char* kView = "CREATE TABLE p(First); CREATE VIEW ABPerson AS SELECT First FROM p";
const char* kEndless =
    "CREATE VIEW ABPerson AS WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r)"
    " SELECT n AS First FROM r ORDER BY n";

TEST(SqlGuardTest, OnlyRealTablesAreRead) {
  const char* kTable = "CREATE TABLE ABPerson(First); INSERT INTO ABPerson VALUES ('Ann')";
  const struct {
    const char* schema;
    std::string query;
    int result;
    const char* refusal;  // a part of the refusal, or "" for none
  } table[] = {
      {kTable, "SELECT First FROM ABPerson", SQLITE_ROW, ""},
      {kTable, "SELECT count(*) FROM abperson", SQLITE_ROW, ""},
      {kTable, "SELECT name FROM pragma_table_info('ABPerson')", SQLITE_ROW, ""},
      {kTable, "SELECT type FROM sqlite_master", SQLITE_ROW, ""},
      {kTable, "SELECT value FROM json_each('[1]')", SQLITE_ROW, ""},
      {kFts, "SELECT First FROM ABPerson", SQLITE_AUTH, "abperson is a virtual table"},
      {kFts, "SELECT count(*) FROM ABPerson", SQLITE_AUTH, "abperson is a virtual table"},
      {kFts, "SELECT First FROM p", SQLITE_ROW, ""},  // its content table is a real one
      {kView, "SELECT First FROM ABPerson", SQLITE_AUTH, "abperson is no table"},
      {kView, "SELECT count(*) FROM ABPerson", SQLITE_AUTH, "abperson"},
      {kEndless, "SELECT First FROM ABPerson", SQLITE_AUTH, "abperson is no table"},
      {kTable, "ATTACH ':memory:' AS other", SQLITE_AUTH, ""},
      {kTable, "INSERT INTO ABPerson VALUES ('Mal')", SQLITE_READONLY, ""},
  };
  for (const auto& row : table) {
    Guarded g(row.schema);
    EXPECT_EQ(g.Step(row.query), row.result) << row.query << " on " << row.schema;
    EXPECT_NE(g.guard.refusal().find(row.refusal), std::string::npos)
        << row.query << ": " << g.guard.refusal();
    EXPECT_EQ(g.guard.refusal().empty(), *row.refusal == '\0') << row.query;
  }
}

TEST(SqlGuardTest, SQLitesOwnDefencesAreOn) {
  Guarded g("CREATE TABLE t(x)");
  const struct {
    const char* pragma;
    int value;
  } table[] = {{"PRAGMA trusted_schema", 0},
               {"PRAGMA cell_size_check", 1},
               {"PRAGMA query_only", 1},
               {"PRAGMA temp_store", 2}};
  for (const auto& row : table) {
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(g.db, row.pragma, -1, &statement, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(statement, 0), row.value) << row.pragma;
    sqlite3_finalize(statement);
  }
  EXPECT_EQ(sqlite3_limit(g.db, SQLITE_LIMIT_LENGTH, -1), SqlGuard::kMaxValueBytes);
  EXPECT_EQ(sqlite3_limit(g.db, SQLITE_LIMIT_ATTACHED, -1), 0);
  // A value longer than the limit is an error, not an allocation of its size.
  EXPECT_EQ(g.Step("SELECT zeroblob(" + std::to_string(SqlGuard::kMaxValueBytes + 1) + ")"),
            SQLITE_TOOBIG);
}

// 10^12 rows: only the guard ends this query.
const char* kThousand =
    "CREATE TABLE t(x); WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r"
    " WHERE n < 1000) INSERT INTO t SELECT n FROM r";
const char* kStuck = "SELECT count(*) FROM t a, t b, t c, t d";

TEST(SqlGuardTest, ACancelOrALimitEndsAStuckQuery) {
  SqlLimits shortTime, littleMemory;
  shortTime.stretch = std::chrono::milliseconds(200);
  littleMemory.memory = 8 << 20;
  const struct {
    SqlLimits limits;
    const char* query;  // one that needs far more time or memory than the limit
    bool timedOut, outOfMemory;
  } table[] = {
      {shortTime, kStuck, true, false},
      {littleMemory, "SELECT a.x FROM t a, t b ORDER BY randomblob(100)", false, true},
  };
  for (const auto& row : table) {
    Guarded g(kThousand, row.limits);
    EXPECT_EQ(g.Step(row.query), SQLITE_INTERRUPT) << row.query;
    EXPECT_EQ(g.guard.timedOut(), row.timedOut) << row.query;
    EXPECT_EQ(g.guard.outOfMemory(), row.outOfMemory) << row.query;
    EXPECT_FALSE(g.guard.cancelled());
  }
  Guarded g(kThousand);
  std::thread canceller([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    RequestCancel();
  });
  EXPECT_EQ(g.Step(kStuck), SQLITE_INTERRUPT);
  canceller.join();
  EXPECT_TRUE(g.guard.cancelled());
  EXPECT_FALSE(g.guard.timedOut());
  Guarded later(kThousand);  // a cancel reaches only the exports running when it is made
  EXPECT_EQ(later.Step("SELECT count(*) FROM t"), SQLITE_ROW);
}

// --- Private folders ---

pid_t DeadPid() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  return child;
}

TEST(StaleFoldersTest, OnlyOurAbandonedFoldersAreSwept) {
  EXPECT_EQ(OwnerOfPrivateName("veldrake-backup-123-AbC9z_"), 123);
  for (const char* name :
       {"veldrake-backup-abc-AbC9z_", "veldrake-backup-123-AbC9z", "veldrake-backup--AbC9z_",
        "veldrake-backup-AbC9z_", "veldrake-backup-99999999999-AbC9z_", "other-123-AbC9z_",
        "veldrake-backup-0-AbC9z_"})
    EXPECT_EQ(OwnerOfPrivateName(name), -1) << name;

  TempDir base;
  const std::string dead = std::to_string(DeadPid()), alive = std::to_string(getpid());
  const struct {
    std::string pid;
    mode_t mode;
    bool link;  // the name is a link to a stale-looking folder elsewhere
    bool swept;
  } table[] = {
      {dead, 0700, false, true},  {alive, 0700, false, false}, {dead, 0755, false, false},
      {dead, 0770, false, false}, {dead, 0700, true, false},
  };
  int n = 0;
  for (const auto& row : table) {
    const std::string name = "veldrake-backup-" + row.pid + "-case0" + std::to_string(n++);
    const std::string real =
        base.path() + (row.link ? "/elsewhere" + std::to_string(n) : "/" + name);
    fs::create_directory(real);
    std::ofstream(real + "/store.sqlite") << "decrypted";
    chmod(real.c_str(), row.mode);
    if (row.link) fs::create_symlink(real, base.path() + "/" + name);
  }
  fs::create_symlink("/etc/passwd", base.path() + "/veldrake-backup-" + dead + "-linkIn");
  EXPECT_EQ(SweepStaleFolders(base.path()), 1);
  n = 0;
  for (const auto& row : table) {
    const std::string name =
        base.path() + "/veldrake-backup-" + row.pid + "-case0" + std::to_string(n++);
    EXPECT_EQ(!fs::exists(fs::symlink_status(name)), row.swept) << name;
  }
  EXPECT_TRUE(fs::exists("/etc/passwd"));
}

TEST(PrivateFolderTest, TellsWhatIsWrongWithTmpdirAndGoesOnRequest) {
  TempDir dir;
  std::ofstream(dir.path() + "/file") << "x";
  const struct {
    std::string tmpdir;
    const char* says;
  } table[] = {{"/nonexistent", "TMPDIR=/nonexistent does not exist"},
               {dir.path() + "/file", "is not a folder"}};
  for (const auto& row : table) {
    setenv("TMPDIR", row.tmpdir.c_str(), 1);
    PrivateFolder folder;
    std::string why;
    EXPECT_FALSE(folder.Create(&why));
    EXPECT_NE(why.find(row.says), std::string::npos) << why;
  }
  setenv("TMPDIR", dir.path().c_str(), 1);
  {
    PrivateFolder a, b;
    std::string why;
    ASSERT_TRUE(a.Create(&why) && b.Create(&why)) << why;
    std::ofstream(a.PathOf("store.sqlite")) << "decrypted";
    std::ofstream(b.PathOf("Manifest.db")) << "decrypted";
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 3);
    RemoveAllPrivateFolders();
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
    EXPECT_EQ(a.CreateFile("store0.sqlite-wal"), -1) << "a file made after the removal";
  }
  // A folder the registry cannot hold is not made: removal could not reach it.
  std::vector<std::unique_ptr<PrivateFolder>> many;
  std::string why;
  for (bool made = true; made && many.size() < 64;) {
    many.push_back(std::make_unique<PrivateFolder>());
    made = many.back()->Create(&why);
  }
  EXPECT_EQ(many.size(), 17u);
  EXPECT_NE(why.find("more exports run at once"), std::string::npos) << why;
  many.clear();
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
  unsetenv("TMPDIR");
}

// --- Copies out of the backup ---

// AES-256-CBC, zero IV, PKCS#7: how a phone encrypts a file of its backup.
std::string Encrypt(const std::string& key, const std::string& plain) {
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  const unsigned char iv[kAesBlockBytes] = {};
  EVP_EncryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr,
                     reinterpret_cast<const unsigned char*>(key.data()), iv);
  std::vector<unsigned char> out(plain.size() + kAesBlockBytes);
  int n = 0, tail = 0;
  EVP_EncryptUpdate(ctx, out.data(), &n, reinterpret_cast<const unsigned char*>(plain.data()),
                    static_cast<int>(plain.size()));
  EVP_EncryptFinal_ex(ctx, out.data() + n, &tail);
  EVP_CIPHER_CTX_free(ctx);
  return std::string(reinterpret_cast<char*>(out.data()), static_cast<size_t>(n + tail));
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(ContentCopyTest, CopiesAreCappedByTheirRecordAndTheSpaceLeft) {
  TempDir dir;
  const std::string id = "ab" + std::string(38, '1');
  const std::string key(kAesKeyBytes, 'k');
  const struct {
    std::string content;
    bool encrypted;  // the file holds the content encrypted with `key`
    int64_t recorded;
    Copied result;
  } table[] = {
      {"plain", false, 5, Copied::kOk},
      {"plain and more", false, 5, Copied::kTooLarge},
      {"plain", false, 9, Copied::kDamaged},
      {std::string(100, 's'), true, 100, Copied::kOk},
      {std::string(100, 's'), true, 60, Copied::kTooLarge},
      {std::string(100, 's'), true, 200, Copied::kDamaged},
      {"plain", false, int64_t{1} << 60, Copied::kNoSpace},
  };
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  Fd readEnd(pipeEnds[0]), writeEnd(pipeEnds[1]);
  int64_t left = 0;
  EXPECT_TRUE(HasRoomFor(writeEnd.get(), int64_t{1} << 60, &left)) << "a pipe fills no disk";
  fs::create_directory(dir.path() + "/ab");
  for (const auto& row : table) {
    const std::string file = row.encrypted ? Encrypt(key, row.content) : row.content;
    std::ofstream(dir.path() + "/ab/" + id, std::ios::binary | std::ios::trunc) << file;
    Fd in(OpenContent(dir.path(), id));
    ASSERT_GE(in.get(), 0);
    const std::string to = dir.path() + "/out";
    Fd out(open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    EXPECT_EQ(CopyContent(in.get(), out.get(), row.encrypted ? &key : nullptr, row.recorded),
              row.result)
        << row.content.size() << " recorded " << row.recorded;
    const bool capped = row.result == Copied::kTooLarge || row.result == Copied::kNoSpace;
    EXPECT_TRUE(row.result != Copied::kOk || ReadAll(to) == row.content);
    EXPECT_TRUE(!capped || fs::file_size(to) == 0) << "nothing is copied of a file over its cap";
  }
}

TEST(ContentCopyTest, LinksAndOtherFilesAreNotOpened) {
  TempDir outside, backup;
  const std::string id = "cd" + std::string(38, '2');
  fs::create_directory(outside.path() + "/cd");
  std::ofstream(outside.path() + "/cd/" + id) << "outside";
  std::ofstream(outside.path() + "/Manifest.db") << "outside";
  const std::string kOut = " is a link leading out of the backup and is refused";
  const std::string kIn = " is a link and is refused";
  const struct {
    const char* what;
    std::function<void(const std::string&)> make;
    std::string refused;  // what ContentLinkRefusal says after the path: "" for none
    std::string linked;   // the path it names, below the backup folder
  } table[] = {
      {"two-hex folder is a link",
       [&](const std::string& b) {
         fs::create_directory_symlink(outside.path() + "/cd", b + "/cd");
       },
       kOut, "/cd"},
      {"content is a link",
       [&](const std::string& b) {
         fs::create_directory(b + "/cd");
         fs::create_symlink(outside.path() + "/cd/" + id, b + "/cd/" + id);
       },
       kOut, "/cd/" + id},
      {"content is a link to a file of the backup",
       [&](const std::string& b) {
         fs::create_directory(b + "/cd");
         std::ofstream(b + "/Info.plist") << "inside";
         fs::create_symlink(b + "/Info.plist", b + "/cd/" + id);
       },
       kIn, "/cd/" + id},
      {"content is a FIFO",
       [&](const std::string& b) {
         fs::create_directory(b + "/cd");
         mkfifo((b + "/cd/" + id).c_str(), 0600);
       },
       "", ""},
      {"content is a folder",
       [&](const std::string& b) { fs::create_directories(b + "/cd/" + id); }, "", ""},
  };
  int n = 0;
  for (const auto& row : table) {
    const std::string b = backup.path() + "/" + std::to_string(n++);
    fs::create_directory(b);
    row.make(b);
    EXPECT_EQ(OpenContent(b, id), -1) << row.what;
    EXPECT_EQ(ContentLinkRefusal(b, id), row.refused.empty() ? "" : b + row.linked + row.refused)
        << row.what;
  }
  const std::string b = backup.path() + "/top";
  fs::create_directory(b);
  fs::create_symlink(outside.path() + "/Manifest.db", b + "/Manifest.db");
  EXPECT_EQ(OpenTopFile(b, "Manifest.db"), -1);
  EXPECT_EQ(LinkRefusal(b, "Manifest.db"), b + "/Manifest.db" + kOut);
}

// --- One opened backup, several stores and copies ---

TEST(OpenedBackupTest, SeveralStoresOpenAtOnceAndFilesCopyIntoADescriptor) {
  TempDir dir;
  setenv("TMPDIR", dir.path().c_str(), 1);
  ASSERT_TRUE(MakeBackup(
      dir.path(),
      R"js({"password": "pw", "book_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (4, 'Ann')"],)js"
      R"js( "wal_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (9, 'Wal')"]})js"));
  const char* kHome = "HomeDomain";
  const std::string kBook = "Library/AddressBook/AddressBook.sqlitedb";
  {
    OpenedBackup backup;
    std::string message;
    ASSERT_EQ(backup.Open(dir.path() + "/00008110-000A1B2C3D4E5F60", "pw", &message), 0) << message;
    std::vector<sqlite3*> dbs(PrivateFolder::kMaxStores + 1, nullptr);
    for (size_t i = 0; i < dbs.size(); ++i) {
      const int opened = backup.OpenStore(kHome, kBook, &dbs[i], &message);
      EXPECT_EQ(opened, i < dbs.size() - 1 ? 0 : kVeldrakeBackupStoreUnreadable) << message;
    }
    for (sqlite3* db : dbs) {
      sqlite3_stmt* count = nullptr;
      if (db == nullptr) continue;
      ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT count(*) FROM ABPerson", -1, &count, nullptr), 0);
      EXPECT_EQ(sqlite3_step(count), SQLITE_ROW);
      EXPECT_EQ(sqlite3_column_int(count, 0), 2) << "the log's row too";
      sqlite3_finalize(count);
      sqlite3_close(db);
    }
    const std::string to = dir.path() + "/copy";
    Fd out(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    EXPECT_EQ(backup.CopyFile(kHome, kBook, out.get(), &message), 0) << message;
    EXPECT_EQ(ReadAll(to).substr(0, 16), std::string("SQLite format 3\0", 16));
    EXPECT_EQ(backup.CopyFile(kHome, "Library/none", out.get(), &message),
              kVeldrakeBackupStoreMissing);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 2)
      << "the backup and the copy only: no private folder left";
  unsetenv("TMPDIR");
}

}  // namespace
