// The address book read from the phone's database: the same cards as the sync route gives
// for the same book (generated books and the repository's samples), in ascending person
// id with each person's items in the phone's order; and databases that differ from the
// phone's or are damaged.
#include <sqlite3.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AddressBook.h"
#include "BackupTestSupport.h"
#include "veldrake/Backup.h"

namespace {

using namespace backuptest;
using contacttest::SeenContact;

struct Read {
  int result = 0;
  std::string message;
  std::vector<SeenContact> seen;
};

Read Deliver(sqlite3* db, std::vector<int> answers = {}) {
  contacttest::Recorder recorder;
  recorder.answers = std::move(answers);
  contacttest::gRecorder = &recorder;
  Read read;
  read.result = veldrake::backup::DeliverContacts(
      db, reinterpret_cast<VeldrakeRecordCallback>(contacttest::Callback()), &read.message);
  contacttest::gRecorder = nullptr;
  read.seen = std::move(recorder.seen);
  return read;
}

struct Db {
  Db() { sqlite3_open(":memory:", &db); }
  ~Db() { sqlite3_close(db); }
  sqlite3* db = nullptr;
};

std::vector<std::string> SampleCards() {
  const std::filesystem::path base = std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/samples";
  std::vector<std::string> paths;
  for (const auto& dir : {base, base / "vcards"})
    for (const auto& entry : std::filesystem::directory_iterator(dir))
      if (entry.path().extension() == ".vcf") paths.push_back(entry.path().string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

// What the phone's order of a person's items looks like in the records: the label (the
// service for accounts) of each item that is not an address.
std::vector<std::string> ItemLabels(const devicesim::Person& p) {
  std::vector<std::string> labels;
  for (const devicesim::Item& item : p.items) {
    if (item.property == devicesim::kAddress) continue;
    const bool account =
        item.property == devicesim::kInstantMessage || item.property == devicesim::kSocialProfile;
    labels.push_back(account ? item.service : item.label.empty() ? "<null>" : item.label);
  }
  return labels;
}

std::vector<std::string> SeenLabels(const SeenContact& c) {
  std::vector<std::string> labels;
  for (const std::string& f : c.fields)
    labels.push_back(f.substr(f.find('|') + 1, f.rfind('|') - f.find('|') - 1));
  return labels;
}

TEST(AddressBookTest, GivesTheSyncRoutesCardsInThePhonesOrder) {
  std::vector<devicesim::AddressBook> books;
  for (uint32_t seed : {1u, 2u, 3u}) books.push_back(devicesim::GenerateAddressBook(40, seed));
  devicesim::AddressBook samples;
  std::string error;
  ASSERT_TRUE(devicesim::LoadVCardFiles(SampleCards(), &samples, &error)) << error;
  books.push_back(samples);
  for (const devicesim::AddressBook& book : books) {
    Db db;
    WriteBook(db.db, book);
    const Read read = Deliver(db.db);
    ASSERT_EQ(read.result, kVeldrakeBackupOk) << read.message;
    ExpectSameCards(read.seen, SyncRoute(book));
    ASSERT_EQ(read.seen.size(), book.people.size());
    for (size_t i = 0; i < book.people.size(); ++i) {
      EXPECT_EQ(read.seen[i].id, book.people[i].id);  // the books number people upwards
      EXPECT_EQ(SeenLabels(read.seen[i]), ItemLabels(book.people[i])) << read.seen[i].id;
    }
  }
}

// One person a line: "id|first|birthday|fields...|addresses...".
void ExpectRead(const std::string& sql, int result, const std::vector<std::string>& want) {
  Db db;
  ASSERT_EQ(sqlite3_exec(db.db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
  const Read read = Deliver(db.db);
  EXPECT_EQ(read.result, result) << sql;
  EXPECT_EQ(read.message.empty(), result == 0) << read.message;
  std::vector<std::string> got;
  for (const SeenContact& c : read.seen) {
    std::string line = std::to_string(c.id) + "|" + c.names[0] + "|" + c.names[11];
    for (const std::string& f : c.fields) line += "|" + f;
    for (const std::string& a : c.addresses) line += "|" + a;
    got.push_back(line);
  }
  EXPECT_EQ(got, want) << sql;
}

TEST(AddressBookTest, ReadsTheColumnsTheDatabaseHasAndSkipsWhatBelongsToNoOne) {
  const std::string kBase =
      "CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, record_id INTEGER, property INTEGER,"
      " label INTEGER, value TEXT);"
      "CREATE TABLE ABMultiValueLabel (value TEXT);"
      "CREATE TABLE ABMultiValueEntry (parent_id INTEGER, key INTEGER, value TEXT);"
      "CREATE TABLE ABMultiValueEntryKey (value TEXT);"
      "INSERT INTO ABMultiValueLabel VALUES ('_$!<Home>!$_');"
      "INSERT INTO ABMultiValueEntryKey VALUES ('service'), ('username'), ('City');";
  const std::string kPeople =
      "CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY, First TEXT,"
      " Birthday TEXT);";
  const struct {
    std::string sql;
    int result;
    std::vector<std::string> want;
  } table[] = {
      {kPeople + "INSERT INTO ABPerson VALUES (2, 'Ann', '0'), (5, '', 'soon'), (7, NULL, 1.5e8);",
       0,
       {"2|Ann|01-01-2001 00:00:00", "5|<null>|<null>", "7|<null>|10-03-2005 02:40:00"}},
      // Items of people that are not there, before, between and after.
      {kPeople + kBase +
           "INSERT INTO ABPerson VALUES (3, 'A', NULL), (9, 'B', NULL);"
           "INSERT INTO ABMultiValue VALUES (1, 1, 3, 1, 'x'), (2, 3, 4, 1, 'a@b'),"
           " (3, 5, 3, NULL, 'y'), (4, 9, 22, 7, 'u'), (5, 12, 3, 1, 'z');",
       0,
       {"3|A|<null>|2|_$!<Home>!$_|a@b", "9|B|<null>|3|<null>|u"}},
      // Accounts from their entries (none: both empty), dates, unknown properties, a null
      // value, and an address from its entries.
      {kPeople + kBase +
           "INSERT INTO ABPerson VALUES (1, 'A', NULL);"
           "INSERT INTO ABMultiValue VALUES (1, 1, 13, NULL, NULL), (2, 1, 46, 1, NULL),"
           " (3, 1, 12, 1, '86400'), (4, 1, 12, NULL, 'later'), (5, 1, 99, NULL, NULL),"
           " (6, 1, 5, 1, NULL);"
           "INSERT INTO ABMultiValueEntry VALUES (1, 1, 'Skype'), (1, 2, 'ann'), (6, 3, 'Oslo'),"
           " (6, 99, 'stray');",
       0,
       {"1|A|<null>|5|Skype|ann|7|||6|_$!<Home>!$_|01-02-2001 00:00:00|6|<null>|later|0|<null>|"
        "|_$!<Home>!$_|<null>|Oslo|<null>|<null>|<null>"}},
      // Only ABPerson, with none of the optional columns.
      {"CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY); INSERT INTO ABPerson VALUES (4);",
       0,
       {"4|<null>|<null>"}},
      {"CREATE TABLE Other (x);", kVeldrakeBackupStoreUnreadable, {}},
      // A view in a table's place would be a query without end.
      {"CREATE VIEW ABPerson AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
       " SELECT x AS ROWID FROM c;",
       kVeldrakeBackupStoreUnreadable,
       {}},
      {kPeople + "CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, property INTEGER);"
                 "INSERT INTO ABPerson VALUES (1, 'A', NULL);",
       kVeldrakeBackupStoreUnreadable,
       {}},
  };
  for (const auto& row : table) ExpectRead(row.sql, row.result, row.want);
}

TEST(AddressBookTest, TheCallbackStopsTheExport) {
  Db db;
  WriteBook(db.db, devicesim::GenerateAddressBook(5, 9));
  const Read read = Deliver(db.db, {0, -1});
  EXPECT_EQ(read.result, kVeldrakeBackupStopped);
  EXPECT_EQ(read.seen.size(), 2u);
}

}  // namespace
