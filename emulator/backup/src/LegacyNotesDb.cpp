// The notes store of phones before iOS 9: ZNOTE rows with their HTML bodies in ZNOTEBODY.
// The body holds the whole note, the title as its first line, each further line a <div>
// of its own, as the old Notes app's editor left them.
#include <string>

#include "NotesDb.h"
#include "Sqlite.h"

namespace devicesim::backup {
namespace {

const int kNoteEntity = 3, kBodyEntity = 4;
const int64_t kStorePk = 1;

const char kLegacySchema[] =
    "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER,"
    " Z_MAX INTEGER);"
    "CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255), Z_PLIST BLOB);"
    "CREATE TABLE ZACCOUNT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
    " ZDEFAULTSTORE INTEGER, ZACCOUNTIDENTIFIER VARCHAR, ZNAME VARCHAR);"
    "CREATE TABLE ZSTORE (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
    " ZACCOUNT INTEGER, ZNAME VARCHAR, ZEXTERNALIDENTIFIER VARCHAR);"
    "CREATE TABLE ZNOTE (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
    " ZCONTAINSCJK INTEGER, ZCONTENTTYPE INTEGER, ZDELETEDFLAG INTEGER,"
    " ZNOTEHASATTACHMENTS INTEGER, ZBODY INTEGER, ZINTEGERID INTEGER, ZSTORE INTEGER,"
    " ZCREATIONDATE TIMESTAMP, ZMODIFICATIONDATE TIMESTAMP, ZAUTHOR VARCHAR, ZGUID VARCHAR,"
    " ZSERVERID VARCHAR, ZSUMMARY VARCHAR, ZTITLE VARCHAR);"
    "CREATE TABLE ZNOTEBODY (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
    " ZOWNER INTEGER, ZCONTENT VARCHAR, ZEXTERNALCONTENTREF VARCHAR,"
    " ZEXTERNALSERVERINTID INTEGER);"
    "CREATE INDEX ZNOTE_ZSTORE_INDEX ON ZNOTE (ZSTORE);"
    "CREATE INDEX ZNOTEBODY_ZOWNER_INDEX ON ZNOTEBODY (ZOWNER);"
    "INSERT INTO Z_PRIMARYKEY VALUES (1, 'Account', 0, 1);"
    "INSERT INTO Z_PRIMARYKEY VALUES (3, 'Note', 0, 0);"
    "INSERT INTO Z_PRIMARYKEY VALUES (4, 'NoteBody', 0, 0);"
    "INSERT INTO Z_PRIMARYKEY VALUES (5, 'Store', 0, 1);"
    "INSERT INTO Z_METADATA (Z_VERSION, Z_UUID) VALUES (1, '0C0FFEE0-0000-4000-8000-000000000000');"
    "INSERT INTO ZACCOUNT VALUES (1, 1, 1, 1, 'local', 'On My iPhone');"
    "INSERT INTO ZSTORE VALUES (1, 5, 1, 1, 'On My iPhone', 'LocalStore');";

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string HtmlBody(const Note& note) {
  std::string html = Escape(note.subject);
  size_t start = 0;
  while (start <= note.content.size()) {
    size_t end = note.content.find('\n', start);
    if (end == std::string::npos) end = note.content.size();
    const std::string line = note.content.substr(start, end - start);
    html += line.empty() ? "<div><br></div>" : "<div>" + Escape(line) + "</div>";
    start = end + 1;
  }
  return html;
}

bool InsertNotes(Db& db, const NoteStore& store, std::string* error) {
  Statement note(db,
                 "INSERT INTO ZNOTE (Z_PK, Z_ENT, Z_OPT, ZCONTAINSCJK, ZCONTENTTYPE, ZDELETEDFLAG,"
                 " ZNOTEHASATTACHMENTS, ZBODY, ZINTEGERID, ZSTORE, ZCREATIONDATE,"
                 " ZMODIFICATIONDATE, ZSUMMARY, ZTITLE) VALUES (?,?,1,0,0,0,0,?,?,?,?,?,?,?)");
  Statement body(db,
                 "INSERT INTO ZNOTEBODY (Z_PK, Z_ENT, Z_OPT, ZOWNER, ZCONTENT)"
                 " VALUES (?,?,1,?,?)");
  for (size_t i = 0; i < store.notes.size(); ++i) {
    const Note& n = store.notes[i];
    const int64_t pk = static_cast<int64_t>(i) + 1;
    note.Int(1, pk);
    note.Int(2, kNoteEntity);
    note.Int(3, pk);
    note.Int(4, pk);
    note.Int(5, kStorePk);
    note.Real(6, n.modified);
    note.Real(7, n.modified);
    note.TextOrEmpty(8, n.content.substr(0, n.content.find('\n')));
    note.TextOrEmpty(9, n.subject);
    body.Int(1, pk);
    body.Int(2, kBodyEntity);
    body.Int(3, pk);
    body.TextOrEmpty(4, HtmlBody(n));
    if (!note.Run(error) || !body.Run(error)) return false;
  }
  const std::string count = std::to_string(store.notes.size());
  return db.Exec("UPDATE Z_PRIMARYKEY SET Z_MAX = " + count + " WHERE Z_ENT IN (3, 4)", error);
}

}  // namespace

bool WriteLegacyNotesDb(const NoteStore& notes, const std::string& path, std::string* error) {
  Db db;
  return db.Open(path, error) && db.Exec(kLegacySchema, error) && db.Exec("BEGIN", error) &&
         InsertNotes(db, notes, error) && db.Exec("COMMIT", error) && db.Close(error);
}

}  // namespace devicesim::backup
