// NoteCatalog: what a modern store says besides its notes, read once before them: the
// entity numbers of its kinds of row (they move between OS generations, so they are
// found by name), its accounts and its folders with their nesting.
//
// Folder parents come from the store and may point in a circle or at themselves: a path
// stops at the first folder seen twice, and at kMaxFolderDepth. One thread.
#ifndef VELDRAKE_BACKUP_NOTECATALOG_H_
#define VELDRAKE_BACKUP_NOTECATALOG_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

struct sqlite3;

namespace veldrake::backup {

constexpr size_t kMaxFolderDepth = 32;
constexpr int kTrashFolderType = 1;  // the "Recently Deleted" folder

struct NoteFolder {
  std::string title;
  int64_t parent = 0;  // 0: none
  int64_t account = 0;
  int type = 0;
};

struct NoteAccount {
  std::string name, identifier;
};

class NoteCatalog {
 public:
  // A VeldrakeBackupResult.
  int Load(sqlite3* db);

  // The entity number of `name` ("ICNote", ...); -1 when the store has none.
  int Entity(const char* name) const;
  const std::set<std::string>& ObjectColumns() const { return objects_; }
  const std::set<std::string>& DataColumns() const { return data_; }

  // The folder and its parents, outermost first.
  std::vector<std::string> FolderPath(int64_t folder) const;
  bool InTrash(int64_t folder) const;
  // The folder's account (its own, else its nearest parent's); null when none.
  const NoteAccount* AccountOf(int64_t folder) const;
  size_t AccountCount() const { return accounts_.size(); }

 private:
  int LoadEntities(sqlite3* db);
  int LoadFolders(sqlite3* db);
  int LoadAccounts(sqlite3* db);

  std::map<std::string, int> entities_;
  std::set<std::string> objects_, data_;
  std::map<int64_t, NoteFolder> folders_;
  std::map<int64_t, NoteAccount> accounts_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTECATALOG_H_
