// A note's row in ZICCLOUDSYNCINGOBJECT and its body in ZICNOTEDATA; a note locked with a
// password has its body sealed, one locked with the passcode a keyed archive instead.
#include "NoteRows.h"

#include "Crypto.h"
#include "NoteMarkup.h"
#include "NoteRowWriter.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

const size_t kSnippetBytes = 100;
const size_t kArchiveKeyBytes = 32;

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

bool Fail(const NoteContext& c, const std::string& what, std::string* error) {
  *error = "note \"" + c.note.subject + "\": " + what;
  return false;
}

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