// ContactTable: a CSV table whose numbered column groups ("Phone 1", "Phone 2", ...) are
// as many as the contact with the most items of a kind needs, written with memory that
// does not grow with the book: each contact's cells go, unpadded and without photos, into
// a private temporary as the contact arrives; the last one known, the header and every row
// padded to the widest are written out.
//
// A row is a list of parts (the leading cells, then one part per kind of item); a part
// holds whole items of `units[part]` cells each.
//
// Ownership: owns the temporary it is given. Thread contract: one thread.
#ifndef VELDRAKE_HOST_CONTACTTABLE_H_
#define VELDRAKE_HOST_CONTACTTABLE_H_

#include <cstdio>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Records.h"

namespace host {

using TableParts = std::vector<std::vector<std::string>>;

struct TableLayout {
  std::vector<size_t> units;  // cells per item, per part
  // The header for `counts` items per part.
  std::function<std::vector<std::string>(const std::vector<size_t>& counts)> header;
  std::function<TableParts(const Contact&)> parts;
};

class ContactTable {
 public:
  // `spool`: a private temporary opened for update (null: every Add fails).
  ContactTable(TableLayout layout, std::FILE* spool);
  ~ContactTable();
  ContactTable(const ContactTable&) = delete;
  ContactTable& operator=(const ContactTable&) = delete;

  // False with *error when the temporary cannot take the row.
  bool Add(const Contact& contact, std::string* error);
  // The table whole (after a byte order mark when `bom`); false with *error.
  bool Finish(std::ostream& out, bool bom, std::string* error);

 private:
  bool Replay(std::ostream& out, std::string* error);

  TableLayout layout_;
  std::FILE* spool_;
  std::vector<size_t> counts_;
  size_t rows_ = 0;
};

// The table of `contacts` at once (for callers that hold them all), through an
// unnamed temporary; the stream fails if that cannot be made.
void WriteTable(std::ostream& out, const TableLayout& layout, const std::vector<Contact>& contacts,
                bool bom);

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTTABLE_H_
