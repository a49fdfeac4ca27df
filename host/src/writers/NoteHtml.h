// NoteHtml: notes as web pages that open offline: one page per note and an index.
//
// Each page is a whole HTML document: its title, a line back to the index with the
// folder and the modification date, and the note's HTML fragment, its links already
// resolved. The index lists the folders (in name order) and in each the notes by
// modification date, newest first, with title, date and first line. No script, no
// resource from the network (a Content-Security-Policy says so to the browser), the style
// sheet inline, every picture a relative file.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTEHTML_H_
#define VELDRAKE_HOST_NOTEHTML_H_

#include <ostream>
#include <string>
#include <vector>

#include "NoteLinks.h"
#include "NoteRecord.h"

namespace host {

// One note's page, its links resolved through `resolve`; `indexHref` is the index's path
// from the page (percent-encoded).
void WriteHtmlPage(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve,
                   const std::string& indexHref);

// One line of the index, kept while the notes are written: what it shows of the note and
// its page's path from the index (percent-encoded).
struct IndexEntry {
  std::string title, folder, firstLine, href;
  int64_t modified = kNoNoteDate;
  bool pinned = false;
};
IndexEntry IndexEntryOf(const NoteRecord& note, const std::string& href);
std::string HtmlIndex(std::vector<IndexEntry> entries);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEHTML_H_
