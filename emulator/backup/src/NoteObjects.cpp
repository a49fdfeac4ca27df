// A note's attachments and inline objects: one row each, with a media row and its file
// for a file, the fallback file of a drawing or scan, the merge document of a table. A
// locked note's files and tables are sealed, each with a key of its own.
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Files.h"
#include "NoteRowWriter.h"
#include "NoteTable.h"

namespace devicesim::backup {
namespace {

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

}  // namespace

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

}  // namespace devicesim::backup
