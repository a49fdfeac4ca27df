// NoteRecord: the host's own copy of one note whole, the one record every notes writer
// reads, whichever route it came by.
//
// From a backup it is copied out of the VeldrakeNote the library lends (BackupNotes.h):
// identifier, title, folder path, account, dates, pinned state, the body as text,
// Markdown and HTML, the attachments, tables and tags. From the sync route (older phones)
// it is made from the QX::Notes copy: the subject is the title, the content the text, and
// `plain` tells the writers to escape that text for Markdown and HTML, so the same
// writers serve both.
//
// Links in `markdown` and `html` keep the library's two URL forms
// ("veldrake-attachment:<id>", "veldrake-note:<id>") until a writer resolves them
// (NoteLinks.h). Texts are valid UTF-8 (copied through CopyText).
//
// Thread contract: plain values; the copy functions touch nothing shared.
#ifndef VELDRAKE_HOST_NOTERECORD_H_
#define VELDRAKE_HOST_NOTERECORD_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Records.h"

struct VeldrakeNote;

namespace host {

// A date the note does not have (VeldrakeNote's INT64_MIN).
constexpr int64_t kNoNoteDate = INT64_MIN;

struct NoteAttachmentRecord {
  std::string id;
  int kind = 0;  // a VeldrakeNoteAttachmentKind
  std::string type;
  std::string fileName;  // "" when there is no file (URL card, table, missing media)
  Text title;
  Text url;
  int64_t size = -1;
  std::string path;  // relative to the output folder once written there, else ""
};

struct NoteTableRecord {
  std::string attachmentId;
  size_t rows = 0, columns = 0;
  std::vector<std::string> cells;  // cells[row * columns + column]
};

struct NoteRecord {
  Text id;  // none on the sync route
  std::string title;
  std::vector<std::string> folderPath;  // outermost first
  Text account;
  int64_t created = kNoNoteDate;  // seconds since 1970-01-01 UTC
  int64_t modified = kNoNoteDate;
  bool pinned = false;
  bool deleted = false;
  bool hasTitle = true, hasText = true;  // false: the sync route's device sent none
  bool plain = false;  // the sync route's: no Markdown or HTML, writers escape `text`
  std::string text, markdown, html;
  std::vector<NoteAttachmentRecord> attachments;
  std::vector<NoteTableRecord> tables;
  std::vector<std::string> tags;
};

// A sync-route note as a whole record, its texts moved in.
NoteRecord FromSyncNote(Note&& note);
// A copy of the note the backup library lends; counts below zero count as none, a table
// whose cells do not add up has none, and a deleted note is in "Recently Deleted".
NoteRecord CopyBackupNote(const VeldrakeNote& note);

// Whether the attachment has a file of its own to write (not a URL card, table or missing).
bool AttachmentHasFile(const NoteAttachmentRecord& attachment);

// The sync route's record again without its content: the subject and date, for the
// writers of a single document (the caller moves the content in and out).
Note SyncHeader(const NoteRecord& note);

// Seconds since 1970 UTC -> "2023-04-05T06:07:08Z"; nullopt for kNoNoteDate.
std::optional<std::string> NoteTimeToIso(int64_t unixSeconds);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTERECORD_H_
