// ABStore's rows as accounts.
#include "ContactAccounts.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>

#include "OneLine.h"
#include "SqlStatement.h"

namespace veldrake::backup {
namespace {

constexpr int64_t kSourceKindMask = 0xFFFFFF;  // below the search-only flag
enum SourceKind : int64_t { kLocal = 0, kExchange = 1, kMobileMe = 2, kCardDav = 4 };

bool Mentions(const std::string& name, const char* word) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower.find(word) != std::string::npos;
}

// What a person sees for a store that has no name of its own.
const char* UsualName(const char* type) {
  const std::string kind(type);
  if (kind == "local") return "On My iPhone";
  if (kind == "icloud") return "iCloud";
  if (kind == "exchange") return "Exchange";
  if (kind == "google") return "Google";
  if (kind == "carddav") return "CardDAV";
  return "Other";
}

}  // namespace

const char* AccountTypeOf(int64_t type, const std::string& name) {
  switch (type & kSourceKindMask) {
    case kLocal:
      return "local";
    case kExchange:
      return "exchange";
    case kMobileMe:
      return "icloud";
    case kCardDav:
      if (Mentions(name, "icloud")) return "icloud";
      if (Mentions(name, "google") || Mentions(name, "gmail")) return "google";
      return "carddav";
    default:
      return "other";
  }
}

AccountIndex::AccountIndex(sqlite3* db, const Warnings& warnings) {
  const Columns columns(db, "ABStore");
  if (!columns.Has("Type")) return;
  SqlStatement rows(db, "SELECT ROWID, " + columns.OrNull("Name") + ", Type FROM ABStore");
  while (rows.Step() == SQLITE_ROW) {
    const int64_t id = sqlite3_column_int64(rows.get(), 0);
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(rows.get(), 1));
    bool changed = false;
    const std::string name =
        OneLine(bytes, static_cast<size_t>(sqlite3_column_bytes(rows.get(), 1)), &changed);
    if (changed)
      warnings.Say("the name of account " + std::to_string(id) +
                   " holds line breaks, control characters or bytes that are not UTF-8;"
                   " they were replaced");
    Account account{name, AccountTypeOf(sqlite3_column_int64(rows.get(), 2), name)};
    // The phone shows its own store by one name, whatever the row calls it.
    if (account.name.empty() || std::string(account.type) == "local")
      account.name = UsualName(account.type);
    stores_[id] = account;
  }
}

const Account* AccountIndex::Find(int64_t store) const {
  const auto found = stores_.find(store);
  return found != stores_.end() ? &found->second : nullptr;
}

}  // namespace veldrake::backup
