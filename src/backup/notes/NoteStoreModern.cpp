// NoteStore.sqlite: one ordered query over the notes with their folder and body, streamed
// row by row, so only one body is in memory at a time.
#include "NoteStoreModern.h"

#include <sqlite3.h>

#include <memory>
#include <set>
#include <string>

#include "NoteInflate.h"
#include "NoteMarkdown.h"
#include "NoteProto.h"
#include "NoteRecord.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr int kTrashFolderType = 1;  // the "Recently Deleted" folder
const char kObjects[] = "ZICCLOUDSYNCINGOBJECT";
const char kNoteData[] = "ZICNOTEDATA";

// Result columns of the query.
enum Column { kId, kTitle, kModified, kCreated, kLocked, kData };

// The query over what this store's tables have; "" when it is no note store.
std::string NotesQuery(sqlite3* db, int* failure) {
  std::set<std::string> objects, data;
  if (!TableColumns(db, kObjects, &objects) || !TableColumns(db, kNoteData, &data)) {
    *failure = kVeldrakeBackupStoreUnreadable;
    return "";
  }
  const bool hasBody =
      data.count("ZDATA") != 0 && (objects.count("ZNOTEDATA") != 0 || data.count("ZNOTE") != 0);
  if (objects.count("Z_PK") == 0 || objects.count("Z_ENT") == 0 || !hasBody) {
    *failure = kVeldrakeBackupStoreUnreadable;
    return "";
  }
  // Newer systems moved the note's own dates to later-numbered columns; the first listed
  // is the newest form.
  std::string sql =
      "SELECT n.Z_PK, " + FirstColumn(objects, "n", {"ZTITLE1", "ZTITLE"}) + ", " +
      FirstColumn(objects, "n", {"ZMODIFICATIONDATE1", "ZMODIFICATIONDATE"}) + ", " +
      FirstColumn(objects, "n", {"ZCREATIONDATE3", "ZCREATIONDATE1", "ZCREATIONDATE"}) + ", " +
      FirstColumn(objects, "n", {"ZISPASSWORDPROTECTED"}) + ", ";
  sql +=
      objects.count("ZNOTEDATA") != 0
          ? "(SELECT d.ZDATA FROM ZICNOTEDATA AS d WHERE d.Z_PK = n.ZNOTEDATA)"
          : "(SELECT d.ZDATA FROM ZICNOTEDATA AS d WHERE d.ZNOTE = n.Z_PK ORDER BY d.Z_PK LIMIT 1)";
  sql += " FROM ZICCLOUDSYNCINGOBJECT AS n";
  const bool folders = objects.count("ZFOLDER") != 0 && objects.count("ZFOLDERTYPE") != 0;
  if (folders) sql += " LEFT JOIN ZICCLOUDSYNCINGOBJECT AS f ON f.Z_PK = n.ZFOLDER";
  sql += " WHERE n.Z_ENT = (SELECT Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'ICNote')";
  if (objects.count("ZMARKEDFORDELETION") != 0) sql += " AND COALESCE(n.ZMARKEDFORDELETION, 0) = 0";
  if (folders) sql += " AND COALESCE(f.ZFOLDERTYPE, 0) <> " + std::to_string(kTrashFolderType);
  return sql + " ORDER BY n.Z_PK";
}

enum class BodyRead { kOk, kTooLarge, kDamaged };

// Inflates, parses and renders one body; the rendered text is held to the same cap as
// the inflated bytes.
BodyRead ReadBody(const void* blob, size_t bytes, size_t cap, std::string* title,
                  std::string* content) {
  std::string inflated;
  const Inflated status = InflateNoteBody(static_cast<const uint8_t*>(blob), bytes, cap, &inflated);
  if (status == Inflated::kTooLarge) return BodyRead::kTooLarge;
  NoteBody body;
  if (status != Inflated::kOk ||
      !ParseNoteBody(reinterpret_cast<const uint8_t*>(inflated.data()), inflated.size(), &body)) {
    return BodyRead::kDamaged;
  }
  inflated = std::string();  // the parsed body holds the text now
  return RenderNoteBody(body, cap, title, content) ? BodyRead::kOk : BodyRead::kTooLarge;
}

// One row: delivered, skipped with a warning, or the callback's stop.
int DeliverRow(sqlite3_stmt* row, VeldrakeRecordCallback callback, const Warnings& warnings,
               size_t bodyCap) {
  const int64_t id = sqlite3_column_int64(row, kId);
  const std::string storedTitle = ColumnText(row, kTitle);
  if (sqlite3_column_int64(row, kLocked) != 0) {
    warnings.Say(NoteName(id, storedTitle) + " is locked with a password; skipped");
    return kVeldrakeBackupOk;
  }
  int64_t date = ColumnDate(row, kModified);
  if (date == -1) date = ColumnDate(row, kCreated);
  std::string title, content;
  const void* blob = sqlite3_column_blob(row, kData);
  const auto bytes = static_cast<size_t>(sqlite3_column_bytes(row, kData));
  const BodyRead read =
      blob == nullptr ? BodyRead::kOk : ReadBody(blob, bytes, bodyCap, &title, &content);
  if (read == BodyRead::kTooLarge) {
    warnings.Say(TooLarge(id, storedTitle, bodyCap));
    return kVeldrakeBackupOk;
  }
  if (read == BodyRead::kDamaged) {
    warnings.Say(NoteName(id, storedTitle) + " has a damaged body; skipped");
    return kVeldrakeBackupOk;
  }
  return LendNote(callback, storedTitle.empty() ? title : storedTitle, content, date);
}

}  // namespace

int ReadModernNotes(sqlite3* db, VeldrakeRecordCallback callback, const Warnings& warnings,
                    size_t bodyCap) {
  int failure = kVeldrakeBackupOk;
  const std::string sql = NotesQuery(db, &failure);
  if (sql.empty()) return failure;
  return ForEachRow(
      db, sql, [&](sqlite3_stmt* row) { return DeliverRow(row, callback, warnings, bodyCap); });
}

}  // namespace veldrake::backup
