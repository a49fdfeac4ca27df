// All notes as one document.
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
  return ResolveLinks(note.markdown, resolve, "#");
}

}  // namespace

std::string NotesDocument(Format format, const std::vector<NoteRecord>& notes) {
  std::ostringstream out;
  if (format == Format::kNotesJson) {
    WriteNotesJson(out, notes);
    return out.str();
  }
  const bool markdown = format == Format::kMarkdown;
  std::vector<Note> copies;
  copies.reserve(notes.size());
  for (const NoteRecord& note : notes)
    copies.push_back(ToSyncNote(note, markdown ? NamedLinks(note) : note.text));
  NotesWriter(markdown ? NotesWriter::kMarkdown : NotesWriter::kText).WriteAll(out, copies);
  return out.str();
}

size_t AttachmentFiles(const std::vector<NoteRecord>& notes) {
  size_t count = 0;
  for (const NoteRecord& note : notes)
    for (const NoteAttachmentRecord& a : note.attachments) count += AttachmentHasFile(a);
  return count;
}

std::string AttachmentsLeftOutLine(size_t count) {
  if (count == 0) return "";
  return std::to_string(count) + (count == 1 ? " attachment is" : " attachments are") +
         " named but not written: -o DIR/ writes them beside their notes";
}

}  // namespace host
