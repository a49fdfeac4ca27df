// Notes one after another in one document.
#include "NotesDocument.h"

#include <sstream>

#include "NoteJson.h"
#include "NoteLinks.h"
#include "NotesWriter.h"

namespace host {
namespace {

// The Markdown body with its links made harmless: attachments by their file name.
std::string NamedLinks(const NoteRecord& note) {
  const LinkResolver resolve = [&](LinkKind kind,
                                   const std::string& id) -> std::optional<std::string> {
    if (kind == LinkKind::kAttachment)
      for (const NoteAttachmentRecord& a : note.attachments)
        if (a.id == id && !a.fileName.empty()) return PercentEncodePath(a.fileName);
    return std::nullopt;
  };
  std::ostringstream out;
  ResolveLinks(out, note.markdown, resolve, kNowhere);
  return out.str();
}

}  // namespace

void WriteNoteInDocument(std::ostream& out, Format format, NoteRecord&& note, size_t index) {
  if (format == Format::kNotesJson) return WriteNoteJsonItem(out, std::move(note), index);
  const bool markdown = format == Format::kMarkdown;
  const NotesWriter writer(markdown ? NotesWriter::kMarkdown : NotesWriter::kText);
  if (index > 0) out << writer.Separator();
  Note shown = SyncHeader(note);
  // A sync-route note's content stays as the phone sent it, as it always has.
  shown.content = markdown && !note.plain ? NamedLinks(note) : std::move(note.text);
  writer.WriteNote(out, shown);
}

void EndNotesDocument(std::ostream& out, Format format, size_t count) {
  if (format == Format::kNotesJson) EndNotesJson(out, count);
}

size_t AttachmentFiles(const NoteRecord& note) {
  size_t count = 0;
  for (const NoteAttachmentRecord& a : note.attachments) count += AttachmentHasFile(a);
  return count;
}

std::string AttachmentsLeftOutLine(size_t count) {
  if (count == 0) return "";
  return std::to_string(count) + (count == 1 ? " attachment is" : " attachments are") +
         " named but not written: -o DIR/ writes them beside their notes";
}

}  // namespace host
