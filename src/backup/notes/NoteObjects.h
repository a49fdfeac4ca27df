// NoteObjects: the attachments and inline objects a note's body refers to, resolved
// through their rows of the store: what each shows as (NoteRender.h), the note's
// attachment list with each file's place in the backup, its tables and its hashtags.
//
// Rows and files are untrusted: an attachment whose media row is not a media row, a file
// that is missing, not a file, or whose recorded size does not fit it, a table that does
// not decode, a locked object no password opens: each is a placeholder and one warning.
// An unknown type is exported as a file, with one warning per type per export. Objects
// inside table cells are resolved one level deep (a table in a cell is a placeholder).
//
// Thread contract: one owner, the caller's thread.
#ifndef VELDRAKE_BACKUP_NOTEOBJECTS_H_
#define VELDRAKE_BACKUP_NOTEOBJECTS_H_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "NoteCatalog.h"
#include "NoteRender.h"
#include "NoteWhole.h"

struct sqlite3;
struct sqlite3_stmt;

namespace veldrake::backup {

class NoteObjects {
 public:
  NoteObjects(sqlite3* db, const NoteCatalog& catalog, const MediaFiles& files,
              const Warnings& warnings, const std::vector<std::string>& passwords);
  ~NoteObjects();
  NoteObjects(const NoteObjects&) = delete;
  NoteObjects& operator=(const NoteObjects&) = delete;

  // Prepares the query; false when the store has no attachment rows we can read.
  bool Prepare();

  // Resolves the objects of `document` into `note` (attachments, tables, tags);
  // `accountId` names the account's folder of files, `name` the note in warnings.
  void Resolve(const NoteDocument& document, const std::string& accountId, const std::string& name,
               WholeNote* note);

  // What Resolve found, for the renderers; valid until the next Resolve.
  ObjectLookup Lookup() const;

 private:
  struct Row;
  bool IndexRows(const std::string& entities);
  bool Fetch(const std::string& id, Row* row);
  void ResolveSpans(const NoteDocument& document, bool tables, WholeNote* note);
  void ResolveOne(const std::string& id, const std::string& bodyType, bool tables, WholeNote* note);
  void Inline(const Row& row, ShownObject* shown, WholeNote* note);
  void Table(const Row& row, WholeAttachment* attachment, ShownObject* shown, WholeNote* note);
  void File(const Row& row, WholeAttachment* attachment, ShownObject* shown);
  bool Unseal(const LockedObject& crypto, const std::string* data, std::string* key,
              std::string* plain);
  void Missing(WholeAttachment* attachment, const std::string& why, ShownObject* shown);

  sqlite3* db_;
  const NoteCatalog& catalog_;
  const MediaFiles& files_;
  const Warnings& warnings_;
  const std::vector<std::string>& passwords_;
  sqlite3_stmt* statement_ = nullptr;
  // Each attachment's first row by identifier: a store need not index ZIDENTIFIER, and a
  // scan per object made notes with thousands of attachments quadratic.
  std::unordered_map<std::string, int64_t> rows_;
  std::map<std::string, ShownObject> shown_;
  std::vector<std::unique_ptr<NoteTableCells>> tables_;
  std::set<std::string> warnedTypes_, names_;
  std::string accountId_, name_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEOBJECTS_H_
