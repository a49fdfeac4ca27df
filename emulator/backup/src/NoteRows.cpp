// A note's rows: its ZICCLOUDSYNCINGOBJECT row, its body in ZICNOTEDATA, and one row per
// attachment (with its media row and file) or inline object. A note locked with a
// password has its body, tables and files sealed, each with a key of its own.
#include "NoteRows.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <variant>

#include "Crypto.h"
#include "Files.h"
#include "NoteBody.h"
#include "NoteCrypto.h"
#include "NoteMarkup.h"
#include "NoteTable.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

const size_t kSnippetBytes = 100;
const size_t kArchiveKeyBytes = 32;

// One row to insert: column names and values, NULL where a value is empty.
struct Row {
  using Cell = std::variant<int64_t, double, std::string>;
  std::vector<std::pair<std::string, Cell>> cells;
  std::vector<bool> blob;
  void Put(const std::string& column, Cell value, bool isBlob = false) {
    cells.emplace_back(column, std::move(value));
    blob.push_back(isBlob);
  }
  void Seal(const Sealed& s) {
    Put("ZCRYPTOSALT", s.salt, true);
    Put("ZCRYPTOITERATIONCOUNT", static_cast<int64_t>(s.iterations));
    Put("ZCRYPTOWRAPPEDKEY", s.wrappedKey, true);
  }
};

bool Insert(Db& db, const char* table, const Row& row, std::string* error) {
  std::string names, marks;
  for (const auto& cell : row.cells) {
    names += (names.empty() ? "" : ", ") + cell.first;
    marks += marks.empty() ? "?" : ", ?";
  }
  Statement insert(
      db,
      ("INSERT INTO " + std::string(table) + " (" + names + ") VALUES (" + marks + ")").c_str());
  for (size_t i = 0; i < row.cells.size(); ++i) {
    const int at = static_cast<int>(i) + 1;
    const Row::Cell& v = row.cells[i].second;
    if (const auto* n = std::get_if<int64_t>(&v))
      insert.Int(at, *n);
    else if (const auto* d = std::get_if<double>(&v))
      insert.Real(at, *d);
    else if (std::get<std::string>(v).empty())
      insert.Null(at);
    else if (row.blob[i])
      insert.Blob(at, std::get<std::string>(v));
    else
      insert.Text(at, std::get<std::string>(v));
  }
  return insert.Run(error);
}

std::string Snippet(const std::string& content) {
  if (content.size() <= kSnippetBytes) return content;
  size_t end = kSnippetBytes;
  while (end > 0 && (static_cast<unsigned char>(content[end]) & 0xC0) == 0x80) --end;
  return content.substr(0, end);
}

// What the note list shows under the title: the text after it, objects left out.
std::string PlainText(const NoteDoc& doc) {
  std::string text;
  for (size_t i = 1; i < doc.paragraphs.size(); ++i) {
    for (const Span& span : doc.paragraphs[i].spans)
      if (span.object < 0) text += span.text;
    if (i + 1 < doc.paragraphs.size()) text += '\n';
  }
  return text;
}

// A passcode-locked body: a keyed archive naming the device's account key, with data no
// password opens.
std::string PasscodeArchive(int64_t pk) {
  ValueDict object;
  object[u"accountKeyIdentifier"] = Value::Ascii(Identifier(pk));
  object[u"cipherVersion"] = Value::Integer(1);
  object[u"encryptedData"] = Value::Data(RandomBytes(kArchiveKeyBytes));
  ValueDict top, archive;
  top[u"root"] = Value::Uid(1);
  archive[u"$archiver"] = Value::Ascii("NSKeyedArchiver");
  archive[u"$version"] = Value::Integer(100000);
  archive[u"$objects"] = Value::Array({Value::Ascii("$null"), Value::Dict(std::move(object))});
  archive[u"$top"] = Value::Dict(std::move(top));
  return WriteBinaryPlist(Value::Dict(std::move(archive)));
}

struct NoteContext {
  StoreWriter& w;
  const Note& note;
  int64_t pk;
  std::string prefix;  // where the account's files go in the group folder
  bool locked;
};

bool Fail(const NoteContext& c, const std::string& what, std::string* error) {
  *error = "note \"" + c.note.subject + "\": " + what;
  return false;
}

// A file the note names, inside the notes set and a regular file.
bool SourceOf(const NoteContext& c, const std::string& file, std::string* source,
              std::string* error) {
  namespace fs = std::filesystem;
  if (file.empty() || file[0] == '/' || file.find("..") != std::string::npos)
    return Fail(c, "the file " + file + " must be named relative to the note", error);
  *source = c.note.baseDir + "/" + file;
  std::error_code ec;
  if (!fs::is_regular_file(fs::symlink_status(*source, ec)))
    return Fail(c, "the file " + file + " is not a regular file beside the note", error);
  return true;
}

