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

#include <string>

#include "veldrake/RecordCallback.h"

struct sqlite3;

namespace veldrake::backup {

// Lends each contact to `callback`. kVeldrakeBackupOk, kVeldrakeBackupStopped, or
// kVeldrakeBackupStoreUnreadable with *message (no ABPerson table, a damaged database).
int DeliverContacts(sqlite3* db, VeldrakeRecordCallback callback, std::string* message);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_ADDRESSBOOK_H_
