// SqlGuard: what every database of a backup is opened with, since its bytes are untrusted.
//
// - Names: a query may read only real tables (and SQLite's own schema and pragma
//   functions). A view, a virtual table (an fts5 table named ABPerson, say) or a read
//   made through a view is refused when the statement is prepared, and the refusal is
//   kept to tell the user the store is damaged or hostile. (Views stay enabled so that
//   reading one is refused here, with its name, rather than by SQLite without it.)
//   Triggers are switched off outright.
// - SQLite's own defences: SQLITE_DBCONFIG_DEFENSIVE, trusted_schema off, cell_size_check
//   on, query_only, no attached databases, temporary tables in memory, and limits on the
//   lengths of values and statements sized well above what a phone's store holds.
// - Time and memory: a progress handler ends a statement within a second when the export
//   is cancelled, when one stretch of work lasts longer than the limit (the time since the
//   export last made progress, Cancel.h's MarkProgress: a record handed to the host, a
//   file copied; on a real store a fraction of a second), or when SQLite's memory has
//   grown by more than the limit since the guard was attached (temporary tables and sorts
//   live in memory, so this caps them too; SQLite counts its memory for the whole
//   process, so exports running at once share the cap).
//
// Thread contract: one guard per connection, used on the connection's thread; it must
// outlive the connection.
#ifndef VELDRAKE_BACKUP_SQLGUARD_H_
#define VELDRAKE_BACKUP_SQLGUARD_H_

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

struct sqlite3;

namespace veldrake::backup {

// When a statement is ended: far beyond the slowest statement over a real phone's store (a
// sort of every row), and what it may take in memory.
struct SqlLimits {
  std::chrono::milliseconds stretch{20000};
  int64_t memory = int64_t{512} << 20;
};

class SqlGuard {
 public:
  using Clock = std::chrono::steady_clock;
  // The longest value a row may hold: a contact's full-size photo is a few megabytes.
  static constexpr int kMaxValueBytes = 64 << 20;
  static constexpr int kMaxStatementBytes = 1 << 20;
  // `cancelGeneration`: what the export noted at its start (Cancel.h).
  explicit SqlGuard(uint64_t cancelGeneration, SqlLimits limits = SqlLimits());
  SqlGuard(const SqlGuard&) = delete;
  SqlGuard& operator=(const SqlGuard&) = delete;

  // Applies everything above to `db` and learns its real tables; false, with *why, when
  // the schema cannot be read.
  bool Attach(sqlite3* db, std::string* why);

  // Why a statement was refused ("ABPerson is a virtual table, not a table"), or empty.
  const std::string& refusal() const { return refusal_; }
  // True when a statement ended because the export was cancelled / ran out of time.
  bool cancelled() const { return cancelled_; }
  // True when a statement ended for its time or its memory.
  bool timedOut() const { return timedOut_; }
  bool outOfMemory() const { return outOfMemory_; }

 private:
  static int Authorize(void* self, int action, const char* a, const char* b, const char* c,
                       const char* d);
  static int Progress(void* self);
  bool LearnTables(sqlite3* db);
  int Read(const char* table, const char* through);

  bool OverLimits();

  uint64_t cancelGeneration_;
  SqlLimits limits_;
  int64_t memoryAtStart_ = 0;
  Clock::time_point stretchStart_;
  uint64_t progressSeen_ = 0;
  std::set<std::string> tables_, virtuals_;  // names folded to lower case
  std::string refusal_;
  bool cancelled_ = false;
  bool timedOut_ = false;
  bool outOfMemory_ = false;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_SQLGUARD_H_
