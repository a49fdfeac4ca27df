// CsvWriter: contacts as one RFC 4180 table, one row per contact after a header row.
//
// Repeated items get numbered column groups ("Phone 1 Label", "Phone 1 Value", ...) as
// many as the contact with the most of them needs. Labels are shown bare ("Mobile"), dates
// as YYYY-MM-DD. A backup's groups fill "Groups" (joined by " ::: ") and its account
// "Account". Cells holding a comma, quote or line break are quoted; rows end in CRLF.
//
// Ownership: writes to a stream the caller owns. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_CSVWRITER_H_
#define VELDRAKE_HOST_CSVWRITER_H_

#include <ostream>
#include <string>
#include <vector>

#include "ContactTable.h"
#include "Records.h"

namespace host {

class CsvWriter {
 public:
  // `bom`: the table starts with a UTF-8 byte order mark, for spreadsheet programs that
  // otherwise read it in a legacy code page.
  static void Write(std::ostream& out, const std::vector<Contact>& contacts, bool bom = false);
  // The table's parts, for writing it one contact at a time (ContactTable).
  static TableLayout Layout();
  // One cell, quoted when it has to be.
  static std::string Cell(const std::string& text);
  // One row of cells, ended by CRLF.
  static void Row(std::ostream& out, const std::vector<std::string>& cells);
  // The byte order mark --bom asks for, when it does.
  static void StartTable(std::ostream& out, bool bom);
};

// Several values in one cell, joined by " ::: " as the big address books' tables do.
std::string JoinValues(const std::vector<std::string>& values);

}  // namespace host

#endif  // VELDRAKE_HOST_CSVWRITER_H_
