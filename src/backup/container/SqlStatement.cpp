// SQLite statement and column helpers.
#include "SqlStatement.h"

#include <sqlite3.h>

#include "RecordText.h"

namespace veldrake::backup {

SqlStatement::SqlStatement(sqlite3* db, const std::string& sql) {
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
    sqlite3_finalize(statement_);
    statement_ = nullptr;
  }
}

SqlStatement::~SqlStatement() {
  sqlite3_finalize(statement_);
}

int SqlStatement::Step() {
  return statement_ != nullptr ? sqlite3_step(statement_) : SQLITE_MISUSE;
}

Columns::Columns(sqlite3* db, const char* table) {
  // Tables only: a view of the same name could run a query without end.
  SqlStatement info(db,
                    "SELECT name FROM pragma_table_info(?1) WHERE (SELECT type FROM sqlite_master"
                    " WHERE name = ?1 COLLATE NOCASE) = 'table'");
  if (!info.ok()) return;
  sqlite3_bind_text(info.get(), 1, table, -1, SQLITE_STATIC);
  while (info.Step() == SQLITE_ROW) {
    const char* name = ColumnUtf8(info.get(), 0);
    if (name != nullptr) names_.insert(name);
  }
}

std::string Columns::OrNull(const char* column, const char* alias) const {
  if (!Has(column)) return "NULL";
  std::string quoted = "\"" + std::string(column) + "\"";
  return alias != nullptr ? std::string(alias) + "." + quoted : quoted;
}

const char* ColumnUtf8(sqlite3_stmt* row, int column) {
  return reinterpret_cast<const char*>(sqlite3_column_text(row, column));
}

bool ColumnSeconds(sqlite3_stmt* row, int column, double* out) {
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
      *out = sqlite3_column_double(row, column);
      return true;
    case SQLITE_TEXT:
      return ParseSeconds(ColumnUtf8(row, column), out);
    default:
      return false;
  }
}

}  // namespace veldrake::backup
