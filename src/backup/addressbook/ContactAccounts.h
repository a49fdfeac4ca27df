// ContactAccounts: the stores of the address book (ABStore), each the account its people
// live in: the phone itself, iCloud, Exchange, Google or another CardDAV server. A store's
// kind comes from its Type (the address book's source types: local 0, Exchange 1, the
// old MobileMe 2, CardDAV 4; a search-only flag above them); a CardDAV store named like
// iCloud or Google is told apart by its name, since the phone keeps both as CardDAV.
//
// Thread contract: one owner, one thread; read once, then only looked up.
#ifndef VELDRAKE_BACKUP_CONTACTACCOUNTS_H_
#define VELDRAKE_BACKUP_CONTACTACCOUNTS_H_

#include <cstdint>
#include <map>
#include <string>

#include "Warnings.h"

struct sqlite3;

namespace veldrake::backup {

struct Account {
  std::string name;  // the store's name; the kind's usual name when it has none, and
                     // always for the phone's own store ("On My iPhone")
  const char* type;  // "local", "icloud", "exchange", "carddav", "google" or "other"
};

// The kind of a store of `type` named `name`.
const char* AccountTypeOf(int64_t type, const std::string& name);

class AccountIndex {
 public:
  // Reads ABStore; a book without it (or without Type) knows no accounts. A name that
  // had to be cleaned (OneLine) is told through `warnings`.
  AccountIndex(sqlite3* db, const Warnings& warnings);

  // The account of the store with ROWID `store`; null when there is no such store.
  const Account* Find(int64_t store) const;

 private:
  std::map<int64_t, Account> stores_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTACTACCOUNTS_H_
