// The whole-note loop: one ordered query over notes and their bodies, each note opened
// (unlocked when it is locked), decoded once, its objects resolved, rendered three ways
// and lent; only one note is in memory at a time.
#include "NoteWhole.h"

#include <sqlite3.h>

#include "Crypto.h"
#include "NoteCatalog.h"
#include "NoteDocument.h"
#include "NoteInflate.h"
#include "NoteObjects.h"
#include "NoteRecord.h"
#include "NoteRender.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr int64_t kUnixAt2001 = 978307200;
constexpr int64_t kNoStoreDate = -1;  // ColumnDate's NULL

enum Column {
  kPk,
  kIdentifier,
  kTitle,
  kModified,
  kCreated,
  kPinned,
  kLocked,
  kFolder,
  kHint,
  kSalt,
  kIterations,
  kWrapped,
  kData,
  kIv,
  kTag,
};

std::string NotesSql(const NoteCatalog& catalog) {
  const std::set<std::string>& o = catalog.ObjectColumns();
  const std::set<std::string>& d = catalog.DataColumns();
  const std::string where = o.count("ZNOTEDATA") != 0 ? "WHERE d.Z_PK = n.ZNOTEDATA"
                                                      : "WHERE d.ZNOTE = n.Z_PK ORDER BY d.Z_PK";
  const auto data = [&](const char* column) {
    return d.count(column) == 0 ? std::string("NULL")
                                : std::string("(SELECT d.") + column + " FROM ZICNOTEDATA AS d " +
                                      where + " LIMIT 1)";
  };
  std::string sql =
      "SELECT n.Z_PK, " + FirstColumn(o, "n", {"ZIDENTIFIER"}) + ", " +
      FirstColumn(o, "n", {"ZTITLE1", "ZTITLE"}) + ", " +
      FirstColumn(o, "n", {"ZMODIFICATIONDATE1", "ZMODIFICATIONDATE"}) + ", " +
      FirstColumn(o, "n", {"ZCREATIONDATE3", "ZCREATIONDATE1", "ZCREATIONDATE"}) + ", " +
      FirstColumn(o, "n", {"ZISPINNED"}) + ", " + FirstColumn(o, "n", {"ZISPASSWORDPROTECTED"}) +
      ", " + FirstColumn(o, "n", {"ZFOLDER"}) + ", " + FirstColumn(o, "n", {"ZPASSWORDHINT"}) +
      ", " + FirstColumn(o, "n", {"ZCRYPTOSALT"}) + ", " +
      FirstColumn(o, "n", {"ZCRYPTOITERATIONCOUNT"}) + ", " +
      FirstColumn(o, "n", {"ZCRYPTOWRAPPEDKEY"}) + ", " + data("ZDATA") + ", " +
      data("ZCRYPTOINITIALIZATIONVECTOR") + ", " + data("ZCRYPTOTAG") +
      " FROM ZICCLOUDSYNCINGOBJECT AS n WHERE n.Z_ENT = " +
      std::to_string(catalog.Entity("ICNote"));
  if (o.count("ZMARKEDFORDELETION") != 0) sql += " AND COALESCE(n.ZMARKEDFORDELETION, 0) = 0";
  return sql + " ORDER BY n.Z_PK";
}

std::string Blob(sqlite3_stmt* row, int column) {
  const void* data = sqlite3_column_blob(row, column);
  return data == nullptr ? std::string()
                         : std::string(static_cast<const char*>(data),
                                       static_cast<size_t>(sqlite3_column_bytes(row, column)));
}

int64_t UnixDate(sqlite3_stmt* row, int column) {
  const int64_t date = ColumnDate(row, column);
  if (date == kNoStoreDate && sqlite3_column_type(row, column) == SQLITE_NULL) return INT64_MIN;
  return date > INT64_MAX - kUnixAt2001 ? INT64_MAX : date + kUnixAt2001;
}

// `text` on one line: control characters become spaces.
std::string OneLine(const std::string& text) {
  std::string line = text;
  for (char& c : line)
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  return line;
}

class WholeReader {
 public:
  WholeReader(const WholeOptions& options, const NoteCatalog& catalog, NoteObjects& objects,
              const WholeCallback& callback, const Warnings& warnings)
      : options_(options),
        catalog_(catalog),
        objects_(objects),
        callback_(callback),
        warnings_(warnings) {}

  int Row(sqlite3_stmt* row) {
    const int64_t pk = sqlite3_column_int64(row, kPk);
    const std::string storedTitle = ColumnText(row, kTitle), name = NoteName(pk, storedTitle);
    pk_ = pk;
    title_ = storedTitle;
    const int64_t folder = sqlite3_column_int64(row, kFolder);
    const bool trash = catalog_.InTrash(folder);
    if (trash && !options_.includeDeleted) return kVeldrakeBackupOk;
    WholeNote note;
    std::string data = Blob(row, kData);
    if (sqlite3_column_int64(row, kLocked) != 0) {
      if (!Open(row, name, &data)) return kVeldrakeBackupOk;
      note.wasLocked = true;
    }
    NoteDocument document;
    const bool decoded = Decode(&data, name, &document);
    if (note.wasLocked) Wipe(&data);
    if (!decoded) return kVeldrakeBackupOk;
    note.id = ColumnText(row, kIdentifier);
    if (note.id.empty()) note.id = std::to_string(pk);
    note.title =
        storedTitle.empty() && !document.lines.empty() ? PlainText(document.lines[0]) : storedTitle;
    note.folderPath = catalog_.FolderPath(folder);
    const NoteAccount* account = catalog_.AccountOf(folder);
    if (account != nullptr && catalog_.AccountCount() > 1) note.account = account->name;
    note.created = UnixDate(row, kCreated);
    note.modified = UnixDate(row, kModified);
    note.pinned = sqlite3_column_int64(row, kPinned) != 0;
    note.deleted = trash;
    objects_.Resolve(document, account != nullptr ? account->identifier : "", name, &note);
    const int result = Render(document, name, &note) ? callback_(note) : kVeldrakeBackupOk;
    WipeNote(&note);
    return result;
  }

