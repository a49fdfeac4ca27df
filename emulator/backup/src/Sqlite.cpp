// The writer's SQLite helpers.
#include "Sqlite.h"

namespace devicesim::backup {

Db::~Db() {
  if (db_ != nullptr) sqlite3_close_v2(db_);
}

bool Db::Open(const std::string& path, std::string* error) {
  path_ = path;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    *error = Error();
    return false;
  }
  return true;
}

std::string Db::Error() const {
  return path_ + ": " + (db_ != nullptr ? sqlite3_errmsg(db_) : "cannot open");
}

bool Db::Exec(const std::string& sql, std::string* error) {
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  *error = Error();
  return false;
}

bool Db::Close(std::string* error) {
  if (db_ == nullptr) return true;
  if (sqlite3_close(db_) != SQLITE_OK) {
    *error = Error();
    return false;
  }
  db_ = nullptr;
  return true;
}

Statement::Statement(Db& db, const char* sql) : db_(db) {
  if (sqlite3_prepare_v2(db.handle(), sql, -1, &stmt_, nullptr) != SQLITE_OK) stmt_ = nullptr;
}

Statement::~Statement() {
  sqlite3_finalize(stmt_);
}

void Statement::Text(int index, const std::string& text) {
  if (text.empty()) {
    Null(index);
    return;
  }
  TextOrEmpty(index, text);
}

void Statement::TextOrEmpty(int index, const std::string& text) {
  sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

void Statement::Int(int index, int64_t value) {
  sqlite3_bind_int64(stmt_, index, value);
}

void Statement::Real(int index, double value) {
  sqlite3_bind_double(stmt_, index, value);
}

void Statement::Blob(int index, const std::string& bytes) {
  sqlite3_bind_blob(stmt_, index, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
}

void Statement::Null(int index) {
  sqlite3_bind_null(stmt_, index);
}

bool Statement::Run(std::string* error) {
  if (stmt_ == nullptr) {
    *error = db_.Error();
    return false;
  }
  const int rc = sqlite3_step(stmt_);
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
  if (rc == SQLITE_DONE) return true;
  *error = db_.Error();
  return false;
}

}  // namespace devicesim::backup
