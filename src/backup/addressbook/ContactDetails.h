// ContactDetails: the address book's contacts with what QX::Contact cannot hold: the
// account each lives in, its groups, its dates and its photo (VeldrakeContactDetails).
// The people stream as AddressBook.h streams them; stores and groups are read once before
// (a book has few), photos are merged in as the people come.
//
// Thread contract: runs on the caller's thread; the databases are the caller's.
#ifndef VELDRAKE_BACKUP_CONTACTDETAILS_H_
#define VELDRAKE_BACKUP_CONTACTDETAILS_H_

#include <string>

#include "Warnings.h"
#include "veldrake/BackupContacts.h"

struct sqlite3;

namespace veldrake::backup {

// Lends each contact and its details to `callback`. `images` is the images database, or
// null for no photos. Results as DeliverContacts.
int DeliverContactDetails(sqlite3* book, sqlite3* images, VeldrakeContactCallback callback,
                          void* context, const Warnings& warnings, std::string* message);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTACTDETAILS_H_
