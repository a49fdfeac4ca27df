// Attachment rows: one prepared query, run once per object a note refers to.
#include "NoteObjects.h"

#include <sqlite3.h>

#include <algorithm>

#include "Crypto.h"
#include "NoteFileName.h"
#include "NoteKinds.h"
#include "NoteRecord.h"
#include "NoteTable.h"
#include "veldrake/BackupNotes.h"

namespace veldrake::backup {
namespace {

const char kAttachmentLink[] = "veldrake-attachment:";
const char kNoteLinkUrl[] = "veldrake-note:";
const char kNoteToken[] = "applenotes:note/";
const char kLockedSuffix[] = ".encrypted";

enum Column {
  kEntity,
  kType,
  kTitle,
  kUrl,
  kMerge,
  kAlt,
  kToken,
  kCrypto,
  kMediaId = kCrypto + 5,
  kFileName,
  kMediaCrypto,
};

std::string CryptoColumns(const std::set<std::string>& columns, const char* alias) {
  std::string list;
  for (const char* name : {"ZCRYPTOSALT", "ZCRYPTOITERATIONCOUNT", "ZCRYPTOWRAPPEDKEY",
                           "ZCRYPTOINITIALIZATIONVECTOR", "ZCRYPTOTAG"})
    list += ", " + FirstColumn(columns, alias, {name});
  return list;
}

std::string Blob(sqlite3_stmt* row, int column) {
  const void* data = sqlite3_column_blob(row, column);
  return data == nullptr ? std::string()
                         : std::string(static_cast<const char*>(data),
                                       static_cast<size_t>(sqlite3_column_bytes(row, column)));
}

// The five crypto columns from `first`; false when the object is not sealed.
bool ReadCrypto(sqlite3_stmt* row, int first, LockedObject* crypto) {
  crypto->salt = Blob(row, first);
  const int64_t iterations = sqlite3_column_int64(row, first + 1);
  crypto->iterations =
      iterations > 0 && iterations <= INT32_MAX ? static_cast<uint32_t>(iterations) : 0;
  crypto->wrappedKey = Blob(row, first + 2);
  crypto->iv = Blob(row, first + 3);
  crypto->tag = Blob(row, first + 4);
  return !crypto->salt.empty() || !crypto->wrappedKey.empty();
}

// A note identifier we can put in a link: letters, digits and dashes.
bool IsPlainId(const std::string& id) {
  return !id.empty() && id.size() <= 64 && std::all_of(id.begin(), id.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
  });
}

}  // namespace

struct NoteObjects::Row {
  std::string type, title, url, merge, alt, token, mediaId, fileName;
  bool hasMedia = false, locked = false, mediaLocked = false;
  LockedObject crypto, mediaCrypto;
};

NoteObjects::NoteObjects(sqlite3* db, const NoteCatalog& catalog, const MediaFiles& files,
                         const Warnings& warnings, const std::vector<std::string>& passwords)
    : db_(db), catalog_(catalog), files_(files), warnings_(warnings), passwords_(passwords) {}

NoteObjects::~NoteObjects() {
  sqlite3_finalize(statement_);
}

bool NoteObjects::Prepare() {
  const std::set<std::string>& c = catalog_.ObjectColumns();
  if (c.count("ZIDENTIFIER") == 0) return false;
  const std::string media = std::to_string(catalog_.Entity("ICMedia"));
  std::string sql = "SELECT a.Z_ENT, " + FirstColumn(c, "a", {"ZTYPEUTI", "ZTYPEUTI1"}) + ", " +
                    FirstColumn(c, "a", {"ZTITLE"}) + ", " + FirstColumn(c, "a", {"ZURLSTRING"}) +
                    ", " + FirstColumn(c, "a", {"ZMERGEABLEDATA1", "ZMERGEABLEDATA"}) + ", " +
                    FirstColumn(c, "a", {"ZALTTEXT"}) + ", " +
                    FirstColumn(c, "a", {"ZTOKENCONTENTIDENTIFIER"}) + CryptoColumns(c, "a") +
                    ", m.ZIDENTIFIER, " + FirstColumn(c, "m", {"ZFILENAME"}) +
                    CryptoColumns(c, "m") + " FROM ZICCLOUDSYNCINGOBJECT AS a";
  sql += " LEFT JOIN ZICCLOUDSYNCINGOBJECT AS m ON ";
  sql += c.count("ZMEDIA") != 0 ? "m.Z_PK = a.ZMEDIA AND m.Z_ENT = " + media : "0";
  const std::string entities = std::to_string(catalog_.Entity("ICAttachment")) + ", " +
                               std::to_string(catalog_.Entity("ICInlineAttachment"));
  sql += " WHERE a.Z_PK = ?1 AND a.Z_ENT IN (" + entities + ")";
  return IndexRows(entities) &&
         sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement_, nullptr) == SQLITE_OK;
}

