// NoteDocument: a note body decoded once into what every renderer needs: its lines
// (paragraphs) with their style, indent, checklist and quote, each a list of
// spans of text with inline looks, and objects (attachments, inline hashtags, mentions and
// note links) by identifier. Renderers (NoteRender.h) read only this, never the protobuf.
//
// Right-to-left text is stored in logical order with no attribute of its own: renderers
// leave its placing to the reader's bidirectional algorithm.
//
// Run lengths count UTF-16 code units (a character beyond U+FFFF counts two); runs that
// end inside a character, or runs past the text's end, change only the look. Bytes that
// are not UTF-8 become U+FFFD, NULs are dropped. One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTEDOCUMENT_H_
#define VELDRAKE_BACKUP_NOTEDOCUMENT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "NoteProto.h"

namespace veldrake::backup {

// The most a decoded document may hold (its text, lines and spans): room for a note of a
// million styled runs, and a bound on what a crafted body can make us hold.
constexpr size_t kMaxDocumentBytes = size_t{128} << 20;

// A piece of one line that looks the same throughout, or one object.
struct NoteSpan {
  std::string text;         // valid UTF-8 without newline; empty for an object
  uint32_t link = 0;        // index in NoteDocument::strings; 0: none
  uint32_t color = 0;       // kColorSet | RGB, or 0
  uint32_t objectId = 0;    // an object's identifier in strings; 0 with object false: none
  uint32_t objectType = 0;  // its type identifier in strings
  uint8_t look = 0;         // NoteLook bits
  bool object = false;      // the span is an attachment's place (U+FFFC)
};

// One line of the note.
struct NoteLine {
  int32_t style = kParagraphBody;
  int32_t indent = 0;
  bool checklist = false, done = false, quote = false;
  std::vector<NoteSpan> spans;
};

struct NoteDocument {
  std::vector<NoteLine> lines;
  std::vector<std::string> strings{std::string()};  // links and objects' texts; [0] ""
  const std::string& String(uint32_t index) const {
    return index < strings.size() ? strings[index] : strings[0];
  }
};

// Decodes `body` (moving its strings out); false when what the document holds would pass
// `limit` bytes, which bounds what a body of a run every character makes us hold.
bool BuildNoteDocument(NoteBody&& body, size_t limit, NoteDocument* out);

// A line's text without looks or objects (a title, a first line for an index).
std::string PlainText(const NoteLine& line);

bool IsListLine(const NoteLine& line);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEDOCUMENT_H_
