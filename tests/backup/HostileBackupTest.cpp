// libVeldrakeBackup through its exported surface on hostile backups (made by
// make_backup.py, then tampered with here): each is refused with a result and a message
// that says why, costs bounded memory, and leaves nothing in the temporary folder. And
// the two calls a host's signal-watching thread makes: cancel, and removal of the
// decrypted files of every running export.
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../plist/ListBytes.h"
#include "BackupTestSupport.h"
#include "veldrake/Backup.h"

namespace {

namespace fs = std::filesystem;
using backuptest::MakeBackup;
using backuptest::TempDir;

const char* kUdid = "00008110-000A1B2C3D4E5F60";
const std::string kBook =
    R"js("book_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (4, 'Ann')"],)js"
    R"js( "wal_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (9, 'Wal')"])js";
const std::string kNoLog =
    R"js("book_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (4, 'Ann')"])js";
const std::string kEncrypted = R"js("password": "pw", )js";
const std::string kFts =
    R"js("book_sql": ["DROP TABLE ABPerson", "CREATE TABLE people(First)",)js"
    R"js( "INSERT INTO people VALUES ('Eve')",)js"
    R"js( "CREATE VIRTUAL TABLE ABPerson USING fts5(First, content='people')"])js";
// A note store whose object table is a view without end: sorted, it fills the disk.
const std::string kEndlessNotes =
    R"js("notes_sql": ["CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER, Z_NAME TEXT)",)js"
    R"js( "INSERT INTO Z_PRIMARYKEY VALUES (1, 'ICNote')",)js"
    R"js( "CREATE TABLE ZICNOTEDATA (Z_PK INTEGER PRIMARY KEY, ZDATA BLOB, ZNOTE INTEGER)",)js"
    R"js( "CREATE VIEW ZICCLOUDSYNCINGOBJECT AS WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL)js"
    R"js( SELECT n + 1 FROM r) SELECT n AS Z_PK, 1 AS Z_ENT, 'x' AS ZTITLE1 FROM r"])js";
const std::string kBookFileId = "31bb7ba8914766d4ba40d6dfb6113c8b614be442";  // SHA-1 of its name

std::vector<std::string> gNames;
int Collect(void* record) {
  const QX::Contact* c = static_cast<const QX::Contact*>(record);
  gNames.push_back(c->firstName ? c->firstName : "<null>");
  return 0;
}

// What a test does to a backup folder after the writer made it.
using Tamper = std::function<void(const std::string& backup, const std::string& outside)>;

void Untouched(const std::string&, const std::string&) {}

// Moves `name` of the backup outside it and leaves a link to it in its place.
Tamper LinkOut(const std::string& name) {
  return [name](const std::string& backup, const std::string& outside) {
    fs::rename(backup + "/" + name, outside + "/moved");
    fs::create_symlink(outside + "/moved", backup + "/" + name);
  };
}

// An Info.plist a million arrays deep: 15 MB, under the reader's size limit.
void DeepInfo(const std::string& backup, const std::string&) {
  const size_t depth = 1000000;
  std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Deep</key>";
  xml.reserve(xml.size() + 15 * depth + 32);
  for (size_t i = 0; i < depth; ++i) xml += "<array>";
  for (size_t i = 0; i < depth; ++i) xml += "</array>";
  std::ofstream(backup + "/Info.plist", std::ios::trunc) << xml << "</dict></plist>";
}

struct Case {
  std::string recipe;
  Tamper tamper;
  const char* password;
  int result;
  const char* says;  // a part of the message
  std::vector<std::string> names;
  int kind = VELDRAKE_BACKUP_CONTACTS;
};

class HostileBackupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(tmp.path() + "/private");
    fs::create_directory(tmp.path() + "/outside");
    setenv("TMPDIR", private_().c_str(), 1);
  }
  void TearDown() override { unsetenv("TMPDIR"); }
  std::string private_() const { return tmp.path() + "/private"; }

  void Run(const Case& c, size_t n) {
    const std::string dir = tmp.path() + "/" + std::to_string(n);
    fs::create_directory(dir);
    ASSERT_TRUE(MakeBackup(dir, "{" + c.recipe + "}"));
    const std::string outside = tmp.path() + "/outside/" + std::to_string(n);
    fs::create_directory(outside);
    c.tamper(dir + "/" + kUdid, outside);
    gNames.clear();
    const int result =
        VeldrakeBackupGetData(dir.c_str(), c.password, c.kind, Collect, nullptr, nullptr);
    const std::string message = VeldrakeBackupLastMessage();
    EXPECT_EQ(result, c.result) << c.recipe << ": " << message;
    EXPECT_NE(message.find(c.says), std::string::npos) << message;
    EXPECT_EQ(gNames, c.names) << c.recipe;
    EXPECT_TRUE(fs::is_empty(private_())) << "a temporary file was left: " << c.recipe;
  }

  TempDir tmp;
};

TEST_F(HostileBackupTest, EachHostileBackupIsRefusedAndLeavesNothing) {
  const int unreadable = kVeldrakeBackupStoreUnreadable;
  const std::vector<Case> table = {
      {kBook, Untouched, nullptr, 0, "", {"Ann", "Wal"}},
      {kFts, Untouched, nullptr, unreadable, "hostile store: abperson is a virtual table", {}},
      {kEncrypted + kFts, Untouched, "pw", unreadable, "abperson is a virtual table", {}},
      {kBook + R"(, "wal_size": 2147483648)",
       Untouched,
       nullptr,
       unreadable,
       "far larger than any phone's log",
       {}},
      {kEncrypted + kBook + R"(, "wal_size": 2147483648)",
       Untouched,
       "pw",
       unreadable,
       "far larger than any phone's log",
       {}},
      {kBook + R"(, "pad_content": 100)", Untouched, nullptr, unreadable, "larger than the", {}},
      {R"("pad_content": 100)", Untouched, nullptr, unreadable, "not as long as", {}},
      {kBook, LinkOut(kBookFileId.substr(0, 2)), nullptr, unreadable, "a link", {}},
      {kNoLog, LinkOut(kBookFileId.substr(0, 2)), nullptr, unreadable, "a link", {}},
      {kNoLog,
       LinkOut(kBookFileId.substr(0, 2) + "/" + kBookFileId),
       nullptr,
       unreadable,
       "a link",
       {}},
      {kEncrypted + kBook, LinkOut(kBookFileId.substr(0, 2)), "pw", unreadable, "a link", {}},
      {kBook, LinkOut("Manifest.db"), nullptr, kVeldrakeBackupNotABackup, "", {}},
      {kBook, LinkOut("Manifest.plist"), nullptr, kVeldrakeBackupNotABackup, "no backup", {}},
      {kBook, DeepInfo, nullptr, 0, "", {"Ann", "Wal"}},
      {kEndlessNotes,
       Untouched,
       nullptr,
       unreadable,
       "hostile store: ziccloudsyncingobject is no table",
       {},
       VELDRAKE_BACKUP_NOTES},
  };
  for (size_t n = 0; n < table.size(); ++n) Run(table[n], n);
}

TEST_F(HostileBackupTest, AMissingTemporaryFolderIsNamed) {
  ASSERT_TRUE(MakeBackup(tmp.path(), "{" + kEncrypted + kBook + "}"));
  for (const char* tmpdir : {"/nonexistent", "/etc/hostname"}) {
    setenv("TMPDIR", tmpdir, 1);
    EXPECT_EQ(VeldrakeBackupGetData(tmp.path().c_str(), "pw", VELDRAKE_BACKUP_CONTACTS, Collect,
                                    nullptr, nullptr),
              kVeldrakeBackupNoTemporaryFolder);
    const std::string message = VeldrakeBackupLastMessage();
    EXPECT_NE(message.find(std::string("TMPDIR=") + tmpdir), std::string::npos) << message;
    EXPECT_EQ(message.find("Manifest"), std::string::npos) << message;
  }
}

