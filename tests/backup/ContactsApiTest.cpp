// VeldrakeBackupGetContacts through the shared library, on backups the emulator writes
// (checked against Python's readers in tests/backup_writer): every photo byte for byte,
// the groups and accounts the book gave, plain and encrypted, rows only in the
// write-ahead logs; the same records as VeldrakeBackupGetData; and a backup whose images
// database is missing or damaged still gives every contact, with one warning.
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "ContactFixtures.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/BackupContacts.h"

namespace {

namespace fs = std::filesystem;
using namespace contactfixtures;
using backuptest::TempDir;
// The largest photo the library lends, as docs/backup-format.md gives it.
constexpr int64_t kMaxPhotoBytes = int64_t{64} << 20;

const char* kUdid = "00008110-000A1B2C3D4E5F60";
const char* kImagesTable = "Library/AddressBook/AddressBookImages.sqlitedb";

devicesim::Person Someone(const char* first, std::string photo, devicesim::Account account,
                          std::vector<std::string> groups) {
  devicesim::Person p;
  p.firstName = first;
  p.photo = std::move(photo);
  p.account = std::move(account);
  p.groups = std::move(groups);
  return p;
}

// Five people: photos of each kind (two with crops, so full-size, the rest thumbnails),
// groups with a comma and a non-ASCII name, and two accounts beside the phone's own.
devicesim::AddressBook Book() {
  devicesim::AddressBook book;
  const devicesim::Account icloud{"iCloud", "icloud"}, google{"ann@gmail.com", "google"};
  book.people = {Someone("Ann", Jpeg(64, 48, 5000), icloud, {"Work, Team", "Ärzte"}),
                 Someone("Bo", Png(10, 10), google, {"Ärzte"}), Someone("Cy", "", {}, {}),
                 Someone("Di", Heic(30, 40), icloud, {"Work, Team"}),
                 Someone("Ed", Jpeg(16, 16), {}, {})};
  book.people[0].hasCrop = true;
  book.people[0].cropX = 8;
  book.people[0].cropY = 0;
  book.people[0].cropWidth = 48;
  book.people[3].hasCrop = true;
  book.people[3].cropX = 0;
  book.people[3].cropY = 0;
  book.people[3].cropWidth = 50;  // taller than it is wide: outside
  for (size_t i = 0; i < book.people.size(); ++i) book.people[i].id = static_cast<int>(i + 1);
  return book;
}

std::string WriteOne(const TempDir& dir, const devicesim::AddressBook& book,
                     const std::string& password, size_t walPeople) {
  devicesim::backup::BackupOptions options;
  options.password = password;
  options.sha256Iterations = 1000;
  options.sha1Iterations = 100;
  options.walPeople = walPeople;
  std::string error;
  EXPECT_TRUE(devicesim::backup::WriteBackup(book, {}, dir.path(), options, &error)) << error;
  return dir.path() + "/" + kUdid;
}

Collected Export(const std::string& path, const char* password, int flags = 0,
                 int expected = kVeldrakeBackupOk) {
  Collected out;
  EXPECT_EQ(VeldrakeBackupGetContacts(path.c_str(), password, flags, CollectContact, &out,
                                      CollectWarning, &out),
            expected)
      << VeldrakeBackupLastMessage();
  return out;
}

void ExpectTheBook(const Collected& got, const devicesim::AddressBook& book, bool photos) {
  ASSERT_EQ(got.people.size(), book.people.size());
  const std::vector<std::vector<std::string>> groups = {
      {"Work, Team", "Ärzte"}, {"Ärzte"}, {}, {"Work, Team"}, {}};
  const std::vector<std::string> accounts = {"iCloud", "ann@gmail.com", "On My iPhone", "iCloud",
                                             "On My iPhone"};
  const std::vector<std::string> types = {"icloud", "google", "local", "icloud", "local"};
  const std::vector<std::string> mimes = {"image/jpeg", "image/png", "", "image/heic",
                                          "image/jpeg"};
  for (size_t i = 0; i < book.people.size(); ++i) {
    const SeenDetails& seen = got.people[i];
    SCOPED_TRACE(book.people[i].firstName);
    EXPECT_EQ(seen.id, book.people[i].id);
    EXPECT_EQ(seen.contact.id, seen.id);
    EXPECT_EQ(seen.groups, groups[i]);
    EXPECT_EQ(std::make_pair(seen.account, seen.accountType),
              std::make_pair(accounts[i], types[i]));
    EXPECT_GT(seen.created, 1700000000);  // written now
    EXPECT_EQ(seen.modified, seen.created);
    const bool has = photos && !book.people[i].photo.empty();
    ASSERT_EQ(seen.hasPhoto, has);
    if (!has) continue;
    EXPECT_TRUE(seen.photo == book.people[i].photo) << "byte for byte";
    EXPECT_EQ(seen.mime, mimes[i]);
    EXPECT_EQ(seen.hasCrop, i == 0 ? 1 : 0);
  }
  EXPECT_EQ(got.people[0].cropX, photos ? 8 : 0);
  EXPECT_EQ(Warned(got, "contact 4 (ABFullSizeImage) has a crop outside"), photos);
}

// The library's private folders go to a folder of the test's own, watched for leftovers.
class ContactsApiTest : public ::testing::Test {
 protected:
  void SetUp() override { setenv("TMPDIR", scratch.path().c_str(), 1); }
  void TearDown() override {
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty(scratch.path())) << "a private folder was left";
  }
  TempDir scratch;
};

