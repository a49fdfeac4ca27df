// NoteRowWriter: inserting one note's rows; the note row and body (NoteRows.cpp) and its
// attachments and inline objects (NoteObjects.cpp) share these.
//
// Thread contract: as StoreWriter's.
#ifndef DEVICESIM_BACKUP_NOTEROWWRITER_H_
#define DEVICESIM_BACKUP_NOTEROWWRITER_H_

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "NoteBody.h"
#include "NoteCrypto.h"
#include "NoteRows.h"

namespace devicesim::backup {

// One row to insert: column names and values, NULL where a value is empty.
struct Row {
  using Cell = std::variant<int64_t, double, std::string>;
  std::vector<std::pair<std::string, Cell>> cells;
  std::vector<bool> blob;
  void Put(const std::string& column, Cell value, bool isBlob = false) {
    cells.emplace_back(column, std::move(value));
    blob.push_back(isBlob);
  }
  void Seal(const Sealed& s) {
    Put("ZCRYPTOSALT", s.salt, true);
    Put("ZCRYPTOITERATIONCOUNT", static_cast<int64_t>(s.iterations));
    Put("ZCRYPTOWRAPPEDKEY", s.wrappedKey, true);
  }
};

// Inserts the row into `table`.
bool Insert(Db& db, const char* table, const Row& row, std::string* error);

struct NoteContext {
  StoreWriter& w;
  const Note& note;
  int64_t pk;
  std::string prefix;  // where the account's files go in the group folder
  bool locked;
};

// Sets *error to `what`, naming the note; returns false.
bool Fail(const NoteContext& c, const std::string& what, std::string* error);
// Writes an object's row (and its media row and file); *ref names it for the body.
bool WriteObject(NoteContext& c, const NoteObject& o, ObjectRef* ref, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEROWWRITER_H_
