// NoteRecord: what both note stores share once a note has been read: lending the record
// to the host, the date's form, naming a note in a warning, and reading the columns a
// store's tables have.
#ifndef VELDRAKE_BACKUP_NOTERECORD_H_
#define VELDRAKE_BACKUP_NOTERECORD_H_

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>

#include "veldrake/RecordCallback.h"

namespace veldrake::backup {

// Makes a QX::Notes of these values, lends it to `callback` and destroys it:
// kVeldrakeBackupStopped when the callback answered -1, else kVeldrakeBackupOk.
int LendNote(VeldrakeRecordCallback callback, const std::string& subject,
             const std::string& content, int64_t dateModified);

// Column `column` of the current row as a record date (whole seconds since 2001, cut
// toward zero), or -1 when it is NULL.
int64_t ColumnDate(sqlite3_stmt* statement, int column);
// Column `column` of the current row as text; "" when NULL.
std::string ColumnText(sqlite3_stmt* statement, int column);

// "note 12 \"Shopping\"" for a warning line: control characters of a title become spaces
// so the warning stays one line.
std::string NoteName(int64_t id, const std::string& title);

// The warning for a note whose body or rendered text passes `cap` bytes.
std::string TooLarge(int64_t id, const std::string& title, size_t cap);

// The names of `table`'s columns (none when the table is missing); false on a database
// error.
bool TableColumns(sqlite3* db, const char* table, std::set<std::string>* columns);
// "<alias>.<column>" for the first of `candidates` in `columns`, else "NULL".
std::string FirstColumn(const std::set<std::string>& columns, const char* alias,
                        std::initializer_list<const char*> candidates);

// A failed SQLite call as a result code: kVeldrakeBackupNoMemory or
// kVeldrakeBackupStoreUnreadable.
int StoreFailure(int sqliteStatus);

// Runs `sql` and hands each row to `deliver` until it answers other than
// kVeldrakeBackupOk: that answer, a store failure, or kVeldrakeBackupOk when the rows ran
// out.
int ForEachRow(sqlite3* db, const std::string& sql,
               const std::function<int(sqlite3_stmt*)>& deliver);

// Finishes a statement on every path out.
struct StatementCloser {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTERECORD_H_