// Lists the file to copy in, or for a locked note seals it into the stage folder under
// `<name>.encrypted` and records its key and tag in `cryptoRow`.
bool AddFile(NoteContext& c, const std::string& relativePath, const std::string& source,
             Row* cryptoRow, std::string* error) {
  if (!c.locked) {
    c.w.files->push_back({relativePath, source});
    return true;
  }
  std::ifstream in(source, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  Sealed sealed;
  const std::string staged = c.w.stageDir + "/sealed-" + std::to_string(c.w.files->size());
  if (!in || !SealNoteData(c.note.password, bytes.str(), &sealed) ||
      !WriteFile(staged, sealed.data, error))
    return Fail(c, "cannot seal " + source, error);
  cryptoRow->Seal(sealed);
  cryptoRow->Put("ZCRYPTOINITIALIZATIONVECTOR", sealed.iv, true);
  cryptoRow->Put("ZCRYPTOTAG", sealed.tag, true);
  c.w.files->push_back({relativePath + ".encrypted", staged});
  return true;
}

bool WriteMedia(NoteContext& c, const NoteObject& o, Row* attachment, std::string* error) {
  std::string source;
  if (!SourceOf(c, o.file, &source, error)) return false;
  const int64_t pk = c.w.nextPk++;
  const std::string name = o.file.substr(o.file.rfind('/') + 1);
  Row media;
  media.Put("Z_PK", pk);
  media.Put("Z_ENT", static_cast<int64_t>(c.w.g.e.media));
  media.Put("Z_OPT", int64_t{1});
  media.Put("ZIDENTIFIER", Identifier(pk));
  media.Put("ZFILENAME", name);
  attachment->Put("ZMEDIA", pk);
  return AddFile(c, c.prefix + "Media/" + Identifier(pk) + "/" + name, source, &media, error) &&
         Insert(c.w.db, "ZICCLOUDSYNCINGOBJECT", media, error);
}

// A drawing's fallback image or a scan's fallback PDF, named after the attachment.
bool WriteFallback(NoteContext& c, const NoteObject& o, const std::string& id, std::string* error) {
  if (c.locked) return Fail(c, "a locked note cannot hold " + o.uti, error);
  std::string source;
  if (!SourceOf(c, o.file, &source, error)) return false;
  const bool drawing = o.kind == ObjectKind::kDrawing;
  c.w.files->push_back({c.prefix + (drawing ? "FallbackImages/" : "FallbackPDFs/") + id +
                            (drawing ? ".jpg" : ".pdf"),
                        source});
  return true;
}

bool WriteTable(NoteContext& c, const NoteObject& o, Row* row, std::string* error) {
  std::string data;
  if (!Gzip(TableDocument(o), &data)) return Fail(c, "cannot compress a table", error);
  if (c.locked) {
    Sealed sealed;
    if (!SealNoteData(c.note.password, data, &sealed)) return Fail(c, "cannot seal", error);
    row->Seal(sealed);
    row->Put("ZCRYPTOINITIALIZATIONVECTOR", sealed.iv, true);
    row->Put("ZCRYPTOTAG", sealed.tag, true);
    data = sealed.data;
  }
  row->Put(c.w.g.mergeable1 ? "ZMERGEABLEDATA1" : "ZMERGEABLEDATA", data, true);
  return true;
}

// What an inline object stands for: the tag's standard form, the person, the note.
bool TokenOf(const NoteContext& c, const NoteObject& o, std::string* token, std::string* error) {
  if (o.kind == ObjectKind::kHashtag) {
    *token = o.alt.substr(1);
    for (char& ch : *token) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  } else if (o.kind == ObjectKind::kMention) {
    *token = "mention:" + o.alt.substr(1);
  } else {
    auto found = c.w.noteIds.find(o.title);
    if (found == c.w.noteIds.end()) return Fail(c, "no note is titled " + o.title, error);
    *token = "applenotes:note/" + found->second;
  }
  return true;
}

bool WriteObject(NoteContext& c, const NoteObject& o, ObjectRef* ref, std::string* error) {
  const int64_t pk = c.w.nextPk++;
  *ref = {Identifier(pk), o.uti};
  const bool inlined = o.kind == ObjectKind::kHashtag || o.kind == ObjectKind::kMention ||
                       o.kind == ObjectKind::kNoteLink;
  Row row;
  row.Put("Z_PK", pk);
  row.Put("Z_ENT", static_cast<int64_t>(inlined ? c.w.g.e.inlineAttachment : c.w.g.e.attachment));
  row.Put("Z_OPT", int64_t{1});
  row.Put("ZIDENTIFIER", ref->identifier);
  row.Put("ZTYPEUTI", o.uti);
  row.Put(inlined ? "ZNOTE1" : "ZNOTE", c.pk);
  bool ok = true;
  if (inlined) {
    std::string token;
    ok = TokenOf(c, o, &token, error);
    row.Put("ZALTTEXT", o.alt);
    row.Put("ZTOKENCONTENTIDENTIFIER", token);
  } else if (o.kind == ObjectKind::kMedia) {
    ok = WriteMedia(c, o, &row, error);
  } else if (o.kind == ObjectKind::kDrawing || o.kind == ObjectKind::kScan) {
    ok = WriteFallback(c, o, ref->identifier, error);
  } else if (o.kind == ObjectKind::kUrl) {
    row.Put("ZURLSTRING", o.url);
    row.Put("ZTITLE", o.title);
  } else {
    ok = WriteTable(c, o, &row, error);
  }
  return ok && Insert(c.w.db, "ZICCLOUDSYNCINGOBJECT", row, error);
}

// The body's bytes: gzip + protobuf, sealed when locked with a password; a keyed
// archive when locked with the passcode.
bool Body(NoteContext& c, const NoteDoc& doc, const std::vector<ObjectRef>& refs, bool passcode,
          Row* note, Row* data, std::string* error) {
  if (passcode) {
    data->Put("ZDATA", PasscodeArchive(c.pk), true);
    return true;
  }
  std::string body;
  if (!Gzip(NoteDocument(doc, refs), &body)) return Fail(c, "cannot compress the body", error);
  if (c.locked) {
    Sealed sealed;
    if (!SealNoteData(c.note.password, body, &sealed)) return Fail(c, "cannot seal", error);
    note->Seal(sealed);
    data->Put("ZCRYPTOINITIALIZATIONVECTOR", sealed.iv, true);
    data->Put("ZCRYPTOTAG", sealed.tag, true);
    body = sealed.data;
  }
  data->Put("ZDATA", body, true);
  return true;
}

Row NoteRow(const NoteContext& c, const NoteDoc& doc, int64_t dataPk, bool hidden) {
  const std::string account = c.note.account.empty() ? kLocalAccount : c.note.account;
  Row row;
  row.Put("Z_PK", c.pk);
  row.Put("Z_ENT", static_cast<int64_t>(c.w.g.e.note));
  row.Put("Z_OPT", int64_t{1});
  row.Put("ZMARKEDFORDELETION", int64_t{0});
  row.Put("ZISPASSWORDPROTECTED", int64_t{hidden ? 1 : 0});
  row.Put("ZISPINNED", int64_t{c.note.pinned ? 1 : 0});
  row.Put("ZFOLDER", c.w.folders.at(FolderKey(account, c.note.folder)));
  row.Put("ZACCOUNT2", c.w.folders.at(account));
  row.Put("ZNOTEDATA", dataPk);
  row.Put(c.w.g.creationDate3 ? "ZCREATIONDATE3" : "ZCREATIONDATE1",
          c.note.created != 0 ? c.note.created : c.note.modified);
  row.Put("ZMODIFICATIONDATE1", c.note.modified);
  row.Put("ZTITLE1", c.note.subject);
  row.Put("ZSNIPPET", hidden ? std::string() : Snippet(PlainText(doc)));
  row.Put("ZIDENTIFIER", Identifier(c.pk));
  if (hidden) row.Put("ZPASSWORDHINT", c.note.hint);
  return row;
}

}  // namespace

