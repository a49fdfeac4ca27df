// The note stores. The modern one is a Core Data store: every object (account, folders,
// notes) a row of ZICCLOUDSYNCINGOBJECT told apart by its entity number, the note bodies
// in ZICNOTEDATA. The notes live in the account's "Notes" folder; the "Recently Deleted"
// folder a phone always has stays empty.
#include "NotesDb.h"

#include <string>

#include "AddressBookDb.h"
#include "NoteBody.h"
#include "Sqlite.h"

namespace devicesim::backup {
namespace {

const int kFirstCreationDate3Version = 15;
const int64_t kAccountPk = 1, kNotesFolderPk = 2, kTrashFolderPk = 3, kFirstNotePk = 4;
const int kFolderDefault = 0, kFolderTrash = 1;
const int kAccountLocal = 3;
const int kCloudSyncingObject = 1;  // the entity every synced object derives from
const size_t kSnippetBytes = 100;

// Entity numbers differ between OS generations; a reader finds them by name.
struct Entities {
  int note, folder, account, noteData;
};

Entities EntitiesFor(int major) {
  if (major >= kFirstCreationDate3Version) return {12, 15, 14, 19};
  return {9, 11, 10, 13};
}

std::string ModernSchema(bool creationDate3) {
  return std::string(
             "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR,"
             " Z_SUPER INTEGER, Z_MAX INTEGER);"
             "CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255),"
             " Z_PLIST BLOB);"
             "CREATE TABLE ZICNOTEDATA (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
             " ZNOTE INTEGER, ZCRYPTOINITIALIZATIONVECTOR BLOB, ZCRYPTOTAG BLOB, ZDATA BLOB);"
             "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER,"
             " Z_OPT INTEGER, ZMARKEDFORDELETION INTEGER, ZNEEDSINITIALFETCHFROMCLOUD INTEGER,"
             " ZISPASSWORDPROTECTED INTEGER, ZACCOUNTTYPE INTEGER, ZFOLDERTYPE INTEGER,"
             " ZOWNER INTEGER, ZFOLDER INTEGER, ZNOTEDATA INTEGER, ZACCOUNT2 INTEGER,"
             " ZCREATIONDATE TIMESTAMP, ZCREATIONDATE1 TIMESTAMP, ") +
         (creationDate3 ? "ZCREATIONDATE2 TIMESTAMP, ZCREATIONDATE3 TIMESTAMP, " : "") +
         "ZMODIFICATIONDATE TIMESTAMP, ZMODIFICATIONDATE1 TIMESTAMP, ZIDENTIFIER VARCHAR,"
         " ZNAME VARCHAR, ZTITLE VARCHAR, ZTITLE1 VARCHAR, ZTITLE2 VARCHAR,"
         " ZSNIPPET VARCHAR);"
         "CREATE INDEX Z_ICCLOUDSYNCINGOBJECT_ZFOLDER ON ZICCLOUDSYNCINGOBJECT (ZFOLDER);"
         "CREATE INDEX Z_ICNOTEDATA_ZNOTE ON ZICNOTEDATA (ZNOTE);";
}

std::string Identifier(int64_t pk) {
  return "0C0FFEE0-0000-4000-8000-" + std::string(12 - std::to_string(pk).size(), '0') +
         std::to_string(pk);
}

bool AddEntity(Db& db, int entity, const char* name, int super, int64_t max, std::string* error) {
  Statement insert(db, "INSERT INTO Z_PRIMARYKEY VALUES (?,?,?,?)");
  insert.Int(1, entity);
  insert.TextOrEmpty(2, name);
  insert.Int(3, super);
  insert.Int(4, max);
  return insert.Run(error);
}

bool AddFolder(Db& db, const Entities& e, int64_t pk, int type, const char* title,
               const char* identifier, std::string* error) {
  Statement insert(db,
                   "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, Z_OPT, ZFOLDERTYPE, ZOWNER,"
                   " ZTITLE2, ZIDENTIFIER, ZMARKEDFORDELETION) VALUES (?,?,1,?,?,?,?,0)");
  insert.Int(1, pk);
  insert.Int(2, e.folder);
  insert.Int(3, type);
  insert.Int(4, kAccountPk);
  insert.TextOrEmpty(5, title);
  insert.TextOrEmpty(6, identifier);
  return insert.Run(error);
}

// The entity table, the local account and its two folders.
bool WriteModernFrame(Db& db, const Entities& e, size_t notes, std::string* error) {
  const int64_t count = static_cast<int64_t>(notes), maxNote = kFirstNotePk - 1 + count;
  Statement account(db,
                    "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, Z_OPT, ZACCOUNTTYPE, ZNAME,"
                    " ZIDENTIFIER) VALUES (?,?,1,?,'On My iPhone','LocalAccount')");
  account.Int(1, kAccountPk);
  account.Int(2, e.account);
  account.Int(3, kAccountLocal);
  return AddEntity(db, kCloudSyncingObject, "ICCloudSyncingObject", 0, maxNote, error) &&
         AddEntity(db, e.note, "ICNote", kCloudSyncingObject, maxNote, error) &&
         AddEntity(db, e.folder, "ICFolder", kCloudSyncingObject, kTrashFolderPk, error) &&
         AddEntity(db, e.account, "ICAccount", kCloudSyncingObject, kAccountPk, error) &&
         AddEntity(db, e.noteData, "ICNoteData", 0, count, error) && account.Run(error) &&
         AddFolder(db, e, kNotesFolderPk, kFolderDefault, "Notes", "DefaultFolder-LocalAccount",
                   error) &&
         AddFolder(db, e, kTrashFolderPk, kFolderTrash, "Recently Deleted",
                   "TrashFolder-LocalAccount", error) &&
         db.Exec("INSERT INTO Z_METADATA (Z_VERSION, Z_UUID) VALUES (1, '" + Identifier(0) + "')",
                 error);
}

// The snippet a phone shows under the title: the start of the body, cut at a whole
// character.
std::string Snippet(const std::string& content) {
  if (content.size() <= kSnippetBytes) return content;
  size_t end = kSnippetBytes;
  while (end > 0 && (static_cast<unsigned char>(content[end]) & 0xC0) == 0x80) --end;
  return content.substr(0, end);
}

bool WriteModernNotes(Db& db, const Entities& e, const NoteStore& store, bool creationDate3,
                      std::string* error) {
  const std::string created = creationDate3 ? "ZCREATIONDATE3" : "ZCREATIONDATE1";
  Statement note(db, ("INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, Z_OPT,"
                      " ZMARKEDFORDELETION, ZISPASSWORDPROTECTED, ZFOLDER, ZACCOUNT2, ZNOTEDATA, " +
                      created +
                      ", ZMODIFICATIONDATE1, ZTITLE1, ZSNIPPET, ZIDENTIFIER)"
                      " VALUES (?, ?, 1, 0, 0, ?, ?, ?, ?, ?, ?, ?, ?)")
                         .c_str());
  Statement data(db,
                 "INSERT INTO ZICNOTEDATA (Z_PK, Z_ENT, Z_OPT, ZNOTE, ZDATA) VALUES (?,?,1,?,?)");
  for (size_t i = 0; i < store.notes.size(); ++i) {
    const Note& n = store.notes[i];
    const int64_t pk = kFirstNotePk + static_cast<int64_t>(i), dataPk = static_cast<int64_t>(i) + 1;
    std::string body;
    if (!Gzip(NoteDocument(n.subject + "\n" + n.content), &body)) {
      *error = "cannot compress a note body";
      return false;
    }
    note.Int(1, pk);
    note.Int(2, e.note);
    note.Int(3, kNotesFolderPk);
    note.Int(4, kAccountPk);
    note.Int(5, dataPk);
    note.Real(6, n.modified);
    note.Real(7, n.modified);
    note.TextOrEmpty(8, n.subject);
    note.TextOrEmpty(9, Snippet(n.content));
    note.TextOrEmpty(10, Identifier(pk));
    data.Int(1, dataPk);
    data.Int(2, e.noteData);
    data.Int(3, pk);
    data.Blob(4, body);
    if (!note.Run(error) || !data.Run(error)) return false;
  }
  return true;
}

}  // namespace

bool WriteNoteStoreDb(const NoteStore& notes, int majorVersion, const std::string& path,
                      std::string* error) {
  const bool creationDate3 = majorVersion >= kFirstCreationDate3Version;
  const Entities entities = EntitiesFor(majorVersion);
  Db db;
  return db.Open(path, error) && db.Exec(ModernSchema(creationDate3), error) &&
         db.Exec("BEGIN", error) && WriteModernFrame(db, entities, notes.notes.size(), error) &&
         WriteModernNotes(db, entities, notes, creationDate3, error) && db.Exec("COMMIT", error) &&
         db.Close(error);
}

}  // namespace devicesim::backup
