// ItemCursor: the multi-values of the address book (phone numbers, e-mail addresses,
// addresses, dates, messaging accounts, ...), one ordered stream of joined rows (a
// multi-value with its label, once per entry it has), handed out person by person.
//
// Thread contract: one owner, one thread, one connection.
#ifndef VELDRAKE_BACKUP_ADDRESSBOOKITEMS_H_
#define VELDRAKE_BACKUP_ADDRESSBOOKITEMS_H_

#include <cstdint>

#include "SqlStatement.h"

struct sqlite3;

namespace QX {
struct Contact;
}

namespace veldrake::backup {

class ItemCursor {
 public:
  explicit ItemCursor(sqlite3* db);

  // False once the query failed to prepare or a step failed.
  bool ok() const { return ok_; }

  // Adds to `contact` the items of the person with row `person`, skipping those of lower
  // rows (items whose person is gone). REQUIRES: calls come in ascending `person`.
  // False on a failed step.
  bool Fill(QX::Contact* contact, int64_t person);

 private:
  void Advance();
  void TakeItem(QX::Contact* contact);

  SqlStatement statement_;
  bool ok_;
  bool hasRow_ = false;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_ADDRESSBOOKITEMS_H_