// A Manifest.plist of 1.8 MB whose 200,000 references share one 1 MiB data object is
// refused, and the process that reads it grows by far less than 100 MB.
TEST_F(HostileBackupTest, ASharedObjectManifestCostsLittleMemory) {
  using listbytes::BE;
  ASSERT_TRUE(MakeBackup(tmp.path(), "{" + kBook + "}"));
  const uint32_t refs = 200000, mib = 1 << 20;
  std::string array = std::string(1, '\xAF') + '\x12' + BE(refs, 4);
  for (uint32_t i = 0; i < refs; ++i) array += BE(3, 4);
  const std::string list =
      listbytes::Assemble({std::string(1, '\xD1') + BE(2, 4) + BE(1, 4), array, "\x58Lockdown",
                           std::string(1, '\x4F') + '\x12' + BE(mib, 4) + std::string(mib, 'd')},
                          4, 4);
  std::ofstream(tmp.path() + "/" + kUdid + "/Manifest.plist", std::ios::trunc) << list;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    const int result = VeldrakeBackupGetData(tmp.path().c_str(), nullptr, VELDRAKE_BACKUP_CONTACTS,
                                             Collect, nullptr, nullptr);
    getrusage(RUSAGE_SELF, &after);
    const long grownKb = after.ru_maxrss - before.ru_maxrss;
    _exit(result == kVeldrakeBackupStoreUnreadable ? (grownKb < 100 * 1024 ? 0 : 2) : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: not refused; 2: grew by 100 MB or more";
}

// --- What a host's signal-watching thread calls ---

std::string gPrivate;
int gCalls = 0;
bool gEmptyAfterRemoval = false;

int CancelAtFirst(void* record) {
  ++gCalls;
  VeldrakeBackupCancel();
  return Collect(record);
}

int RemoveAtFirst(void* record) {
  ++gCalls;
  VeldrakeBackupRemoveTemporaries();
  gEmptyAfterRemoval = fs::is_empty(gPrivate);
  return Collect(record);
}

TEST_F(HostileBackupTest, CancelAndRemovalStopTheExportAndLeaveNothing) {
  ASSERT_TRUE(MakeBackup(tmp.path(), "{" + kEncrypted + kBook + "}"));
  gPrivate = private_();
  const struct { VeldrakeRecordCallback callback; } table[] = {{CancelAtFirst}, {RemoveAtFirst}};
  for (const auto& row : table) {
    gCalls = 0;
    gNames.clear();
    EXPECT_EQ(VeldrakeBackupGetData(tmp.path().c_str(), "pw", VELDRAKE_BACKUP_CONTACTS,
                                    row.callback, nullptr, nullptr),
              kVeldrakeBackupCancelled);
    EXPECT_EQ(gCalls, 1) << "no record after the cancel";
    EXPECT_STREQ(VeldrakeBackupLastMessage(), "the export was cancelled");
    EXPECT_TRUE(fs::is_empty(private_()));
  }
  EXPECT_TRUE(gEmptyAfterRemoval) << "the decrypted files stayed while the export ran";
  // A cancel reaches the exports running when it is made, not later ones.
  gNames.clear();
  EXPECT_EQ(VeldrakeBackupGetData(tmp.path().c_str(), "pw", VELDRAKE_BACKUP_CONTACTS, Collect,
                                  nullptr, nullptr),
            0);
  EXPECT_EQ(gNames.size(), 2u);
}

int KillSelf(void*) {
  raise(SIGKILL);
  return 0;
}

// kill -9 in the middle of an encrypted export leaves its decrypted files; the next export
// in this TMPDIR removes them, whatever it exports.
TEST_F(HostileBackupTest, WhatKillNineLeavesGoesWithTheNextExport) {
  ASSERT_TRUE(MakeBackup(tmp.path(), "{" + kEncrypted + kBook + "}"));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    VeldrakeBackupGetData(tmp.path().c_str(), "pw", VELDRAKE_BACKUP_CONTACTS, KillSelf, nullptr,
                          nullptr);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  ASSERT_FALSE(fs::is_empty(private_())) << "nothing was left to sweep";
  EXPECT_EQ(VeldrakeBackupGetData(tmp.path().c_str(), nullptr, VELDRAKE_BACKUP_NOTES, Collect,
                                  nullptr, nullptr),
            kVeldrakeBackupNeedsPassword);
  EXPECT_TRUE(fs::is_empty(private_()));
}

}  // namespace
