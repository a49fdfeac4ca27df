// Whole-note records from either route, read through the published layouts only.
#include "NoteRecord.h"

#include "Dates.h"
#include "veldrake/BackupNotes.h"

namespace host {
namespace {

// 2001-01-01 in Unix time: the sync route counts from there.
constexpr int64_t kReferenceDate = 978307200;
// The sync route's "no date".
constexpr int64_t kNoDeviceDate = -1;
// The folder the phone shows deleted notes in.
const char kRecentlyDeleted[] = "Recently Deleted";

std::string Copied(const char* text) {
  return CopyText(text).value_or("");
}

size_t Count(int count) {
  return count > 0 ? static_cast<size_t>(count) : 0;
}

std::vector<std::string> CopyTexts(const char* const* texts, size_t count) {
  std::vector<std::string> out;
  if (texts == nullptr) return out;
  for (size_t i = 0; i < count; ++i) out.push_back(Copied(texts[i]));
  return out;
}

NoteAttachmentRecord CopyAttachment(const VeldrakeNoteAttachment& a) {
  NoteAttachmentRecord out;
  out.id = Copied(a.id);
  out.kind = a.kind;
  out.type = Copied(a.type);
  out.fileName = Copied(a.fileName);
  out.title = CopyText(a.title);
  out.url = CopyText(a.url);
  out.size = a.size;
  return out;
}

NoteTableRecord CopyTable(const VeldrakeNoteTable& t) {
  NoteTableRecord out;
  out.attachmentId = Copied(t.attachmentId);
  out.rows = Count(t.rows);
  out.columns = Count(t.columns);
  // Two ints: the product fits. No cells where some are promised: an empty table.
  out.cells = CopyTexts(t.cells, out.rows * out.columns);
  if (out.cells.size() != out.rows * out.columns) out.rows = out.columns = 0;
  return out;
}

}  // namespace

std::optional<std::string> NoteTimeToIso(int64_t unixSeconds) {
  if (unixSeconds < INT64_MIN + kReferenceDate) return std::nullopt;  // kNoNoteDate too
  const int64_t device = unixSeconds - kReferenceDate;
  // NoteDateToIso keeps -1 for "no date"; the second before the reference is a real one.
  if (device == kNoDeviceDate) return std::string("2000-12-31T23:59:59Z");
  return NoteDateToIso(device);
}

NoteRecord FromSyncNote(Note&& note) {
  NoteRecord out;
  out.hasTitle = note.subject.has_value();
  out.hasText = note.content.has_value();
  if (note.subject) out.title = std::move(*note.subject);
  if (note.content) out.text = std::move(*note.content);
  if (note.dateModified != kNoDeviceDate && note.dateModified <= INT64_MAX - kReferenceDate)
    out.modified = note.dateModified + kReferenceDate;
  out.plain = true;
  return out;
}

bool AttachmentHasFile(const NoteAttachmentRecord& a) {
  return !a.fileName.empty() && a.kind != kVeldrakeAttachmentUrl &&
         a.kind != kVeldrakeAttachmentTable && a.kind != kVeldrakeAttachmentMissing;
}

Note SyncHeader(const NoteRecord& note) {
  Note out;
  if (note.hasTitle) out.subject = note.title;
  if (note.modified >= INT64_MIN + kReferenceDate &&
      note.modified - kReferenceDate != kNoDeviceDate)
    out.dateModified = note.modified - kReferenceDate;
  return out;
}

NoteRecord CopyBackupNote(const VeldrakeNote& note) {
  NoteRecord out;
  out.id = CopyText(note.id);
  out.title = Copied(note.title);
  out.folderPath = CopyTexts(note.folderPath, Count(note.folderDepth));
  out.account = CopyText(note.account);
  out.created = note.created;
  out.modified = note.modified;
  out.pinned = note.pinned != 0;
  out.deleted = note.deleted != 0;
  if (out.deleted && (out.folderPath.empty() || out.folderPath[0] != kRecentlyDeleted))
    out.folderPath = {kRecentlyDeleted};
  out.text = Copied(note.text);
  out.markdown = Copied(note.markdown);
  out.html = Copied(note.html);
  if (note.attachments != nullptr)
    for (size_t i = 0; i < Count(note.attachmentCount); ++i)
      out.attachments.push_back(CopyAttachment(note.attachments[i]));
  if (note.tables != nullptr)
    for (size_t i = 0; i < Count(note.tableCount); ++i)
      out.tables.push_back(CopyTable(note.tables[i]));
  out.tags = CopyTexts(note.tags, Count(note.tagCount));
  return out;
}

}  // namespace host
