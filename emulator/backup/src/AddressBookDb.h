// AddressBookDb: the phone's AddressBook.sqlitedb, filled from the emulator's book.
//
// The database is in write-ahead-log mode, as on a phone; the last `walPeople` people are
// only in its -wal file (the main file holds the rest, checkpointed), and the -wal and
// -shm files stay beside it, the way a backup of the live database finds them.
//
// Thread contract: touches only the files at `path`, `path`-wal and `path`-shm.
#ifndef DEVICESIM_BACKUP_ADDRESSBOOKDB_H_
#define DEVICESIM_BACKUP_ADDRESSBOOKDB_H_

#include <cstddef>
#include <string>

#include "devicesim/AddressBook.h"

namespace devicesim::backup {

bool WriteAddressBookDb(const AddressBook& book, size_t walPeople, const std::string& path,
                        std::string* error);

// A time as the phone's text columns keep it: seconds since 2001-01-01 UTC in decimal,
// without a fraction when there is none ("-31622400", "12.5").
std::string SecondsText(double seconds);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_ADDRESSBOOKDB_H_