bool WriteNoteRows(StoreWriter& w, const Note& note, int64_t pk, std::string* error) {
  const std::string account = note.account.empty() ? kLocalAccount : note.account;
  NoteContext c{w, note, pk, w.g.accountFolders ? "Accounts/" + w.accountIds.at(account) + "/" : "",
                !note.password.empty()};
  const bool passcode = note.passcodeLocked && w.g.passcodeLock && !c.locked;
  const NoteDoc doc = note.markup.empty()
                          ? PlainNoteDoc(note.subject, note.content)
                          : ParseNoteMarkup(note.subject, note.markup, w.g.features);
  std::vector<ObjectRef> refs(doc.objects.size());
  for (size_t i = 0; i < doc.objects.size(); ++i)
    if (!WriteObject(c, doc.objects[i], &refs[i], error)) return false;
  const int64_t dataPk = w.nextDataPk++;
  Row row = NoteRow(c, doc, dataPk, c.locked || passcode), data;
  data.Put("Z_PK", dataPk);
  data.Put("Z_ENT", static_cast<int64_t>(w.g.e.noteData));
  data.Put("Z_OPT", int64_t{1});
  data.Put("ZNOTE", pk);
  return Body(c, doc, refs, passcode, &row, &data, error) &&
         Insert(w.db, "ZICCLOUDSYNCINGOBJECT", row, error) &&
         Insert(w.db, "ZICNOTEDATA", data, error);
}

}  // namespace devicesim::backup
