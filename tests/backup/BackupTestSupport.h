// Helpers shared by the backup tests: a private scratch folder, an address book put into
// the phone's database schema, the same book's records as the sync route delivers them,
// and backups written by make_backup.py, the independent writer.
#ifndef VELDRAKE_TESTS_BACKUP_BACKUPTESTSUPPORT_H_
#define VELDRAKE_TESTS_BACKUP_BACKUPTESTSUPPORT_H_

#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../contacts/ContactTestSupport.h"
#include "ValueBuild.h"
#include "devicesim/AddressBook.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Records.h"

namespace backuptest {

// A folder of its own under the system's temporary folder, removed with its contents.
class TempDir {
 public:
  TempDir() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/bkt-XXXXXX";
    path_ = mkdtemp(&pattern[0]) ? pattern : "";
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline std::string Seconds(double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", seconds);
  return text;
}

// Runs one statement with text parameters (an empty optional-like "\x01" binds NULL).
inline void Exec(sqlite3* db, const std::string& sql, const std::vector<std::string>& values = {}) {
  sqlite3_stmt* statement = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
  for (size_t i = 0; i < values.size(); ++i) {
    if (values[i] == "\x01")
      sqlite3_bind_null(statement, static_cast<int>(i + 1));
    else
      sqlite3_bind_text(statement, static_cast<int>(i + 1), values[i].c_str(), -1,
                        SQLITE_TRANSIENT);
  }
  EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE) << sql;
  sqlite3_finalize(statement);
}

constexpr const char* kNull = "\x01";

inline std::string OrNull(const std::string& text) {
  return text.empty() ? kNull : text;
}

// The address book's tables as the phone has them (the columns the reader uses and some
// it does not).
inline void CreateBookSchema(sqlite3* db) {
  for (const char* sql :
       {"CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, First TEXT, Last TEXT,"
        " Middle TEXT, FirstPhonetic TEXT, MiddlePhonetic TEXT, LastPhonetic TEXT,"
        " Organization TEXT, Department TEXT, Note TEXT, Kind INTEGER, Birthday TEXT,"
        " JobTitle TEXT, Nickname TEXT, Prefix TEXT, Suffix TEXT)",
        "CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, record_id INTEGER,"
        " property INTEGER, identifier INTEGER, label INTEGER, value TEXT)",
        "CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value))",
        "CREATE TABLE ABMultiValueEntry (parent_id INTEGER, key INTEGER, value TEXT)",
        "CREATE TABLE ABMultiValueEntryKey (value TEXT, UNIQUE(value))"})
    Exec(db, sql);
}

// Puts the entries of one item's sub-values (address parts, service and user).
inline void PutEntries(sqlite3* db, const devicesim::Item& item) {
  std::vector<std::pair<const char*, const std::string*>> entries;
  if (item.property == devicesim::kAddress)
    entries = {{"Street", &item.street},
               {"City", &item.city},
               {"State", &item.state},
               {"ZIP", &item.postalCode},
               {"Country", &item.country}};
  else
    entries = {{"service", &item.service}, {"username", &item.user}};
  for (const auto& entry : entries) {
    if (entry.second->empty()) continue;
    Exec(db, "INSERT OR IGNORE INTO ABMultiValueEntryKey (value) VALUES (?1)", {entry.first});
    Exec(db,
         "INSERT INTO ABMultiValueEntry (parent_id, key, value) SELECT (SELECT max(UID) FROM"
         " ABMultiValue), k.ROWID, ?2 FROM ABMultiValueEntryKey k WHERE k.value = ?1",
         {entry.first, *entry.second});
  }
}

// Writes `book` into the phone's schema: people under their ids, items in their order.
inline void WriteBook(sqlite3* db, const devicesim::AddressBook& book) {
  CreateBookSchema(db);
  Exec(db, "BEGIN");
  for (const devicesim::Person& p : book.people) {
    Exec(db,
         "INSERT INTO ABPerson (ROWID, First, Last, Middle, Note, Organization, Department,"
         " JobTitle, FirstPhonetic, LastPhonetic, Nickname, Suffix, Birthday)"
         " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)",
         {std::to_string(p.id), OrNull(p.firstName), OrNull(p.lastName), OrNull(p.middleName),
          OrNull(p.notes), OrNull(p.companyName), OrNull(p.department), OrNull(p.jobTitle),
          OrNull(p.firstNameYomi), OrNull(p.lastNameYomi), OrNull(p.nickname), OrNull(p.suffix),
          p.hasBirthday ? Seconds(p.birthday) : kNull});
    for (const devicesim::Item& item : p.items) {
      const bool entries = item.property == devicesim::kAddress ||
                           item.property == devicesim::kInstantMessage ||
                           item.property == devicesim::kSocialProfile;
      if (!item.label.empty())
        Exec(db, "INSERT OR IGNORE INTO ABMultiValueLabel (value) VALUES (?1)", {item.label});
      Exec(db,
           "INSERT INTO ABMultiValue (record_id, property, label, value) VALUES (?1, ?2,"
           " (SELECT ROWID FROM ABMultiValueLabel WHERE value = ?3), ?4)",
           {std::to_string(p.id), std::to_string(item.property), OrNull(item.label),
            entries        ? kNull
            : item.hasDate ? Seconds(item.date)
                           : item.value});
      if (entries) PutEntries(db, item);
    }
  }
  Exec(db, "COMMIT");
}

// What the sync route delivers for `book`, in its order.
inline std::vector<contacttest::SeenContact> SyncRoute(const devicesim::AddressBook& book) {
  PListContactAnalysis analysis;
  const std::string bytes = devicesim::WriteBinaryPlist(
      valuebuild::Array({devicesim::ContactBatch(book, 0, book.people.size())}));
  std::vector<char> copy(bytes.begin(), bytes.end());
  analysis.Analysis(copy.data(), static_cast<int>(copy.size()));
  contacttest::Recorder recorder;
  contacttest::gRecorder = &recorder;
  std::vector<QX::Contact*> unused;
  analysis.Combinations(unused, contacttest::Callback());
  contacttest::gRecorder = nullptr;
  return recorder.seen;
}

// The same contacts, compared whatever the order of the contacts or of their items: the
// sync route sorts a person's items by their keys as text, the backup keeps the phone's.
inline void ExpectSameCards(std::vector<contacttest::SeenContact> got,
                            std::vector<contacttest::SeenContact> want) {
  auto byId = [](const contacttest::SeenContact& a, const contacttest::SeenContact& b) {
    return a.id < b.id;
  };
  std::sort(got.begin(), got.end(), byId);
  std::sort(want.begin(), want.end(), byId);
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) {
    for (auto* c : {&got[i], &want[i]}) {
      std::sort(c->fields.begin(), c->fields.end());
      std::sort(c->addresses.begin(), c->addresses.end());
    }
    EXPECT_EQ(got[i].id, want[i].id);
    EXPECT_EQ(got[i].names, want[i].names) << "contact " << got[i].id;
    EXPECT_EQ(got[i].fields, want[i].fields) << "contact " << got[i].id;
    EXPECT_EQ(got[i].addresses, want[i].addresses) << "contact " << got[i].id;
  }
}

// Writes a backup with make_backup.py from `recipe` (JSON) under `dir`; true on success.
inline bool MakeBackup(const std::string& dir, const std::string& recipe) {
  const std::string recipePath = dir + "/recipe.json";
  std::ofstream(recipePath) << recipe;
  const std::string script =
      std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/tests/backup/make_backup.py";
  const std::string command = "python3 '" + script + "' '" + dir + "' < '" + recipePath + "'";
  const bool ok = std::system(command.c_str()) == 0;
  std::filesystem::remove(recipePath);
  return ok;
}

}  // namespace backuptest

#endif  // VELDRAKE_TESTS_BACKUP_BACKUPTESTSUPPORT_H_
