// The store's entities, accounts and folders.
#include "NoteCatalog.h"

#include <sqlite3.h>

#include "NoteRecord.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

const char kObjects[] = "ZICCLOUDSYNCINGOBJECT";
const char kNoteData[] = "ZICNOTEDATA";

}  // namespace

int NoteCatalog::Load(sqlite3* db) {
  if (!TableColumns(db, kObjects, &objects_) || !TableColumns(db, kNoteData, &data_))
    return kVeldrakeBackupStoreUnreadable;
  if (objects_.count("Z_PK") == 0 || objects_.count("Z_ENT") == 0)
    return kVeldrakeBackupStoreUnreadable;
  int result = LoadEntities(db);
  if (result == kVeldrakeBackupOk) result = LoadAccounts(db);
  if (result == kVeldrakeBackupOk) result = LoadFolders(db);
  return result;
}

int NoteCatalog::LoadEntities(sqlite3* db) {
  return ForEachRow(db, "SELECT Z_NAME, Z_ENT FROM Z_PRIMARYKEY", [this](sqlite3_stmt* row) {
    entities_[ColumnText(row, 0)] = sqlite3_column_int(row, 1);
    return kVeldrakeBackupOk;
  });
}

int NoteCatalog::Entity(const char* name) const {
  const auto found = entities_.find(name);
  return found == entities_.end() ? -1 : found->second;
}

int NoteCatalog::LoadAccounts(sqlite3* db) {
  const std::string sql =
      "SELECT a.Z_PK, " + FirstColumn(objects_, "a", {"ZNAME"}) + ", " +
      FirstColumn(objects_, "a", {"ZIDENTIFIER"}) +
      " FROM ZICCLOUDSYNCINGOBJECT AS a WHERE a.Z_ENT = " + std::to_string(Entity("ICAccount"));
  return ForEachRow(db, sql, [this](sqlite3_stmt* row) {
    accounts_[sqlite3_column_int64(row, 0)] = {ColumnText(row, 1), ColumnText(row, 2)};
    return kVeldrakeBackupOk;
  });
}

int NoteCatalog::LoadFolders(sqlite3* db) {
  const std::string sql =
      "SELECT f.Z_PK, " + FirstColumn(objects_, "f", {"ZTITLE2", "ZTITLE"}) + ", " +
      FirstColumn(objects_, "f", {"ZPARENT"}) + ", " +
      FirstColumn(objects_, "f", {"ZOWNER", "ZACCOUNT"}) + ", " +
      FirstColumn(objects_, "f", {"ZFOLDERTYPE"}) +
      " FROM ZICCLOUDSYNCINGOBJECT AS f WHERE f.Z_ENT = " + std::to_string(Entity("ICFolder"));
  return ForEachRow(db, sql, [this](sqlite3_stmt* row) {
    NoteFolder& folder = folders_[sqlite3_column_int64(row, 0)];
    folder.title = ColumnText(row, 1);
    folder.parent = sqlite3_column_int64(row, 2);
    folder.account = sqlite3_column_int64(row, 3);
    folder.type = sqlite3_column_int(row, 4);
    return kVeldrakeBackupOk;
  });
}

std::vector<std::string> NoteCatalog::FolderPath(int64_t folder) const {
  std::vector<std::string> path;
  std::set<int64_t> seen;
  for (auto at = folders_.find(folder);
       at != folders_.end() && path.size() < kMaxFolderDepth && seen.insert(at->first).second;
       at = folders_.find(at->second.parent))
    path.insert(path.begin(), at->second.title);
  return path;
}

bool NoteCatalog::InTrash(int64_t folder) const {
  const auto at = folders_.find(folder);
  return at != folders_.end() && at->second.type == kTrashFolderType;
}

const NoteAccount* NoteCatalog::AccountOf(int64_t folder) const {
  std::set<int64_t> seen;
  for (auto at = folders_.find(folder); at != folders_.end() && seen.insert(at->first).second;
       at = folders_.find(at->second.parent)) {
    const auto account = accounts_.find(at->second.account);
    if (account != accounts_.end()) return &account->second;
  }
  return nullptr;
}

}  // namespace veldrake::backup
