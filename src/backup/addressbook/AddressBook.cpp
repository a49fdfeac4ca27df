// People and their multi-values, streamed and merged.
#include "AddressBook.h"

#include <sqlite3.h>

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

std::string PeopleQuery(sqlite3* db) {
  const Columns columns(db, "ABPerson");
  std::string sql = "SELECT ROWID";
  for (const PersonColumn& c : kPersonColumns) sql += ", " + columns.OrNull(c.column);
  return sql + ", " + columns.OrNull("Birthday") + " FROM ABPerson ORDER BY ROWID";
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

int DeliverContacts(sqlite3* db, VeldrakeRecordCallback callback, std::string* message) {
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
    if (callback(contact.get()) == -1) return kVeldrakeBackupStopped;
  }
  if (step != SQLITE_DONE || !items.ok()) {
    *message = "the address book is damaged: " + std::string(sqlite3_errmsg(db));
    return kVeldrakeBackupStoreUnreadable;
  }
  return kVeldrakeBackupOk;
}

}  // namespace veldrake::backup
