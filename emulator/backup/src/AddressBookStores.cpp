// ABAccount, ABStore, ABGroup and ABGroupMembers.
#include "AddressBookStores.h"

#include <cstdio>
#include <vector>

namespace devicesim::backup {
namespace {

constexpr int64_t kLocalStore = 1;  // made with the schema
constexpr int kExchangeSource = 1;
constexpr int kCardDavSource = 4;
constexpr int kPersonMember = 0;

std::string AccountIdentifier(int64_t serial) {
  char text[48];
  std::snprintf(text, sizeof text, "ACC0A1D0-0000-4000-8000-%012llX",
                static_cast<unsigned long long>(serial));
  return text;
}

bool WriteStore(Db& db, const Account& account, int64_t* store, std::string* error) {
  Statement addAccount(db, "INSERT INTO ABAccount (AccountIdentifier, Enabled) VALUES (?, 1)");
  Statement addStore(db,
                     "INSERT INTO ABStore (Name, Type, AccountID, Enabled) VALUES (?, ?, ?, 1)");
  if (!addAccount.ok() || !addStore.ok()) {
    *error = db.Error();
    return false;
  }
  addAccount.Text(1, AccountIdentifier(static_cast<int64_t>(sqlite3_total_changes(db.handle()))));
  if (!addAccount.Run(error)) return false;
  addStore.Text(1, StoreName(account));
  addStore.Int(2, account.kind == "exchange" ? kExchangeSource : kCardDavSource);
  addStore.Int(3, sqlite3_last_insert_rowid(db.handle()));
  if (!addStore.Run(error)) return false;
  *store = sqlite3_last_insert_rowid(db.handle());
  return true;
}

}  // namespace

std::string StoreName(const Account& account) {
  if (!account.name.empty()) return account.name;
  if (account.kind == "icloud") return "iCloud";
  if (account.kind == "exchange") return "Exchange";
  if (account.kind == "google") return "Google";
  if (account.kind == "carddav") return "CardDAV";
  return "Local";
}

bool BookStores::Write(Db& db, const AddressBook& book, std::string* error) {
  for (const Person& person : book.people) {
    const Account& account = person.account;
    if (account.kind == "local" || ids_.count({account.kind, account.name}) != 0) continue;
    int64_t store = 0;
    if (!WriteStore(db, account, &store, error)) return false;
    ids_[{account.kind, account.name}] = store;
  }
  return true;
}

int64_t BookStores::Of(const Person& person) const {
  const auto found = ids_.find({person.account.kind, person.account.name});
  return found != ids_.end() ? found->second : kLocalStore;
}

bool WriteGroups(Db& db, const AddressBook& book, const BookStores& stores, std::string* error) {
  Statement group(db, "INSERT INTO ABGroup (Name, StoreID) VALUES (?, ?)");
  Statement member(db,
                   "INSERT INTO ABGroupMembers (group_id, member_type, member_id) VALUES (?,?,?)");
  if (!group.ok() || !member.ok()) {
    *error = db.Error();
    return false;
  }
  std::map<std::string, int64_t> ids;
  for (const Person& person : book.people) {
    for (const std::string& name : person.groups) {
      if (ids.count(name) == 0) {
        group.Text(1, name);
        group.Int(2, stores.Of(person));
        if (!group.Run(error)) return false;
        ids[name] = sqlite3_last_insert_rowid(db.handle());
      }
      member.Int(1, ids[name]);
      member.Int(2, kPersonMember);
      member.Int(3, person.id);
      if (!member.Run(error)) return false;
    }
  }
  return true;
}

}  // namespace devicesim::backup
