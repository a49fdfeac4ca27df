// Notes as Markdown or text, in one document or one file each with a safe name.
#include "NotesWriter.h"

#include "Dates.h"

namespace host {
namespace {

constexpr size_t kMaxNameBytes = 100;

// The first line of a subject, for a heading.
std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

bool Refused(unsigned char c) {
  return c < 0x20 || c == 0x7F || c == '/' || c == '\\' || c == ':' || c == '*' || c == '?' ||
         c == '"' || c == '<' || c == '>' || c == '|';
}

std::string Trim(const std::string& s) {
  const size_t begin = s.find_first_not_of(" .");
  if (begin == std::string::npos) return "";
  return s.substr(begin, s.find_last_not_of(" .") - begin + 1);
}

// At most `limit` bytes, cut before a UTF-8 continuation byte never.
std::string Truncate(const std::string& s, size_t limit) {
  if (s.size() <= limit) return s;
  size_t cut = limit;
  while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) --cut;
  return s.substr(0, cut);
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
  // By reference: a note's text may be tens of megabytes.
  static const std::string kNone;
  const std::string& content = note.content ? *note.content : kNone;
  out << content;
  if (!content.empty() && content.back() != '\n') out << "\n";
}

std::string NotesWriter::Separator() const {
  return style_ == kMarkdown ? "\n---\n\n" : "\n" + std::string(72, '=') + "\n\n";
}

std::string NotesWriter::Stem(const Note& note, size_t index) const {
  std::string name;
  for (char c : FirstLine(note.subject.value_or("")))
    name.push_back(Refused(static_cast<unsigned char>(c)) ? '_' : c);
  name = Trim(Truncate(Trim(name), kMaxNameBytes));
  return name.empty() ? "Note " + std::to_string(index + 1) : name;
}

}  // namespace host
