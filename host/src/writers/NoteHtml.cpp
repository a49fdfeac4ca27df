// Note pages and their index as offline HTML documents.
#include "NoteHtml.h"

#include <algorithm>

#include "NoteMarkdown.h"
#include "NoteText.h"

namespace host {
namespace {

constexpr size_t kFirstLineBytes = 160;

// Pictures and media only from the export's own files; nothing runs, nothing is fetched.
const char kPolicy[] =
    "default-src 'none'; img-src 'self' file: data:; media-src 'self' file:; "
    "style-src 'unsafe-inline'";

const char kStyle[] =
    "body{font:16px/1.5 -apple-system,system-ui,sans-serif;max-width:46em;margin:2em auto;"
    "padding:0 1em;color:#222}img{max-width:100%;height:auto}"
    "table{border-collapse:collapse;margin:1em 0}td,th{border:1px solid #bbb;padding:.3em .6em;"
    "vertical-align:top}blockquote{border-left:3px solid #ccc;margin-left:0;padding-left:1em;"
    "color:#555}pre,code{font-family:ui-monospace,monospace;background:#f4f4f4}"
    "header,.meta{color:#777;font-size:.9em}li.done{text-decoration:line-through;color:#777}"
    "ul.index{list-style:none;padding:0}ul.index li{margin:.6em 0}"
    "ul.index .first{color:#555;display:block}";

std::string Head(const std::string& title) {
  return "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"" +
         std::string(kPolicy) +
         "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
         EscapeHtml(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n";
}

std::string DateText(int64_t seconds) {
  std::optional<std::string> iso = NoteTimeToIso(seconds);
  if (!iso) return "";
  // "2023-04-05T06:07:08Z" -> "2023-04-05 06:07 UTC"
  return iso->substr(0, 10) + " " + iso->substr(11, 5) + " UTC";
}

std::string Title(const NoteRecord& note) {
  return note.title.empty() ? "Untitled" : note.title;
}

std::string FolderLabel(const NoteRecord& note) {
  std::string label = note.account ? *note.account : "";
  const std::string folder = FolderText(note);
  if (!folder.empty()) label += (label.empty() ? "" : ": ") + folder;
  return label.empty() ? "Notes" : label;
}

std::string IndexItem(const IndexEntry& entry) {
  return "<li><a href=\"" + EscapeHtml(entry.href) + "\">" + EscapeHtml(entry.title) +
         "</a> <span class=\"meta\">" + DateText(entry.modified) +
         (entry.pinned ? " · pinned" : "") + "</span><span class=\"first\">" +
         EscapeHtml(entry.firstLine) + "</span></li>\n";
}

}  // namespace

void WriteHtmlPage(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve,
                   const std::string& indexHref) {
  out << Head(Title(note)) << "<header><a href=\"" << EscapeHtml(indexHref) << "\">All notes</a> · "
      << EscapeHtml(FolderLabel(note)) << " · " << DateText(note.modified)
      << "</header>\n<article>\n";
  if (!BodyStartsWithTitle(note)) out << "<h1>" << EscapeHtml(Title(note)) << "</h1>\n";
  if (note.plain)
    PlainTextToHtml(out, note.text);
  else
    ResolveLinks(out, note.html, resolve, kNowhere);
  out << "\n</article>\n</body>\n</html>\n";
}

IndexEntry IndexEntryOf(const NoteRecord& note, const std::string& href) {
  IndexEntry entry;
  entry.title = Title(note);
  entry.folder = FolderLabel(note);
  entry.firstLine = FirstLineAfterTitle(note.text, note.title, kFirstLineBytes);
  entry.href = href;
  entry.modified = note.modified;
  entry.pinned = note.pinned;
  return entry;
}

std::string HtmlIndex(std::vector<IndexEntry> entries) {
  std::stable_sort(entries.begin(), entries.end(), [](const IndexEntry& a, const IndexEntry& b) {
    return a.folder != b.folder ? a.folder < b.folder : a.modified > b.modified;
  });
  std::string out = Head("Notes") + "<h1>Notes</h1>\n";
  std::string folder;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (i == 0 || entries[i].folder != folder) {
      folder = entries[i].folder;
      out += (i ? "</ul>\n" : "") + ("<h2>" + EscapeHtml(folder) + "</h2>\n<ul class=\"index\">\n");
    }
    out += IndexItem(entries[i]);
  }
  if (!entries.empty()) out += "</ul>\n";
  return out + "</body>\n</html>\n";
}

}  // namespace host
