// The account filter behind --account and its list of the accounts there are.
#include "Accounts.h"

#include <cctype>

namespace host {
namespace {

// The name under which people with no known account are counted.
const char kUnknownAccount[] = "(unknown account)";

bool SameIgnoringCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

}  // namespace

std::string AccountFilter::AccountName(const Contact& contact) {
  if (contact.account && !contact.account->empty()) return *contact.account;
  if (contact.accountType && !contact.accountType->empty()) return *contact.accountType;
  return kUnknownAccount;
}

bool AccountFilter::Admit(const Contact& contact) {
  ++people_[AccountName(contact)];
  const bool match = !active() ||
                     (contact.account && SameIgnoringCase(*contact.account, wanted_)) ||
                     (contact.accountType && SameIgnoringCase(*contact.accountType, wanted_));
  if (match) ++admitted_;
  return match;
}

std::string AccountFilter::Listing() const {
  std::string known;
  for (const auto& entry : people_) {
    if (entry.first == kUnknownAccount) continue;
    known += (known.empty() ? "" : ", ") + entry.first + " (" + std::to_string(entry.second) + ")";
  }
  if (known.empty())
    return "no account is known here (only a backup says which account a person is in: "
           "--backup PATH)";
  return "the accounts are " + known;
}

}  // namespace host
