// SqlStatement and Columns: small owners around SQLite's statements, and what a table's
// columns are, so a query names only columns the database has.
//
// Thread contract: one owner, one thread, one connection.
#ifndef VELDRAKE_BACKUP_SQLSTATEMENT_H_
#define VELDRAKE_BACKUP_SQLSTATEMENT_H_

#include <set>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace veldrake::backup {

class SqlStatement {
 public:
  SqlStatement(sqlite3* db, const std::string& sql);
  ~SqlStatement();
  SqlStatement(const SqlStatement&) = delete;
  SqlStatement& operator=(const SqlStatement&) = delete;

  bool ok() const { return statement_ != nullptr; }
  sqlite3_stmt* get() const { return statement_; }
  // sqlite3_step's result; SQLITE_MISUSE when the statement did not prepare.
  int Step();

 private:
  sqlite3_stmt* statement_ = nullptr;
};

// The columns of a table (a real table: a view is read as missing).
class Columns {
 public:
  Columns(sqlite3* db, const char* table);

  bool Exists() const { return !names_.empty(); }
  bool Has(const char* column) const { return names_.count(column) != 0; }
  // `table.column` quoted when the table has it, else NULL, for a SELECT list.
  std::string OrNull(const char* column, const char* alias = nullptr) const;

 private:
  std::set<std::string> names_;
};

// The text of a column, or null for SQL NULL.
const char* ColumnUtf8(sqlite3_stmt* row, int column);
// A column holding seconds (an integer, a real or a decimal text); false otherwise.
bool ColumnSeconds(sqlite3_stmt* row, int column, double* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_SQLSTATEMENT_H_
