// NotesWriter: notes as Markdown or plain text, in one file or one file per note.
//
// Each note is its subject as a heading (Markdown) or first line (text), its modification
// time in ISO 8601 UTC, a blank line and its content unchanged. File names for one file
// per note come from the subject, made safe: no path separators or characters that common
// file systems refuse, no leading or trailing dots or blanks, at most 100 bytes of whole
// UTF-8 characters, "Note N" for an empty subject; OutputFolder numbers repeats.
//
// Ownership: writes to streams the caller owns. Thread contract: one writer per thread.
#ifndef VELDRAKE_HOST_NOTESWRITER_H_
#define VELDRAKE_HOST_NOTESWRITER_H_

#include <ostream>
#include <string>

#include "Records.h"

namespace host {

class NotesWriter {
 public:
  enum Style { kMarkdown, kText };

  explicit NotesWriter(Style style) : style_(style) {}

  // One note, as a block of the single-file form or as a whole per-note file.
  void WriteNote(std::ostream& out, const Note& note) const;
  // What stands between two notes of the single-file form.
  std::string Separator() const;

  const char* Extension() const { return style_ == kMarkdown ? ".md" : ".txt"; }

  // The file name, without its extension, of the `index`-th note (0-based) in a folder;
  // OutputFolder makes it unique there.
  std::string Stem(const Note& note, size_t index) const;

 private:
  Style style_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_NOTESWRITER_H_
