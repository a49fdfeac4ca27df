// notes.sqlite: one ordered query over the notes and their HTML bodies, streamed.
#include "LegacyNotes.h"

#include <sqlite3.h>

#include <memory>
#include <set>
#include <string>

#include "LegacyNotesHtml.h"
#include "NoteRecord.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

enum Column { kId, kTitle, kModified, kCreated, kBody };

// The query over what this store's tables have; "" when it is no legacy note store.
std::string LegacyQuery(sqlite3* db) {
  std::set<std::string> notes, bodies;
  if (!TableColumns(db, "ZNOTE", &notes) || !TableColumns(db, "ZNOTEBODY", &bodies)) return "";
  if (notes.count("Z_PK") == 0 || bodies.count("ZCONTENT") == 0) return "";
  std::string body;
  if (notes.count("ZBODY") != 0)
    body = "(SELECT b.ZCONTENT FROM ZNOTEBODY AS b WHERE b.Z_PK = n.ZBODY)";
  else if (bodies.count("ZOWNER") != 0)
    body =
        "(SELECT b.ZCONTENT FROM ZNOTEBODY AS b WHERE b.ZOWNER = n.Z_PK ORDER BY b.Z_PK LIMIT 1)";
  else
    return "";
  std::string sql = "SELECT n.Z_PK, " + FirstColumn(notes, "n", {"ZTITLE"}) + ", " +
                    FirstColumn(notes, "n", {"ZMODIFICATIONDATE"}) + ", " +
                    FirstColumn(notes, "n", {"ZCREATIONDATE"}) + ", " + body + " FROM ZNOTE AS n";
  if (notes.count("ZDELETEDFLAG") != 0) sql += " WHERE COALESCE(n.ZDELETEDFLAG, 0) = 0";
  return sql + " ORDER BY n.Z_PK";
}

// One row: delivered, skipped with a warning, or the callback's stop.
int DeliverRow(sqlite3_stmt* row, VeldrakeRecordCallback callback, const Warnings& warnings,
               size_t bodyCap) {
  const int64_t id = sqlite3_column_int64(row, kId);
  const std::string stored = ColumnText(row, kTitle);
  std::string title, content;
  if (static_cast<size_t>(sqlite3_column_bytes(row, kBody)) > bodyCap ||
      !RenderLegacyNoteHtml(ColumnText(row, kBody), bodyCap, &title, &content)) {
    warnings.Say(TooLarge(id, stored, bodyCap));
    return kVeldrakeBackupOk;
  }
  int64_t date = ColumnDate(row, kModified);
  if (date == -1) date = ColumnDate(row, kCreated);
  return LendNote(callback, stored.empty() ? title : stored, content, date);
}

}  // namespace

int ReadLegacyNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings,
                    size_t bodyCap) {
  const std::string sql = LegacyQuery(db);
  if (sql.empty()) return kVeldrakeBackupStoreUnreadable;
  return ForEachRow(
      db, sql, [&](sqlite3_stmt* row) { return DeliverRow(row, callback, warnings, bodyCap); });
}

}  // namespace veldrake::backup
