// AddressBook: the phone's address book (AddressBook.sqlitedb) as QX::Contact records,
// filled exactly as the sync route fills them from the same book: the same texts (the
// phone's label texts as they are), birthdays and item dates in the birthday's form,
// instant messaging and social profiles with label = service and value = user.
//
// Contacts go in ascending person id, a person's items in the phone's order (by their
// row). Two queries stream joined, ordered rows (people by ROWID; multi-values by person
// and row, each with its label and its entries), merged as they come, so memory stays
// flat in the book's size. The columns are read from the database rather than assumed.
//
// Thread contract: runs on the caller's thread; `db` is the caller's and stays open.
#ifndef VELDRAKE_BACKUP_ADDRESSBOOK_H_
#define VELDRAKE_BACKUP_ADDRESSBOOK_H_

#include <cstdint>
#include <functional>
#include <string>

#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace QX {
struct Contact;
}

namespace veldrake::backup {

// What ABPerson says of a person beside the record: the store it lives in and its dates.
struct PersonFacts {
  bool hasStore = false;
  int64_t store = 0;            // ABStore's ROWID
  int64_t created = INT64_MIN;  // seconds since 1970-01-01 UTC; INT64_MIN unknown
  int64_t modified = INT64_MIN;
};

// Takes each contact with its facts; 0 to go on, -1 to stop.
using ContactSink = std::function<int(QX::Contact* contact, const PersonFacts& facts)>;

// Streams each contact to `sink`. kVeldrakeBackupOk, kVeldrakeBackupStopped, or
// kVeldrakeBackupStoreUnreadable with *message (no ABPerson table, a damaged database).
int StreamContacts(sqlite3* db, const ContactSink& sink, std::string* message);

// Lends each contact to `callback`. kVeldrakeBackupOk, kVeldrakeBackupStopped, or
// kVeldrakeBackupStoreUnreadable with *message (no ABPerson table, a damaged database).
int DeliverContacts(sqlite3* db, VeldrakeRecordCallback callback, std::string* message);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_ADDRESSBOOK_H_
