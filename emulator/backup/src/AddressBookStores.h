// AddressBookStores: the accounts and groups of the emulator's book in the address book
// database. The phone's own store is ABStore row 1 (the schema makes it); each other
// account a card names gets an ABAccount row and a store of the address book's source
// type: Exchange 1, and CardDAV 4 for iCloud, Google and other CardDAV servers, which the
// phone tells apart only by the store's name. Each group name (CATEGORIES) is one ABGroup
// row in the store of its first member, its people in ABGroupMembers (member type 0).
//
// Thread contract: touches only the given database.
#ifndef DEVICESIM_BACKUP_ADDRESSBOOKSTORES_H_
#define DEVICESIM_BACKUP_ADDRESSBOOKSTORES_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "Sqlite.h"
#include "devicesim/AddressBook.h"

namespace devicesim::backup {

class BookStores {
 public:
  // Writes ABAccount and ABStore rows for every account of `book`.
  bool Write(Db& db, const AddressBook& book, std::string* error);
  // The ABStore row of the person's account. REQUIRES: Write succeeded for its book.
  int64_t Of(const Person& person) const;

 private:
  std::map<std::pair<std::string, std::string>, int64_t> ids_;  // (kind, name) -> store
};

// Writes ABGroup and ABGroupMembers for the groups of `book`.
bool WriteGroups(Db& db, const AddressBook& book, const BookStores& stores, std::string* error);

// The name a store of `account` has on the phone.
std::string StoreName(const Account& account);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_ADDRESSBOOKSTORES_H_