TEST_F(ContactsApiTest, TheBookComesWholePlainAndEncrypted) {
  const devicesim::AddressBook book = Book();
  for (const char* password : {"", "sample ⚡ password"}) {
    for (const size_t wal : {size_t{0}, size_t{2}}) {
      SCOPED_TRACE(std::string(password) + " wal " + std::to_string(wal));
      TempDir dir;
      const std::string path = WriteOne(dir, book, password, wal);
      const char* given = *password ? password : nullptr;
      const Collected got = Export(path, given);
      ExpectTheBook(got, book, true);
      EXPECT_EQ(got.warnings.size(), 1u);
      const Collected plain = Export(path, given, VELDRAKE_CONTACTS_NO_PHOTOS);
      ExpectTheBook(plain, book, false);
      EXPECT_TRUE(plain.warnings.empty());
      for (size_t i = 0; i < got.people.size(); ++i)
        EXPECT_EQ(got.people[i].contact, plain.people[i].contact);
    }
  }
}

// samples/photos/book.vcf: the pictures a browser drew come back as the card gave them.
TEST_F(ContactsApiTest, TheSampleBookWithPhotos) {
  devicesim::AddressBook book;
  std::string error;
  ASSERT_TRUE(devicesim::LoadVCardFiles(
      {std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/samples/photos/book.vcf"}, &book, &error))
      << error;
  TempDir dir;
  const Collected got = Export(WriteOne(dir, book, "", 1), nullptr);
  ASSERT_EQ(got.people.size(), 5u);
  const std::vector<std::string> mimes = {"image/jpeg", "image/png", "image/jpeg", "", ""};
  for (size_t i = 0; i < got.people.size(); ++i) {
    EXPECT_TRUE(got.people[i].photo == book.people[i].photo) << i;
    EXPECT_EQ(got.people[i].mime, mimes[i]);
  }
  EXPECT_EQ(std::vector<int>({got.people[0].hasCrop, got.people[0].cropX, got.people[0].cropWidth}),
            std::vector<int>({1, 8, 80}));
  EXPECT_EQ(got.people[2].groups, std::vector<std::string>({"Climbing", "Work, Berlin"}));
  EXPECT_EQ(got.people[1].accountType, "google");
  EXPECT_TRUE(got.warnings.empty());
}

// A photo larger than the cap is left out with a warning, one of exactly the cap comes (the
// database guard's own limit on a value is no lower); the next person's photo comes too.
TEST_F(ContactsApiTest, APhotoOverTheCapIsLeftOut) {
  const size_t jpegOverhead = Jpeg(8, 8, 0).size();
  for (const int64_t size : {kMaxPhotoBytes, kMaxPhotoBytes + 1}) {
    SCOPED_TRACE(size);
    devicesim::AddressBook book;
    book.people = {Someone("Big", "", {}, {}), Someone("Small", Png(4, 4), {}, {})};
    book.people[0].hasCrop = true;
    book.people[0].cropWidth = 1;
    for (size_t i = 0; i < book.people.size(); ++i) book.people[i].id = static_cast<int>(i + 1);
    book.photoSource = [&](const devicesim::Person& p) {
      return p.id == 1 ? Jpeg(8, 8, static_cast<size_t>(size) - jpegOverhead) : p.photo;
    };
    TempDir dir;
    const Collected got = Export(WriteOne(dir, book, "", 0), nullptr);
    ASSERT_EQ(got.people.size(), 2u);
    const bool over = size > kMaxPhotoBytes;
    EXPECT_EQ(got.people[0].hasPhoto, !over);
    EXPECT_EQ(got.people[0].photo.size(), over ? 0u : static_cast<size_t>(size));
    EXPECT_TRUE(got.people[1].hasPhoto && got.people[1].photo == book.people[1].photo);
    EXPECT_EQ(got.warnings.size(), over ? 1u : 0u);
    EXPECT_EQ(Warned(got, "contact 1 (ABFullSizeImage) is 67108865 bytes"), over);
  }
}

// The images database as the backup lists it, made unusable in each way a backup can be.
TEST_F(ContactsApiTest, AMissingOrDamagedImagesDatabaseCostsThePhotosOnly) {
  const devicesim::AddressBook book = Book();
  struct Damage {
    const char* name;
    const char* sql;  // run on Manifest.db
    int garbage;      // the images database's file overwritten: 0 no, 1 in place, 2 cut short
    const char* warning;
  } const damages[] = {
      {"not listed", "DELETE FROM Files WHERE relativePath LIKE '%AddressBookImages%'", 0,
       "holds no AddressBookImages.sqlitedb"},
      {"not a database", nullptr, 1, "no readable database"},
      {"cut short", nullptr, 2, "not as long as Manifest.db records"},
  };
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.name);
    TempDir dir;
    const std::string path = WriteOne(dir, book, "", 0);
    sqlite3* manifest = nullptr;
    ASSERT_EQ(sqlite3_open((path + "/Manifest.db").c_str(), &manifest), SQLITE_OK);
    if (d.sql != nullptr) backuptest::Exec(manifest, d.sql);
    if (d.garbage) {
      sqlite3_stmt* s = nullptr;
      sqlite3_prepare_v2(manifest, "SELECT fileID FROM Files WHERE relativePath = ?1", -1, &s,
                         nullptr);
      sqlite3_bind_text(s, 1, kImagesTable, -1, SQLITE_STATIC);
      ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
      const std::string id = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
      sqlite3_finalize(s);
      const std::string file = path + "/" + id.substr(0, 2) + "/" + id;
      const auto size = static_cast<size_t>(fs::file_size(file));
      std::ofstream(file, std::ios::binary | std::ios::trunc)
          << std::string(d.garbage == 1 ? size : size / 2, 'x');
    }
    sqlite3_close(manifest);
    const Collected got = Export(path, nullptr);
    ExpectTheBook(got, book, false);
    ASSERT_EQ(got.warnings.size(), 1u);
    EXPECT_NE(got.warnings[0].find(d.warning), std::string::npos) << got.warnings[0];
  }
}

TEST_F(ContactsApiTest, ArgumentsStopsAndFailures) {
  TempDir dir;
  const std::string path = WriteOne(dir, Book(), "secret", 0);
  Collected out;
  const struct {
    const char* path;
    int flags;
    bool callback;
    int result;
  } calls[] = {{nullptr, 0, true, kVeldrakeBackupInvalidArgument},
               {path.c_str(), 0, false, kVeldrakeBackupInvalidArgument},
               {path.c_str(), 2, true, kVeldrakeBackupInvalidArgument},
               {path.c_str(), 0, true, kVeldrakeBackupNeedsPassword},
               {"/nonexistent/backup", 0, true, kVeldrakeBackupNotABackup}};
  for (const auto& c : calls) {
    EXPECT_EQ(
        VeldrakeBackupGetContacts(c.path, nullptr, c.flags, c.callback ? CollectContact : nullptr,
                                  &out, nullptr, nullptr),
        c.result);
    EXPECT_STRNE(VeldrakeBackupLastMessage(), "");
  }
  EXPECT_TRUE(out.people.empty());
  EXPECT_EQ(Export(path, "wrong", 0, kVeldrakeBackupWrongPassword).people.size(), 0u);
  Collected stopped;
  stopped.stopAfter = 2;
  EXPECT_EQ(VeldrakeBackupGetContacts(path.c_str(), "secret", 0, CollectContact, &stopped, nullptr,
                                      nullptr),
            kVeldrakeBackupStopped);
  EXPECT_EQ(stopped.people.size(), 2u);
  Collected cancelled;
  cancelled.cancelAfter = 3;
  EXPECT_EQ(VeldrakeBackupGetContacts(path.c_str(), "secret", 0, CollectContact, &cancelled,
                                      nullptr, nullptr),
            kVeldrakeBackupCancelled);
  EXPECT_EQ(cancelled.people.size(), 3u);
  EXPECT_EQ(Export(path, "secret").people.size(), 5u) << "a cancel stops only the exports it met";
  EXPECT_STREQ(VeldrakeBackupLastMessage(), "");
}

}  // namespace
