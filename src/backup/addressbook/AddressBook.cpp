// People and their multi-values, streamed and merged.
#include "AddressBook.h"

#include <sqlite3.h>

#include <cmath>
#include <memory>

#include "AddressBookItems.h"
#include "QX/Contact.h"
#include "RecordText.h"
#include "SqlStatement.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

struct PersonColumn {
  const char* column;
  char* QX::Contact::*field;
};

// Column order is the query's: ROWID first, then these, then Birthday.
constexpr PersonColumn kPersonColumns[] = {
    {"First", &QX::Contact::firstName},
    {"Last", &QX::Contact::lastName},
    {"Middle", &QX::Contact::middleName},
    {"Note", &QX::Contact::notes},
    {"Organization", &QX::Contact::companyName},
    {"Department", &QX::Contact::department},
    {"JobTitle", &QX::Contact::jobTitle},
    {"FirstPhonetic", &QX::Contact::firstNameYomi},
    {"LastPhonetic", &QX::Contact::lastNameYomi},
    {"Nickname", &QX::Contact::nickname},
    {"Suffix", &QX::Contact::suffix},
};
constexpr int kPersonColumnCount = sizeof kPersonColumns / sizeof kPersonColumns[0];
constexpr int kBirthdayColumn = 1 + kPersonColumnCount;
constexpr int kStoreColumn = kBirthdayColumn + 1;
constexpr int kCreatedColumn = kStoreColumn + 1;
constexpr int kModifiedColumn = kCreatedColumn + 1;

constexpr double kUnixTo2001 = 978307200;
// Dates beyond a few thousand years are damage, not dates.
constexpr double kLatestSeconds = 1e11;

std::string PeopleQuery(sqlite3* db) {
  const Columns columns(db, "ABPerson");
  std::string sql = "SELECT ROWID";
  for (const PersonColumn& c : kPersonColumns) sql += ", " + columns.OrNull(c.column);
  for (const char* column : {"Birthday", "StoreID", "CreationDate", "ModificationDate"})
    sql += ", " + columns.OrNull(column);
  return sql + " FROM ABPerson ORDER BY ROWID";
}

// A date column (seconds since 2001) as seconds since 1970; INT64_MIN when there is none.
int64_t UnixSeconds(sqlite3_stmt* row, int column) {
  double seconds = 0;
  if (!ColumnSeconds(row, column, &seconds) || std::fabs(seconds) > kLatestSeconds)
    return INT64_MIN;
  return static_cast<int64_t>(std::floor(seconds + kUnixTo2001));
}

PersonFacts ReadFacts(sqlite3_stmt* row) {
  PersonFacts facts;
  facts.hasStore = sqlite3_column_type(row, kStoreColumn) == SQLITE_INTEGER;
  if (facts.hasStore) facts.store = sqlite3_column_int64(row, kStoreColumn);
  facts.created = UnixSeconds(row, kCreatedColumn);
  facts.modified = UnixSeconds(row, kModifiedColumn);
  return facts;
}

std::unique_ptr<QX::Contact> ReadPerson(sqlite3_stmt* row) {
  auto contact = std::make_unique<QX::Contact>();
  contact->id = static_cast<int32_t>(sqlite3_column_int64(row, 0));
  for (int i = 0; i < kPersonColumnCount; ++i)
    contact.get()->*kPersonColumns[i].field = NewTextFromUtf8(ColumnUtf8(row, 1 + i), true);
  double birthday = 0;
  if (ColumnSeconds(row, kBirthdayColumn, &birthday)) contact->birthday = NewDateText(birthday);
  return contact;
}

}  // namespace

int StreamContacts(sqlite3* db, const ContactSink& sink, std::string* message) {
  if (!Columns(db, "ABPerson").Exists()) {
    *message = "the address book has no ABPerson table";
    return kVeldrakeBackupStoreUnreadable;
  }
  SqlStatement people(db, PeopleQuery(db));
  ItemCursor items(db);
  if (!people.ok() || !items.ok()) {
    *message = "the address book cannot be read: " + std::string(sqlite3_errmsg(db));
    return kVeldrakeBackupStoreUnreadable;
  }
  int step;
  while ((step = people.Step()) == SQLITE_ROW) {
    std::unique_ptr<QX::Contact> contact = ReadPerson(people.get());
    if (!items.Fill(contact.get(), sqlite3_column_int64(people.get(), 0))) break;
    if (sink(contact.get(), ReadFacts(people.get())) == -1) return kVeldrakeBackupStopped;
  }
  if (step != SQLITE_DONE || !items.ok()) {
    *message = "the address book is damaged: " + std::string(sqlite3_errmsg(db));
    return kVeldrakeBackupStoreUnreadable;
  }
  return kVeldrakeBackupOk;
}

int DeliverContacts(sqlite3* db, VeldrakeRecordCallback callback, std::string* message) {
  return StreamContacts(
      db, [callback](QX::Contact* contact, const PersonFacts&) { return callback(contact); },
      message);
}

}  // namespace veldrake::backup
