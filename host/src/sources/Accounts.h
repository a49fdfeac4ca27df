// Accounts: `--account NAME`, one account's people out of a backup's address book.
//
// A person matches when NAME is the name of the store they live in ("iCloud", an Exchange
// account's name) or its type ("icloud", "exchange"), compared without regard to case.
// Every person seen is counted under their account's name, so that a NAME that matches
// nobody can be answered with the accounts there are.
//
// Thread contract: one thread.
#ifndef VELDRAKE_HOST_ACCOUNTS_H_
#define VELDRAKE_HOST_ACCOUNTS_H_

#include <cstddef>
#include <map>
#include <string>

#include "Records.h"

namespace host {

class AccountFilter {
 public:
  // An empty `wanted` lets everyone through.
  explicit AccountFilter(std::string wanted) : wanted_(std::move(wanted)) {}

  bool active() const { return !wanted_.empty(); }
  // Counts the person; true when they belong to the wanted account.
  bool Admit(const Contact& contact);
  // How many people passed.
  size_t admitted() const { return admitted_; }
  // "iCloud (12), On My iPhone (3)", or a line saying no account is known.
  std::string Listing() const;

  // The name a person's account is shown by: the store's name, else its type.
  static std::string AccountName(const Contact& contact);

 private:
  std::string wanted_;
  std::map<std::string, size_t> people_;
  size_t admitted_ = 0;
};

}  // namespace host

#endif  // VELDRAKE_HOST_ACCOUNTS_H_
