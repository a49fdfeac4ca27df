// The record, date and schema steps both note stores share.
#include "NoteRecord.h"

#include <cstring>
#include <memory>

#include "NoteText.h"
#include "PListNoteAnalysis.h"
#include "QX/Notes.h"
#include "RecordText.h"
#include "prop/prop.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {

int LendNote(VeldrakeRecordCallback callback, const std::string& subject,
             const std::string& content, int64_t dateModified) {
  QX::Notes note;
  note.subject = NewTextFromUtf8(subject);
  note.content = NewTextFromUtf8(content);
  note.dateModified = dateModified;
  return callback(&note) == PListNoteAnalysis::kHostStops ? kVeldrakeBackupStopped
                                                          : kVeldrakeBackupOk;
}

int64_t ColumnDate(sqlite3_stmt* statement, int column) {
  if (sqlite3_column_type(statement, column) == SQLITE_NULL) return PListNoteAnalysis::kNoDate;
  return PListNoteAnalysis::TruncateDate(sqlite3_column_double(statement, column));
}

std::string ColumnText(sqlite3_stmt* statement, int column) {
  const unsigned char* text = sqlite3_column_text(statement, column);
  if (text == nullptr) return std::string();
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<size_t>(sqlite3_column_bytes(statement, column)));
}

std::string NoteName(int64_t id, const std::string& title) {
  std::string name = "note " + std::to_string(id);
  if (title.empty()) return name;
  name += " \"";
  for (char c : title) name += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  return name + "\"";
}

std::string TooLarge(int64_t id, const std::string& title, size_t cap) {
  constexpr size_t kMiB = size_t{1} << 20;
  const std::string size =
      cap % kMiB == 0 ? std::to_string(cap / kMiB) + " MiB" : std::to_string(cap) + " bytes";
  return NoteName(id, title) + " is larger than " + size + "; skipped";
}

bool TableColumns(sqlite3* db, const char* table, std::set<std::string>* columns) {
  columns->clear();
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT name FROM pragma_table_info(?1)", -1, &raw, nullptr) !=
      SQLITE_OK) {
    return false;
  }
  std::unique_ptr<sqlite3_stmt, StatementCloser> statement(raw);
  sqlite3_bind_text(raw, 1, table, -1, SQLITE_STATIC);
  int status = SQLITE_ROW;
  while ((status = sqlite3_step(raw)) == SQLITE_ROW) columns->insert(ColumnText(raw, 0));
  return status == SQLITE_DONE;
}

std::string FirstColumn(const std::set<std::string>& columns, const char* alias,
                        std::initializer_list<const char*> candidates) {
  for (const char* candidate : candidates) {
    if (columns.count(candidate) != 0) return std::string(alias) + "." + candidate;
  }
  return "NULL";
}

int StoreFailure(int sqliteStatus) {
  return (sqliteStatus & 0xFF) == SQLITE_NOMEM ? kVeldrakeBackupNoMemory
                                               : kVeldrakeBackupStoreUnreadable;
}

int ForEachRow(sqlite3* db, const std::string& sql,
               const std::function<int(sqlite3_stmt*)>& deliver) {
  sqlite3_stmt* raw = nullptr;
  const int prepared = sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr);
  if (prepared != SQLITE_OK) return StoreFailure(prepared);
  std::unique_ptr<sqlite3_stmt, StatementCloser> statement(raw);
  int status = SQLITE_ROW;
  while ((status = sqlite3_step(raw)) == SQLITE_ROW) {
    const int result = deliver(raw);
    if (result != kVeldrakeBackupOk) return result;
  }
  return status == SQLITE_DONE ? kVeldrakeBackupOk : StoreFailure(status);
}

}  // namespace veldrake::backup
