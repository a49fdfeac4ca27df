// A note's Markdown file: front matter and body.
#include "NoteMarkdown.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "NoteText.h"

namespace host {
namespace {

// A YAML double-quoted scalar: JSON's string syntax is a subset of it.
std::string Quoted(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Line(std::string* out, const char* key, const std::string& value) {
  *out += key;
  *out += ": ";
  *out += value;
  *out += "\n";
}

std::string DateValue(int64_t seconds) {
  const std::optional<std::string> iso = NoteTimeToIso(seconds);
  return iso ? *iso : "null";
}

std::string TagList(const NoteRecord& note) {
  std::string out = "[";
  for (size_t i = 0; i < note.tags.size(); ++i) out += (i ? ", " : "") + Quoted(note.tags[i]);
  return out + "]";
}

}  // namespace

std::string FolderText(const NoteRecord& note) {
  std::string out;
  for (const std::string& part : note.folderPath) out += (out.empty() ? "" : "/") + part;
  return out;
}

bool BodyStartsWithTitle(const NoteRecord& note) {
  const size_t begin = note.text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return note.title.empty();
  return note.text.compare(begin, note.text.find_first_of("\r\n", begin) - begin, note.title) == 0;
}

std::string MarkdownFrontMatter(const NoteRecord& note) {
  std::string out = "---\n";
  Line(&out, "title", Quoted(note.title));
  Line(&out, "created", DateValue(note.created));
  Line(&out, "modified", DateValue(note.modified));
  Line(&out, "folder", Quoted(FolderText(note)));
  if (note.account) Line(&out, "account", Quoted(*note.account));
  Line(&out, "pinned", note.pinned ? "true" : "false");
  Line(&out, "id", note.id ? Quoted(*note.id) : "null");
  Line(&out, "tags", TagList(note));
  return out + "---\n";
}

void WriteMarkdownBody(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve) {
  if (note.plain) return PlainTextToMarkdown(out, note.text);
  ResolveLinks(out, note.markdown, resolve, kNowhere);
  if (!note.markdown.empty() && note.markdown.back() != '\n') out << "\n";
}

void WriteMarkdownPage(std::ostream& out, const NoteRecord& note, const LinkResolver& resolve) {
  out << MarkdownFrontMatter(note) << "\n";
  if (!BodyStartsWithTitle(note)) {
    std::ostringstream heading;
    PlainTextToMarkdown(heading, note.title.substr(0, note.title.find_first_of("\r\n")));
    std::string text = heading.str();
    while (!text.empty() && text.back() == '\n') text.pop_back();
    out << "# " << text << "\n\n";
  }
  WriteMarkdownBody(out, note, resolve);
}

}  // namespace host
