// The hostile notes: ordinary note rows in the phone's own "Notes" folder whose objects
// or locks are broken in one way each.
#include "NoteFaults.h"

#include "Files.h"
#include "NoteFaultTables.h"
#include "NoteMarkup.h"
#include "NoteRowWriter.h"

namespace devicesim::backup {
namespace {

const char kFaultPassword[] = "fault";
const int64_t kHugeIterations = 2147483647;
const size_t kMillion = 1000000, kShortData = 5, kShortKey = 7;

struct Fault {
  StoreWriter& w;
  int64_t note;
  std::string prefix;
};

Row ObjectRow(const Fault& f, int64_t pk, int entity, const std::string& uti) {
  Row row;
  row.Put("Z_PK", pk);
  row.Put("Z_ENT", static_cast<int64_t>(entity));
  row.Put("Z_OPT", int64_t{1});
  row.Put("ZIDENTIFIER", Identifier(pk));
  if (!uti.empty()) row.Put("ZTYPEUTI", uti);
  if (entity == f.w.g.e.attachment) row.Put("ZNOTE", f.note);
  return row;
}

// The note row and its body; `sealed` locks it.
bool NoteWith(const Fault& f, const std::string& title, const std::string& body,
              const Sealed* sealed, std::string* error) {
  if (body.empty()) {
    *error = "cannot compress the note \"" + title + "\"";
    return false;
  }
  const int64_t dataPk = f.w.nextDataPk++;
  Row note = ObjectRow(f, f.note, f.w.g.e.note, ""), data;
  note.Put("ZMARKEDFORDELETION", int64_t{0});
  note.Put("ZISPASSWORDPROTECTED", int64_t{sealed ? 1 : 0});
  note.Put("ZFOLDER", f.w.folders.at(FolderKey(kLocalAccount, {})));
  note.Put("ZNOTEDATA", dataPk);
  note.Put("ZTITLE1", title);
  data.Put("Z_PK", dataPk);
  data.Put("Z_ENT", static_cast<int64_t>(f.w.g.e.noteData));
  data.Put("ZNOTE", f.note);
  if (sealed) {
    note.Seal(*sealed);
    data.Put("ZCRYPTOINITIALIZATIONVECTOR", sealed->iv, true);
    data.Put("ZCRYPTOTAG", sealed->tag, true);
  }
  data.Put("ZDATA", body, true);
  return Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", note, error) &&
         Insert(f.w.db, "ZICNOTEDATA", data, error);
}

// A body of the title and one object.
std::string BodyWith(const std::string& title, int64_t object, const std::string& uti) {
  NoteDoc doc = PlainNoteDoc(title, "x");
  doc.paragraphs.back().spans = {TextSpan(kObjectChar)};
  doc.paragraphs.back().spans[0].object = 0;
  std::string body;
  return Gzip(NoteDocument(doc, {{Identifier(object), uti}}), &body) ? body : std::string();
}

bool TableFault(Fault& f, const std::string& title, const std::string& document,
                std::string* error) {
  const int64_t pk = f.w.nextPk++;
  Row row = ObjectRow(f, pk, f.w.g.e.attachment, "com.apple.notes.table");
  std::string data;
  if (!Gzip(document, &data)) data.clear();
  row.Put(f.w.g.mergeable1 ? "ZMERGEABLEDATA1" : "ZMERGEABLEDATA", data, true);
  return Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", row, error) &&
         NoteWith(f, title, BodyWith(title, pk, "com.apple.notes.table"), nullptr, error);
}

// Two picture attachments, each naming the other as its media.
bool MutualAttachments(Fault& f, std::string* error) {
  const int64_t a = f.w.nextPk++, b = f.w.nextPk++;
  Row first = ObjectRow(f, a, f.w.g.e.attachment, "public.jpeg");
  Row second = ObjectRow(f, b, f.w.g.e.attachment, "public.jpeg");
  first.Put("ZMEDIA", b);
  second.Put("ZMEDIA", a);
  const std::string title = "Fault: attachments pointing at each other";
  return Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", first, error) &&
         Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", second, error) &&
         NoteWith(f, title, BodyWith(title, a, "public.jpeg"), nullptr, error);
}

// A picture whose media row names `fileName`; `inside` (if any) is put in the backup at
// that path plus "/inside.jpg", making the media's own path a folder.
bool MediaFault(Fault& f, const std::string& title, const std::string& fileName, bool folder,
                std::string* error) {
  const int64_t pk = f.w.nextPk++, media = f.w.nextPk++;
  Row row = ObjectRow(f, pk, f.w.g.e.attachment, "public.jpeg");
  row.Put("ZMEDIA", media);
  Row mediaRow = ObjectRow(f, media, f.w.g.e.media, "");
  mediaRow.Put("ZFILENAME", fileName);
  if (folder) {
    const std::string staged = f.w.stageDir + "/fault-" + std::to_string(media);
    if (!WriteFile(staged, "not a picture", error)) return false;
    f.w.files->push_back(
        {f.prefix + "Media/" + Identifier(media) + "/" + fileName + "/inside.jpg", staged});
  }
  return Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", row, error) &&
         Insert(f.w.db, "ZICCLOUDSYNCINGOBJECT", mediaRow, error) &&
         NoteWith(f, title, BodyWith(title, pk, "public.jpeg"), nullptr, error);
}

// A million one-character runs, alternately bold and plain.
bool MillionRuns(Fault& f, std::string* error) {
  const std::string title = "Fault: a million runs";
  std::string note, runs, document, store, body, run;
  PutInt(run, 1, static_cast<int64_t>(title.size() + 1));
  PutBytes(runs, 5, run);
  for (size_t i = 0; i < kMillion; ++i) {
    run.clear();
    PutInt(run, 1, 1);
    if (i % 2) PutInt(run, 5, 1);
    PutBytes(runs, 5, run);
  }
  PutBytes(note, 2, title + "\n" + std::string(kMillion, 'a'));
  PutBytes(document, 3, note + runs);
  PutBytes(store, 2, document);
  return Gzip(store, &body) && NoteWith(f, title, body, nullptr, error);
}

// A note locked with "fault" whose lock is then broken by `breakIt`.
bool LockFault(Fault& f, const std::string& title, void (*breakIt)(Sealed&), std::string* error) {
  std::string body;
  Sealed sealed;
  if (!Gzip(NoteDocument(PlainNoteDoc(title, "locked"), {}), &body) ||
      !SealNoteData(kFaultPassword, body, &sealed)) {
    *error = "cannot seal a fault note";
    return false;
  }
  breakIt(sealed);
  return NoteWith(f, title, sealed.data, &sealed, error);
}

}  // namespace

bool WriteFaultNotes(StoreWriter& w, std::string* error) {
  Fault f{w, 0, w.g.accountFolders ? "Accounts/" + w.accountIds.at(kLocalAccount) + "/" : ""};
  auto next = [&f] { return (f.note = f.w.nextPk++) > 0; };
  return next() && TableFault(f, "Fault: table indexes out of range", TableOutOfRange(), error) &&
         next() && TableFault(f, "Fault: table cycle", TableCycle(), error) && next() &&
         TableFault(f, "Fault: a million empty rows", TableMillionRows(), error) && next() &&
         MutualAttachments(f, error) && next() &&
         MediaFault(f, "Fault: media is a folder", "photo.jpg", true, error) && next() &&
         MediaFault(f, "Fault: media file missing", "missing.jpg", false, error) && next() &&
         MediaFault(f, "Fault: media name climbs out", "../../../evil.jpg", false, error) &&
         next() && MillionRuns(f, error) && next() &&
         LockFault(
             f, "Fault: GCM data shorter than its tag",
             [](Sealed& s) { s.data.resize(kShortData); }, error) &&
         next() &&
         LockFault(
             f, "Fault: huge iteration count",
             [](Sealed& s) { s.iterations = static_cast<uint32_t>(kHugeIterations); }, error) &&
         next() &&
         LockFault(
             f, "Fault: wrapped key cut short", [](Sealed& s) { s.wrappedKey.resize(kShortKey); },
             error);
}

}  // namespace devicesim::backup
