// The authorizer, the progress handler and the settings every backup database gets.
#include "SqlGuard.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "Cancel.h"
#include "SqlStatement.h"

namespace veldrake::backup {
namespace {

// How many virtual-machine steps between two calls of the progress handler: a few
// microseconds of work.
constexpr int kProgressSteps = 1000;
// SQLite's own tables and table-valued functions, which a store cannot replace (one
// that names a virtual table so is refused before these are consulted).
constexpr const char* kBuiltinNames[] = {"sqlite_master",      "sqlite_schema",
                                         "sqlite_temp_master", "sqlite_temp_schema",
                                         "json_each",          "json_tree"};
constexpr const char* kPragmaPrefix = "pragma_";

std::string Folded(const char* name) {
  std::string folded = name != nullptr ? name : "";
  for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return folded;
}

bool Setting(sqlite3* db, int option, int value) {
  int applied = -1;
  return sqlite3_db_config(db, option, value, &applied) == SQLITE_OK && applied == value;
}

bool Configure(sqlite3* db) {
  sqlite3_limit(db, SQLITE_LIMIT_LENGTH, SqlGuard::kMaxValueBytes);
  sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, SqlGuard::kMaxStatementBytes);
  sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
  return Setting(db, SQLITE_DBCONFIG_DEFENSIVE, 1) &&
         Setting(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0) &&
         Setting(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0) &&
         sqlite3_exec(db,
                      "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;"
                      " PRAGMA query_only = ON",
                      nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace

SqlGuard::SqlGuard(uint64_t cancelGeneration, SqlLimits limits)
    : cancelGeneration_(cancelGeneration), limits_(limits) {}

// SQLite's own word on what each name is, from the schema it built (not the type column
// of sqlite_master, which a hostile file can set to anything): "table" and "shadow" (an
// fts table's storage) are real tables.
bool SqlGuard::LearnTables(sqlite3* db) {
  SqlStatement schema(db, "SELECT name, type FROM pragma_table_list WHERE schema = 'main'");
  if (!schema.ok()) return false;
  int step;
  while ((step = schema.Step()) == SQLITE_ROW) {
    const std::string name = Folded(ColumnUtf8(schema.get(), 0));
    const std::string type = Folded(ColumnUtf8(schema.get(), 1));
    if (type == "table" || type == "shadow") tables_.insert(name);
    if (type == "virtual") virtuals_.insert(name);
  }
  return step == SQLITE_DONE;
}

bool SqlGuard::Attach(sqlite3* db, std::string* why) {
  if (!Configure(db) || !LearnTables(db)) {
    *why = "its schema cannot be read";
    return false;
  }
  stretchStart_ = Clock::now();
  progressSeen_ = ProgressMarks();
  memoryAtStart_ = sqlite3_memory_used();
  sqlite3_set_authorizer(db, Authorize, this);
  sqlite3_progress_handler(db, kProgressSteps, Progress, this);
  return true;
}

int SqlGuard::Read(const char* table, const char* through) {
  const std::string name = Folded(table);
  std::string why;
  if (through != nullptr)
    why = Folded(through) + " is no table of the store (a view or trigger)";
  else if (virtuals_.count(name) != 0)
    why = name + " is a virtual table, not a table";
  else if (tables_.count(name) == 0 &&
           name.compare(0, std::strlen(kPragmaPrefix), kPragmaPrefix) != 0 &&
           std::find(std::begin(kBuiltinNames), std::end(kBuiltinNames), name) ==
               std::end(kBuiltinNames))
    why = name + " is no table of the store (a view)";
  if (why.empty()) return SQLITE_OK;
  if (refusal_.empty()) refusal_ = why;
  return SQLITE_DENY;
}

int SqlGuard::Authorize(void* self, int action, const char* a, const char*, const char*,
                        const char* d) {
  switch (action) {
    case SQLITE_READ:
      return static_cast<SqlGuard*>(self)->Read(a, d);
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
      return SQLITE_DENY;
    default:
      return SQLITE_OK;
  }
}

bool SqlGuard::OverLimits() {
  const Clock::time_point now = Clock::now();
  if (ProgressMarks() != progressSeen_) {
    progressSeen_ = ProgressMarks();
    stretchStart_ = now;
  }
  const bool late = now - stretchStart_ > limits_.stretch;
  const bool large = sqlite3_memory_used() - memoryAtStart_ > limits_.memory;
  timedOut_ = timedOut_ || late;  // kept for Explain, whatever later statements do
  outOfMemory_ = outOfMemory_ || large;
  return late || large;
}

int SqlGuard::Progress(void* self) {
  SqlGuard& guard = *static_cast<SqlGuard*>(self);
  if (CancelledSince(guard.cancelGeneration_)) {
    guard.cancelled_ = true;
    return 1;
  }
  return guard.OverLimits() ? 1 : 0;
}

}  // namespace veldrake::backup