bool NoteObjects::IndexRows(const std::string& entities) {
  rows_.clear();
  const std::string sql = "SELECT Z_PK, ZIDENTIFIER FROM ZICCLOUDSYNCINGOBJECT WHERE Z_ENT IN (" +
                          entities + ") AND ZIDENTIFIER IS NOT NULL ORDER BY Z_PK";
  return ForEachRow(db_, sql, [this](sqlite3_stmt* row) {
           const std::string id = ColumnText(row, 1);
           rows_.emplace(id, sqlite3_column_int64(row, 0));  // the first row wins
           return kVeldrakeBackupOk;
         }) == kVeldrakeBackupOk;
}

bool NoteObjects::Fetch(const std::string& id, Row* row) {
  const auto found = rows_.find(id);
  if (statement_ == nullptr || found == rows_.end()) return false;
  sqlite3_reset(statement_);
  sqlite3_bind_int64(statement_, 1, found->second);
  if (sqlite3_step(statement_) != SQLITE_ROW) return false;
  row->type = ColumnText(statement_, kType);
  row->title = ColumnText(statement_, kTitle);
  row->url = ColumnText(statement_, kUrl);
  row->merge = Blob(statement_, kMerge);
  row->alt = ColumnText(statement_, kAlt);
  row->token = ColumnText(statement_, kToken);
  row->locked = ReadCrypto(statement_, kCrypto, &row->crypto);
  row->hasMedia = sqlite3_column_type(statement_, kMediaId) != SQLITE_NULL;
  row->mediaId = ColumnText(statement_, kMediaId);
  row->fileName = ColumnText(statement_, kFileName);
  row->mediaLocked = ReadCrypto(statement_, kMediaCrypto, &row->mediaCrypto);
  sqlite3_reset(statement_);
  return true;
}

void NoteObjects::Resolve(const NoteDocument& document, const std::string& accountId,
                          const std::string& name, WholeNote* note) {
  shown_.clear();
  tables_.clear();
  names_.clear();
  accountId_ = accountId;
  name_ = name;
  ResolveSpans(document, true, note);
}

ObjectLookup NoteObjects::Lookup() const {
  return [this](const std::string& id) -> const ShownObject* {
    const auto found = shown_.find(id);
    return found == shown_.end() ? nullptr : &found->second;
  };
}

void NoteObjects::ResolveSpans(const NoteDocument& document, bool tables, WholeNote* note) {
  for (const NoteLine& line : document.lines)
    for (const NoteSpan& span : line.spans)
      if (span.object && span.objectId != 0)
        ResolveOne(document.String(span.objectId), document.String(span.objectType), tables, note);
}

void NoteObjects::ResolveOne(const std::string& id, const std::string& bodyType, bool tables,
                             WholeNote* note) {
  if (shown_.count(id) != 0) return;
  ShownObject& shown = shown_[id];
  Row row;
  WholeAttachment attachment;
  attachment.id = id;
  const bool found = Fetch(id, &row);
  attachment.type = row.type.empty() ? bodyType : row.type;
  attachment.title = row.title;
  const TypeClass kind = ClassOf(attachment.type);
  if (kind == TypeClass::kHashtag || kind == TypeClass::kNoteLink || kind == TypeClass::kInline) {
    if (found) return Inline(row, &shown, note);
    shown.show = ObjectShow::kInline;
    shown.text = row.alt;
    return;
  }
  if (!found) {
    Missing(&attachment, "has no row in the notes store", &shown);
  } else if (kind == TypeClass::kUrl) {
    attachment.kind = kVeldrakeAttachmentUrl;
    attachment.url = row.url;
    shown = {ObjectShow::kUrl, row.title, row.url, nullptr};
  } else if (kind == TypeClass::kTable) {
    if (tables)
      Table(row, &attachment, &shown, note);
    else
      Missing(&attachment, "is a table inside a table", &shown);
  } else {
    File(row, &attachment, &shown);
  }
  note->attachments.push_back(std::move(attachment));
}

void NoteObjects::Inline(const Row& row, ShownObject* shown, WholeNote* note) {
  const TypeClass kind = ClassOf(row.type);
  shown->show = ObjectShow::kInline;
  shown->text = row.alt;
  if (kind == TypeClass::kHashtag) {
    const std::string tag = row.alt.empty() || row.alt[0] != '#' ? row.alt : row.alt.substr(1);
    if (!tag.empty() && std::find(note->tags.begin(), note->tags.end(), tag) == note->tags.end())
      note->tags.push_back(tag);
  }
  const size_t prefix = sizeof kNoteToken - 1;
  if (kind != TypeClass::kNoteLink || row.token.compare(0, prefix, kNoteToken) != 0) return;
  const std::string target = row.token.substr(prefix);
  if (!IsPlainId(target)) return;
  shown->show = ObjectShow::kNoteLink;
  shown->target = kNoteLinkUrl + target;
}

