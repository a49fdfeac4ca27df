// NotesWriter: notes as Markdown or plain text, one after another or one alone.
//
// Each note is its subject as a heading (Markdown) or first line (text), its modification
// time in ISO 8601 UTC, a blank line and its content unchanged.
//
// Ownership: writes to streams the caller owns. Thread contract: one writer per thread.
#ifndef VELDRAKE_HOST_NOTESWRITER_H_
#define VELDRAKE_HOST_NOTESWRITER_H_

#include <ostream>
#include <string>
#include <vector>

#include "Records.h"

namespace host {

class NotesWriter {
 public:
  enum Style { kMarkdown, kText };

  explicit NotesWriter(Style style) : style_(style) {}

  // One note, as a block of the single-file form or as a whole per-note file.
  void WriteNote(std::ostream& out, const Note& note) const;
  // All notes, separated from each other.
  void WriteAll(std::ostream& out, const std::vector<Note>& notes) const;

 private:
  Style style_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_NOTESWRITER_H_
