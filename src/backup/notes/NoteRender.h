// NoteRender: a decoded note (NoteDocument.h) as the three texts a host gets: the content
// text of QX::Notes, Markdown (CommonMark with GFM tables, strikethrough and task lists)
// and an HTML fragment. Every renderer skips the first `from` lines (a note's title line)
// and reads nothing but the document and what the caller says each object is.
//
// Markdown escapes the note's own characters that would otherwise become markup; the
// content text keeps them as typed (it is what the sync route gives). HTML escapes
// everything, writes colours as inline styles, and drops link targets with a scheme that
// could run code. One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTERENDER_H_
#define VELDRAKE_BACKUP_NOTERENDER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "NoteDocument.h"

namespace veldrake::backup {

// A table: cells[row * columns + column], each a document of its own (no title line).
struct NoteTableCells {
  int rows = 0;
  int columns = 0;
  bool rightToLeft = false;
  std::vector<NoteDocument> cells;
};

// How an object shows, as the caller resolved it from the store.
enum class ObjectShow {
  kImage,     // a picture: `target` its file, `text` its name
  kFile,      // a link to a file: `target`, `text` its name
  kUrl,       // a URL card: `target` the address, `text` its title
  kInline,    // a hashtag or mention: `text` as the phone shows it
  kNoteLink,  // a link to another note: `target`, `text` the shown text
  kTable,     // `table`
  kMissing,   // a placeholder: `text` says what is missing
};

struct ShownObject {
  ObjectShow show = ObjectShow::kMissing;
  std::string text;
  std::string target;
  const NoteTableCells* table = nullptr;
};

// The object with this identifier, or null when the store has none (then the body's own
// type identifier is shown).
using ObjectLookup = std::function<const ShownObject*(const std::string& id)>;

enum class NoteFormat { kText, kMarkdown, kHtml };

// Renders lines [from, end) of `document`; false when the output would pass `limit` bytes.
bool RenderNote(const NoteDocument& document, size_t from, NoteFormat format,
                const ObjectLookup& lookup, size_t limit, std::string* out);

// One table cell as inline text of `format` (lines joined by a line break that stays
// inside the cell); `kText` and `kMarkdown` escape "|".
std::string RenderCell(const NoteDocument& cell, NoteFormat format, const ObjectLookup& lookup);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTERENDER_H_
