// The QX::Notes texts of a body: decoded once, rendered as content text.
#include "NoteMarkdown.h"

#include "NoteDocument.h"
#include "NoteRender.h"

namespace veldrake::backup {

bool RenderNoteBody(const NoteBody& body, size_t limit, std::string* title, std::string* content) {
  NoteDocument document;
  NoteBody copy = body;
  if (!BuildNoteDocument(std::move(copy), kMaxDocumentBytes, &document)) return false;
  *title = document.lines.empty() ? std::string() : PlainText(document.lines[0]);
  return RenderNote(document, 1, NoteFormat::kText, ObjectLookup(), limit, content);
}

}  // namespace veldrake::backup
