// The modern note store's frame: a Core Data store where every object (accounts, folders,
// notes, attachments, media) is a row of ZICCLOUDSYNCINGOBJECT told apart by its entity
// number, the note bodies in ZICNOTEDATA. Each account has its "Notes" folder and the
// "Recently Deleted" folder a phone always has (left empty); a notes set's folders nest
// under the account.
#include <string>

#include "NoteFaults.h"
#include "NoteRows.h"
#include "NotesDb.h"
#include "Sqlite.h"

namespace devicesim::backup {

const char kLocalAccount[] = "On My iPhone";

namespace {

const int kFolderDefault = 0, kFolderTrash = 1;
const int kAccountICloud = 1, kAccountLocal = 3;
const int kCloudSyncingObject = 1;  // the entity every synced object derives from
const char kSep = '\x1F';

std::string ModernSchema(const Generation& g) {
  return std::string(
             "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR,"
             " Z_SUPER INTEGER, Z_MAX INTEGER);"
             "CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255),"
             " Z_PLIST BLOB);"
             "CREATE TABLE ZICNOTEDATA (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
             " ZNOTE INTEGER, ZCRYPTOINITIALIZATIONVECTOR BLOB, ZCRYPTOTAG BLOB, ZDATA BLOB);"
             "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER,"
             " Z_OPT INTEGER, ZMARKEDFORDELETION INTEGER, ZNEEDSINITIALFETCHFROMCLOUD INTEGER,"
             " ZISPASSWORDPROTECTED INTEGER, ZISPINNED INTEGER, ZACCOUNTTYPE INTEGER,"
             " ZFOLDERTYPE INTEGER, ZOWNER INTEGER, ZPARENT INTEGER, ZFOLDER INTEGER,"
             " ZNOTEDATA INTEGER, ZACCOUNT2 INTEGER, ZNOTE INTEGER, ZMEDIA INTEGER,"
             " ZCREATIONDATE TIMESTAMP, ZCREATIONDATE1 TIMESTAMP, ") +
         (g.creationDate3 ? "ZCREATIONDATE2 TIMESTAMP, ZCREATIONDATE3 TIMESTAMP, " : "") +
         (g.features.inlineObjects
              ? "ZNOTE1 INTEGER, ZALTTEXT VARCHAR, ZTOKENCONTENTIDENTIFIER VARCHAR, "
              : "") +
         (g.mergeable1 ? "ZMERGEABLEDATA1 BLOB, " : "ZMERGEABLEDATA BLOB, ") +
         "ZMODIFICATIONDATE TIMESTAMP, ZMODIFICATIONDATE1 TIMESTAMP, ZIDENTIFIER VARCHAR,"
         " ZNAME VARCHAR, ZTITLE VARCHAR, ZTITLE1 VARCHAR, ZTITLE2 VARCHAR,"
         " ZSNIPPET VARCHAR, ZTYPEUTI VARCHAR, ZFILENAME VARCHAR, ZURLSTRING VARCHAR,"
         " ZPASSWORDHINT VARCHAR, ZCRYPTOITERATIONCOUNT INTEGER, ZCRYPTOSALT BLOB,"
         " ZCRYPTOWRAPPEDKEY BLOB, ZCRYPTOINITIALIZATIONVECTOR BLOB, ZCRYPTOTAG BLOB);"
         "CREATE INDEX Z_ICCLOUDSYNCINGOBJECT_ZFOLDER ON ZICCLOUDSYNCINGOBJECT (ZFOLDER);"
         "CREATE INDEX Z_ICCLOUDSYNCINGOBJECT_ZNOTE ON ZICCLOUDSYNCINGOBJECT (ZNOTE);"
         "CREATE INDEX Z_ICNOTEDATA_ZNOTE ON ZICNOTEDATA (ZNOTE);";
}

bool AddEntity(Db& db, int entity, const char* name, int super, std::string* error) {
  if (entity == 0) return true;
  Statement insert(db, "INSERT INTO Z_PRIMARYKEY VALUES (?,?,?,0)");
  insert.Int(1, entity);
  insert.TextOrEmpty(2, name);
  insert.Int(3, super);
  return insert.Run(error);
}

bool AddEntities(Db& db, const Entities& e, std::string* error) {
  const int c = kCloudSyncingObject;
  return AddEntity(db, c, "ICCloudSyncingObject", 0, error) &&
         AddEntity(db, e.note, "ICNote", c, error) &&
         AddEntity(db, e.folder, "ICFolder", c, error) &&
         AddEntity(db, e.account, "ICAccount", c, error) &&
         AddEntity(db, e.attachment, "ICAttachment", c, error) &&
         AddEntity(db, e.media, "ICMedia", c, error) &&
         AddEntity(db, e.inlineAttachment, "ICInlineAttachment", c, error) &&
         AddEntity(db, e.noteData, "ICNoteData", 0, error);
}

bool AddFolder(StoreWriter& w, int64_t owner, int64_t parent, int type, const std::string& title,
               const std::string& identifier, std::string* error) {
  Statement insert(
      w.db,
      "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, Z_OPT, ZFOLDERTYPE, ZOWNER,"
      " ZPARENT, ZTITLE2, ZIDENTIFIER, ZMARKEDFORDELETION) VALUES (?,?,1,?,?,?,?,?,0)");
  insert.Int(1, w.nextPk++);
  insert.Int(2, w.g.e.folder);
  insert.Int(3, type);
  insert.Int(4, owner);
  if (parent > 0)
    insert.Int(5, parent);
  else
    insert.Null(5);
  insert.TextOrEmpty(6, title);
  insert.TextOrEmpty(7, identifier);
  return insert.Run(error);
}

// The account row and its two standing folders.
bool AddAccount(StoreWriter& w, const std::string& name, std::string* error) {
  const bool local = name == kLocalAccount;
  const int64_t pk = w.nextPk++;
  const std::string id = local ? "LocalAccount" : Identifier(pk);
  Statement account(w.db,
                    "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, Z_OPT, ZACCOUNTTYPE, ZNAME,"
                    " ZIDENTIFIER) VALUES (?,?,1,?,?,?)");
  account.Int(1, pk);
  account.Int(2, w.g.e.account);
  account.Int(3, local ? kAccountLocal : kAccountICloud);
  account.TextOrEmpty(4, name);
  account.TextOrEmpty(5, id);
  w.accountIds[name] = id;
  w.folders[name] = pk;
  w.folders[FolderKey(name, {})] = w.nextPk;
  return account.Run(error) &&
         AddFolder(w, pk, 0, kFolderDefault, "Notes", "DefaultFolder-" + id, error) &&
         AddFolder(w, pk, 0, kFolderTrash, "Recently Deleted", "TrashFolder-" + id, error);
}

// The folder of `path` under the account, made (with its parents) when new.
bool EnsureFolder(StoreWriter& w, const std::string& account, const std::vector<std::string>& path,
                  std::string* error) {
  if (path.empty() || w.folders.count(FolderKey(account, path))) return true;
  const std::vector<std::string> parent(path.begin(), path.end() - 1);
  if (!EnsureFolder(w, account, parent, error)) return false;
  const int64_t parentPk = parent.empty() ? 0 : w.folders[FolderKey(account, parent)];
  w.folders[FolderKey(account, path)] = w.nextPk;
  return AddFolder(w, w.folders[account], parentPk, kFolderDefault, path.back(),
                   Identifier(w.nextPk), error);
}

bool WriteFrame(StoreWriter& w, const NoteStore& store, std::string* error) {
  if (!AddEntities(w.db, w.g.e, error) || !AddAccount(w, kLocalAccount, error)) return false;
  for (const Note& n : store.notes) {
    const std::string account = n.account.empty() ? kLocalAccount : n.account;
    if (!w.accountIds.count(account) && !AddAccount(w, account, error)) return false;
    if (!EnsureFolder(w, account, n.folder, error)) return false;
  }
  return w.db.Exec("INSERT INTO Z_METADATA (Z_VERSION, Z_UUID) VALUES (1, '" + Identifier(0) + "')",
                   error);
}

// Z_MAX of each entity: the highest key of its rows, as Core Data keeps it.
bool SetMaxima(Db& db, std::string* error) {
  return db.Exec(
      "UPDATE Z_PRIMARYKEY SET Z_MAX = COALESCE((SELECT MAX(Z_PK) FROM ZICCLOUDSYNCINGOBJECT o"
      " WHERE o.Z_ENT = Z_PRIMARYKEY.Z_ENT), (SELECT MAX(Z_PK) FROM ZICNOTEDATA d"
      " WHERE d.Z_ENT = Z_PRIMARYKEY.Z_ENT), 0)",
      error);
}

}  // namespace

std::string Identifier(int64_t pk) {
  return "0C0FFEE0-0000-4000-8000-" + std::string(12 - std::to_string(pk).size(), '0') +
         std::to_string(pk);
}

std::string FolderKey(const std::string& account, const std::vector<std::string>& path) {
  std::string key = account;
  for (const std::string& part : path) key += kSep + part;
  return key + kSep;
}

Generation GenerationFor(int major) {
  Generation g;
  g.major = major;
  g.features = FeaturesFor(major);
  g.creationDate3 = major >= 15;
  g.mergeable1 = g.accountFolders = major >= 13;
  g.passcodeLock = major >= 16;
  if (major >= 17)
    g.e = {15, 16, 13, 5, 12, 7, 20};
  else if (major >= 15)
    g.e = {14, 15, 12, 5, 11, 6, 19};
  else if (major >= 13)
    g.e = {10, 12, 9, 5, 8, 0, 14};
  else
    g.e = {10, 11, 9, 5, 7, 0, 13};
  return g;
}

bool WriteNoteStoreDb(const NoteStore& notes, int majorVersion, bool faults,
                      const std::string& path, const std::string& stageDir,
                      std::vector<NoteFile>* files, std::string* error) {
  Db db;
  StoreWriter w(db, GenerationFor(majorVersion), stageDir, files);
  if (!db.Open(path, error) || !db.Exec(ModernSchema(w.g), error) || !db.Exec("BEGIN", error) ||
      !WriteFrame(w, notes, error))
    return false;
  const int64_t first = w.nextPk;
  for (size_t i = 0; i < notes.notes.size(); ++i)
    w.noteIds.emplace(notes.notes[i].subject, Identifier(first + static_cast<int64_t>(i)));
  w.nextPk += static_cast<int64_t>(notes.notes.size());
  for (size_t i = 0; i < notes.notes.size(); ++i)
    if (!WriteNoteRows(w, notes.notes[i], first + static_cast<int64_t>(i), error)) return false;
  if (faults && !WriteFaultNotes(w, error)) return false;
  return SetMaxima(db, error) && db.Exec("COMMIT", error) && db.Close(error);
}

}  // namespace devicesim::backup
