// libVeldrakeBackup through its exported surface only, on backups written by
// make_backup.py: where a backup is, plain and encrypted, rows only in the write-ahead
// log, passwords, damaged and hostile backups; and what an export leaves behind (nothing
// beside the backup, no temporary folder, the backup unchanged).
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "QX/Contact.h"
#include "veldrake/Backup.h"

namespace {

namespace fs = std::filesystem;
using backuptest::MakeBackup;
using backuptest::TempDir;

const char* kUdid = "00008110-000A1B2C3D4E5F60";
const char* kPassword = "correct horse";

std::vector<std::string> gNames;
int Collect(void* record) {
  const QX::Contact* c = static_cast<const QX::Contact*>(record);
  gNames.push_back(std::to_string(c->id) + ":" + (c->firstName ? c->firstName : "<null>"));
  return 0;
}

// Every file under `dir` with its content, to see that an export changed nothing.
std::map<std::string, std::string> Snapshot(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    files[entry.path().string()] =
        std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }
  return files;
}

std::string Repeat(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

const std::string kBook =
    R"js("book_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (4, 'Ann'), (2, 'Bo')"],)js"
    R"js( "wal_sql": ["INSERT INTO ABPerson (ROWID, First) VALUES (9, 'Wal')"])js";

struct Case {
  std::string recipe;  // JSON members besides the book
  const char* password;
  std::string path;  // under the folder of backups: "" for the folder itself, or the UDID
  int result;
  std::vector<std::string> names;
};

class LibraryTest : public ::testing::Test {
 protected:
  // The library's temporary folders go to a folder of the test's own, watched for leftovers.
  void SetUp() override {
    fs::create_directory(tmp.path() + "/private");
    setenv("TMPDIR", (tmp.path() + "/private").c_str(), 1);
  }
  void TearDown() override { unsetenv("TMPDIR"); }

  // Writes one backup per case, each in a folder "<n>", with one run of the writer.
  void MakeAll(const std::vector<Case>& cases) {
    std::string recipes = "[";
    for (size_t n = 0; n < cases.size(); ++n)
      recipes += std::string(n ? ", " : "") + "{\"dir\": \"" + std::to_string(n) + "\", " +
                 cases[n].recipe + (cases[n].recipe.empty() ? "" : ", ") + kBook + "}";
    ASSERT_TRUE(MakeBackup(tmp.path(), recipes + "]"));
  }

  // Runs the export of case `n` and checks what it leaves behind.
  void Run(const Case& c, size_t n) {
    const std::string dir = tmp.path() + "/" + std::to_string(n);
    const auto before = Snapshot(dir);
    gNames.clear();
    const std::string path = dir + (c.path.empty() ? "" : "/" + c.path);
    const int result = VeldrakeBackupGetData(path.c_str(), c.password, VELDRAKE_BACKUP_CONTACTS,
                                             Collect, nullptr, nullptr);
    const std::string message = VeldrakeBackupLastMessage();
    EXPECT_EQ(result, c.result) << c.recipe << ": " << message;
    EXPECT_EQ(gNames, c.names) << c.recipe;
    EXPECT_EQ(message.empty(), result == 0) << message;
    EXPECT_EQ(message.find(kPassword), std::string::npos);
    EXPECT_TRUE(Snapshot(dir) == before) << c.recipe;
    EXPECT_TRUE(fs::is_empty(tmp.path() + "/private")) << "a temporary folder was left";
  }

  TempDir tmp;
};

TEST_F(LibraryTest, ExportsPlainAndEncryptedBackupsAndTellsEachFailure) {
  const std::vector<std::string> all = {"2:Bo", "4:Ann", "9:Wal"};
  const std::string encrypted = R"("password": "correct horse")";
  const std::vector<Case> table = {
      {"", nullptr, "", 0, all},
      {"", nullptr, kUdid, 0, all},
      {encrypted, kPassword, "", 0, all},
      {encrypted, nullptr, "", kVeldrakeBackupNeedsPassword, {}},
      {encrypted, "", "", kVeldrakeBackupNeedsPassword, {}},
      {encrypted, "correct horse ", "", kVeldrakeBackupWrongPassword, {}},
      {R"("status": "running")", nullptr, "", kVeldrakeBackupNotABackup, {}},
      {"", nullptr, std::string(kUdid) + "/00", kVeldrakeBackupNotABackup, {}},
      {R"("drop_content": true)", nullptr, "", kVeldrakeBackupStoreUnreadable, {}},
      {R"("truncate_content": 100)", nullptr, "", kVeldrakeBackupStoreUnreadable, {}},
      {encrypted + R"(, "truncate_content": 4000)",
       kPassword,
       "",
       kVeldrakeBackupStoreUnreadable,
       {}},
      {encrypted + R"(, "bad_manifest_key": true)",
       kPassword,
       "",
       kVeldrakeBackupStoreUnreadable,
       {}},
      {encrypted + R"(, "keybag": "53414c54ffffffff")",
       kPassword,
       "",
       kVeldrakeBackupStoreUnreadable,
       {}},
      // A fileID that would lead out of the backup, or is no SHA-1 at all.
      {R"("file_id": "../../../../../../etc/passwd")",
       nullptr,
       "",
       kVeldrakeBackupStoreUnreadable,
       {}},
      {R"("file_id": "A9AAF31E300BBB71F1602C65E27A29A6C85F98F8")",
       nullptr,
       "",
       kVeldrakeBackupStoreUnreadable,
       {}},
  };
  MakeAll(table);
  for (size_t n = 0; n < table.size(); ++n) Run(table[n], n);
}

TEST_F(LibraryTest, ListsBackupsAndRefusesToGuessAmongSeveral) {
  TempDir dir;
  ASSERT_TRUE(MakeBackup(dir.path(), R"([{"udid": "AAA", "name": "Ann's phone"},)"
                                     R"( {"udid": "BBB", "password": "x", "version": "8.4"}])"));
  fs::create_directory(dir.path() + "/not-a-backup");
  VeldrakeBackupInfo info[3];
  ASSERT_EQ(VeldrakeBackupList(dir.path().c_str(), info, 1), 2);
  ASSERT_EQ(VeldrakeBackupList(dir.path().c_str(), info, 3), 2);
  EXPECT_EQ(std::string(info[0].path), dir.path() + "/AAA");
  EXPECT_STREQ(info[0].udid, "AAA");
  EXPECT_STREQ(info[0].name, "Ann's phone");
  EXPECT_STREQ(info[0].version, "17.5");
  EXPECT_EQ(info[0].date, 1714979289);  // 2024-05-06T07:08:09Z, as the writer put it
  EXPECT_EQ(info[0].encrypted, 0);
  EXPECT_EQ(info[0].complete, 1);
  EXPECT_STREQ(info[1].version, "8.4");
  EXPECT_EQ(info[1].encrypted, 1);
  EXPECT_EQ(VeldrakeBackupList((dir.path() + "/AAA").c_str(), info, 3), 1);
  EXPECT_EQ(VeldrakeBackupList((dir.path() + "/not-a-backup").c_str(), info, 3),
            kVeldrakeBackupNotABackup);

  const int several = VeldrakeBackupGetData(dir.path().c_str(), nullptr, VELDRAKE_BACKUP_CONTACTS,
                                            Collect, nullptr, nullptr);
  EXPECT_EQ(several, kVeldrakeBackupSeveral);
  const std::string message = VeldrakeBackupLastMessage();
  EXPECT_NE(message.find("/AAA"), std::string::npos) << message;
  EXPECT_NE(message.find("/BBB"), std::string::npos) << message;
  // A backup without a note store says so for notes.
  EXPECT_EQ(VeldrakeBackupGetData((dir.path() + "/AAA").c_str(), nullptr, VELDRAKE_BACKUP_NOTES,
                                  Collect, nullptr, nullptr),
            kVeldrakeBackupStoreMissing);
}

std::vector<std::string> gWarnings;
void CollectWarning(const char* message, void*) {
  gWarnings.emplace_back(message);
}

// Info.plist only adds to Manifest.plist's values: one that cannot be read is set aside,
// named once with its reason by the listing's message and by an export's warnings.
TEST_F(LibraryTest, AnInfoPlistSetAsideIsNamedWithItsReason) {
  ASSERT_TRUE(MakeBackup(tmp.path(), "{" + kBook + "}"));
  const std::string info = tmp.path() + "/" + kUdid + "/Info.plist";
  std::ifstream in(info, std::ios::binary);
  const std::string phones((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_NE(phones.find("<dict>"), std::string::npos);
  const auto write = [&](const std::string& text) { std::ofstream(info) << text; };
  const struct {
    const char* what;
    std::function<void()> make;
    const char* reason;  // "" when nothing is said
  } table[] = {
      {"a phone's own", [&] { write(phones); }, ""},
      {"none", [] {}, ""},
      {"65 levels deep",
       [&] { write("<plist>" + Repeat("<array>", 65) + Repeat("</array>", 65) + "</plist>"); },
       "(nested too deep)"},
      {"cut in half", [&] { write(phones.substr(0, phones.size() / 2)); }, "(damaged"},
      {"a link out", [&] { fs::create_symlink(tmp.path() + "/elsewhere", info); },
       "(not a plain file"},
      {"a folder", [&] { fs::create_directory(info); }, "(not a plain file"},
      {"16 MiB and a byte",
       [&] {
         write("");
         fs::resize_file(info, (16u << 20) + 1);
       },
       "(larger than any phone's)"},
  };
  std::ofstream(tmp.path() + "/elsewhere") << phones;
  for (const auto& row : table) {
    fs::remove_all(info);
    row.make();
    const std::string said = *row.reason ? info + " is unreadable " + row.reason : "";
    VeldrakeBackupInfo listed;
    ASSERT_EQ(VeldrakeBackupList(tmp.path().c_str(), &listed, 1), 1) << row.what;
    EXPECT_STREQ(listed.udid, kUdid) << row.what;
    const std::string message = VeldrakeBackupLastMessage();
    EXPECT_EQ(message.substr(0, said.size()), said) << row.what;
    EXPECT_EQ(message.empty(), said.empty()) << row.what << ": " << message;
    gWarnings.clear();
    EXPECT_EQ(VeldrakeBackupGetData(tmp.path().c_str(), nullptr, VELDRAKE_BACKUP_CONTACTS, Collect,
                                    CollectWarning, nullptr),
              0)
        << row.what;
    EXPECT_EQ(gWarnings,
              said.empty() ? std::vector<std::string>{} : std::vector<std::string>{message})
        << row.what;
  }
}

int Terminate(void*) {
  raise(SIGTERM);
  return 0;
}

// A signal in the middle of an export (here from the callback, while the decrypted copy
// is open) still removes the private folder, and the process ends by that signal.
TEST_F(LibraryTest, ASignalMidExportRemovesThePrivateFolder) {
  ASSERT_TRUE(MakeBackup(tmp.path(), "{\"password\": \"pw\", " + kBook + "}"));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    VeldrakeBackupGetData(tmp.path().c_str(), "pw", VELDRAKE_BACKUP_CONTACTS, Terminate, nullptr,
                          nullptr);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
  EXPECT_TRUE(fs::is_empty(tmp.path() + "/private"));
}

TEST_F(LibraryTest, RefusesBadArguments) {
  VeldrakeBackupInfo info;
  const int results[] = {
      VeldrakeBackupGetData(nullptr, nullptr, VELDRAKE_BACKUP_CONTACTS, Collect, nullptr, nullptr),
      VeldrakeBackupGetData("/", nullptr, VELDRAKE_BACKUP_CONTACTS, nullptr, nullptr, nullptr),
      VeldrakeBackupGetData("/", nullptr, 7, Collect, nullptr, nullptr),
      VeldrakeBackupList(nullptr, &info, 1),
      VeldrakeBackupList("/", nullptr, 1),
  };
  for (int result : results) EXPECT_EQ(result, kVeldrakeBackupInvalidArgument);
  EXPECT_STRNE(VeldrakeBackupLastMessage(), "");
}

}  // namespace
