// Notes as Markdown or text, one after another or one alone.
#include "NotesWriter.h"

#include "Dates.h"

namespace host {
namespace {

// The first line of a subject, for a heading.
std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

}  // namespace

void NotesWriter::WriteNote(std::ostream& out, const Note& note) const {
  const std::string subject = FirstLine(note.subject.value_or(""));
  const std::optional<std::string> modified = NoteDateToIso(note.dateModified);
  if (style_ == kMarkdown) {
    out << "# " << (subject.empty() ? "(no subject)" : subject) << "\n\n";
    if (modified) out << "*Modified " << *modified << "*\n\n";
  } else {
    out << (subject.empty() ? "(no subject)" : subject) << "\n";
    if (modified) out << "Modified: " << *modified << "\n";
    out << "\n";
  }
  const std::string content = note.content.value_or("");
  out << content;
  if (!content.empty() && content.back() != '\n') out << "\n";
}

void NotesWriter::WriteAll(std::ostream& out, const std::vector<Note>& notes) const {
  for (size_t i = 0; i < notes.size(); ++i) {
    if (i) out << (style_ == kMarkdown ? "\n---\n\n" : "\n" + std::string(72, '=') + "\n\n");
    WriteNote(out, notes[i]);
  }
}

}  // namespace host