 private:
  bool Open(sqlite3_stmt* row, const std::string& name, std::string* data) {
    LockedObject lock;
    lock.salt = Blob(row, kSalt);
    const int64_t iterations = sqlite3_column_int64(row, kIterations);
    lock.iterations =
        iterations > 0 && iterations <= INT32_MAX ? static_cast<uint32_t>(iterations) : 0;
    lock.wrappedKey = Blob(row, kWrapped);
    lock.iv = Blob(row, kIv);
    lock.tag = Blob(row, kTag);
    if (lock.salt.empty() && lock.wrappedKey.empty() && data->compare(0, 8, "bplist00") == 0) {
      warnings_.Say(name +
                    " is locked with the device passcode, which only the phone can open; skipped");
      return false;
    }
    if (!WellFormed(lock)) {
      warnings_.Say(name + " is locked, but its lock is damaged; skipped");
      return false;
    }
    std::string key, plain;
    if (FindNoteKey(options_.passwords, lock, data, &key, &plain) < 0) {
      const std::string hint = OneLine(ColumnText(row, kHint));
      warnings_.Say(name + " is locked and " +
                    (options_.passwords.empty() ? "no note password was given"
                                                : "no note password given opens it") +
                    (hint.empty() ? "" : " (its hint: \"" + hint + "\")") + "; skipped");
      return false;
    }
    Wipe(&key);
    data->swap(plain);
    return true;
  }

  bool Decode(std::string* data, const std::string& name, NoteDocument* document) {
    if (data->empty()) return true;
    std::string inflated;
    const Inflated status = InflateNoteBody(reinterpret_cast<const uint8_t*>(data->data()),
                                            data->size(), options_.bodyCap, &inflated);
    NoteBody body;
    const bool parsed =
        status == Inflated::kOk &&
        ParseNoteBody(reinterpret_cast<const uint8_t*>(inflated.data()), inflated.size(), &body);
    Wipe(&inflated);
    if (status == Inflated::kTooLarge) {
      warnings_.Say(TooLarge(pk_, title_, options_.bodyCap));
      return false;
    }
    if (!parsed) {
      warnings_.Say(name + " has a damaged body; skipped");
      return false;
    }
    if (BuildNoteDocument(std::move(body), kMaxDocumentBytes, document)) return true;
    warnings_.Say(name + " holds too many styled runs to read; skipped");
    return false;
  }

  bool Render(const NoteDocument& document, const std::string& name, WholeNote* note) {
    const ObjectLookup lookup = objects_.Lookup();
    if (RenderNote(document, 1, NoteFormat::kText, lookup, options_.bodyCap, &note->text) &&
        RenderNote(document, 1, NoteFormat::kMarkdown, lookup, options_.bodyCap, &note->markdown) &&
        RenderNote(document, 1, NoteFormat::kHtml, lookup, options_.bodyCap, &note->html))
      return true;
    warnings_.Say(TooLarge(pk_, title_, options_.bodyCap));
    return false;
  }

  const WholeOptions& options_;
  const NoteCatalog& catalog_;
  NoteObjects& objects_;
  const WholeCallback& callback_;
  const Warnings& warnings_;
  int64_t pk_ = 0;
  std::string title_;
};

}  // namespace

void WipeNote(WholeNote* note) {
  for (WholeAttachment& attachment : note->attachments) Wipe(&attachment.key);
  if (!note->wasLocked) return;
  Wipe(&note->text);
  Wipe(&note->markdown);
  Wipe(&note->html);
}

MediaFile NoMediaFiles(const std::string&) {
  return MediaFile();
}

int ReadWholeNotes(sqlite3* db, const WholeOptions& options, const MediaFiles& files,
                   const WholeCallback& callback, const Warnings& warnings) {
  NoteCatalog catalog;
  const int loaded = catalog.Load(db);
  if (loaded != kVeldrakeBackupOk) return loaded;
  if (catalog.Entity("ICNote") < 0) return kVeldrakeBackupStoreUnreadable;
  NoteObjects objects(db, catalog, files, warnings, options.passwords);
  objects.Prepare();  // without attachment rows, objects show as placeholders
  WholeReader reader(options, catalog, objects, callback, warnings);
  return ForEachRow(db, NotesSql(catalog), [&](sqlite3_stmt* row) { return reader.Row(row); });
}

}  // namespace veldrake::backup