bool NoteObjects::Unseal(const LockedObject& crypto, const std::string* data, std::string* key,
                         std::string* plain) {
  return FindNoteKey(passwords_, crypto, data, key, plain) >= 0;
}

void NoteObjects::Missing(WholeAttachment* attachment, const std::string& why, ShownObject* shown) {
  const std::string what = attachment->fileName.empty() ? attachment->type : attachment->fileName;
  warnings_.Say(name_ + ": attachment \"" + what + "\" " + why + "; a placeholder stands in");
  *shown = {ObjectShow::kMissing, "missing: " + what, "", nullptr};
  attachment->kind = kVeldrakeAttachmentMissing;
  attachment->fileName.clear();
  attachment->path.clear();
  attachment->locked = false;
}

void NoteObjects::Table(const Row& row, WholeAttachment* attachment, ShownObject* shown,
                        WholeNote* note) {
  std::string data = row.merge, key, why;
  if (row.locked && !Unseal(row.crypto, &row.merge, &key, &data))
    return Missing(attachment, "is locked and no password given opens it", shown);
  Wipe(&key);
  auto table = std::make_unique<NoteTableCells>();
  const bool read = ReadNoteTable(data, table.get(), &why);
  if (row.locked) Wipe(&data);
  if (!read) return Missing(attachment, "is a table that cannot be read (" + why + ")", shown);
  for (const NoteDocument& cell : table->cells) ResolveSpans(cell, false, note);
  WholeTable whole;
  whole.attachmentId = attachment->id;
  whole.rows = table->rows;
  whole.columns = table->columns;
  for (const NoteDocument& cell : table->cells)
    whole.cells.push_back(RenderCell(cell, NoteFormat::kMarkdown, Lookup()));
  note->tables.push_back(std::move(whole));
  attachment->kind = kVeldrakeAttachmentTable;
  *shown = {ObjectShow::kTable, "", "", table.get()};
  tables_.push_back(std::move(table));
}

void NoteObjects::File(const Row& row, WholeAttachment* attachment, ShownObject* shown) {
  const TypeClass kind = ClassOf(attachment->type);
  const bool fallback = kind == TypeClass::kDrawing || kind == TypeClass::kScan;
  std::string path, name;
  if (fallback) {
    const std::string extension = FallbackExtension(kind);
    name = row.title.empty() ? (kind == TypeClass::kDrawing ? "Drawing" : "Scan") : row.title;
    if (name.size() < extension.size() ||
        name.compare(name.size() - extension.size(), extension.size(), extension) != 0)
      name += extension;
    path = FallbackFolder(kind) + attachment->id + extension;
  } else {
    if (!row.hasMedia) return Missing(attachment, "has no media row", shown);
    name = row.fileName;
    path = "Media/" + row.mediaId + "/" + row.fileName + (row.mediaLocked ? kLockedSuffix : "");
  }
  attachment->fileName = UniqueFileName(SafeFileName(name, "attachment"), &names_);
  if (kind == TypeClass::kUnknown && warnedTypes_.insert(attachment->type).second)
    warnings_.Say("attachments of type \"" + attachment->type + "\" are exported as plain files");
  MediaFile file;
  const std::string prefix = accountId_.empty() ? "" : "Accounts/" + accountId_ + "/";
  if (!prefix.empty()) file = files_(prefix + path);
  if (file.state == MediaFile::kAbsent)
    file = files_(path);
  else
    path = prefix + path;
  if (file.state == MediaFile::kAbsent) return Missing(attachment, "is not in the backup", shown);
  if (file.state == MediaFile::kNotAFile)
    return Missing(attachment, "is a folder or a link in the backup", shown);
  if (file.state == MediaFile::kDamaged)
    return Missing(attachment, "has a damaged record, or a size its file does not have", shown);
  if (!fallback && row.mediaLocked) {
    if (!Unseal(row.mediaCrypto, nullptr, &attachment->key, nullptr))
      return Missing(attachment, "is locked and no password given opens it", shown);
    attachment->locked = true;
    attachment->crypto = row.mediaCrypto;
  }
  attachment->path = path;
  attachment->size = file.size;
  attachment->place = file.place;
  attachment->kind = kind == TypeClass::kImage     ? kVeldrakeAttachmentImage
                     : kind == TypeClass::kDrawing ? kVeldrakeAttachmentDrawing
                     : kind == TypeClass::kScan    ? kVeldrakeAttachmentScan
                                                   : kVeldrakeAttachmentFile;
  const bool image = kind == TypeClass::kImage || kind == TypeClass::kDrawing;
  *shown = {image ? ObjectShow::kImage : ObjectShow::kFile, attachment->fileName,
            kAttachmentLink + attachment->id, nullptr};
}

}  // namespace veldrake::backup
