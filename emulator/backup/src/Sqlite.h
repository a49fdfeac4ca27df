// Sqlite: the few SQLite calls the writer's databases need, with their errors as text.
//
// Thread contract: one Db per thread.
#ifndef DEVICESIM_BACKUP_SQLITE_H_
#define DEVICESIM_BACKUP_SQLITE_H_

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace devicesim::backup {

class Db {
 public:
  Db() = default;
  ~Db();
  Db(const Db&) = delete;
  Db& operator=(const Db&) = delete;

  // Creates (or opens) the database file at `path`.
  bool Open(const std::string& path, std::string* error);
  // Runs one or more statements; false with *error naming the database.
  bool Exec(const std::string& sql, std::string* error);
  // Closes now; false when SQLite refuses (a statement left open).
  bool Close(std::string* error);
  sqlite3* handle() const { return db_; }
  std::string Error() const;

 private:
  sqlite3* db_ = nullptr;
  std::string path_;
};

// A prepared statement that is run again and again with new values.
class Statement {
 public:
  Statement(Db& db, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool ok() const { return stmt_ != nullptr; }
  // Binds parameter `index` (1-based); empty texts become NULL, the way the phone leaves
  // a field it has no value for.
  void Text(int index, const std::string& text);
  void TextOrEmpty(int index, const std::string& text);
  void Int(int index, int64_t value);
  void Real(int index, double value);
  void Blob(int index, const std::string& bytes);
  void Null(int index);
  // Steps once and resets for the next row; false with *error on failure.
  bool Run(std::string* error);

 private:
  Db& db_;
  sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_SQLITE_H_
