// Plain note text as Markdown and HTML, for notes that come with no body model.
#include "NoteText.h"

#include <cctype>
#include <cstring>
#include <sstream>
#include <string_view>

namespace host {
namespace {

// Inline markup anywhere in a line: emphasis, code, links, raw HTML, entities, tables,
// strikethrough, and the escape itself.
const char kInlineMarkup[] = "\\`*_[]<>|~&!";
// Markup only at the start of a line: headings, quotes, list and rule markers.
const char kLineStartMarkup[] = "#>+-=";

// Calls `line` for each line of `text` (without its line end), in order.
// The lines are views into `text`: nothing of it is copied.
template <typename Line>
void ForEachLine(const std::string& text, Line line) {
  const std::string_view all(text);
  for (size_t begin = 0; begin < all.size();) {
    size_t end = all.find('\n', begin);
    if (end == std::string_view::npos) end = all.size();
    const size_t stop = end > begin && all[end - 1] == '\r' ? end - 1 : end;
    line(all.substr(begin, stop - begin));
    begin = end + 1;
  }
}

bool Blank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

// One line with its markup escaped; leading blanks kept as entities so that an indent
// never turns a line into a code block.
void EscapeLine(std::ostream& out, std::string_view line) {
  size_t i = 0;
  for (; i < line.size() && (line[i] == ' ' || line[i] == '\t'); ++i)
    out << (line[i] == ' ' ? "&#32;" : "&#9;");
  // Until the first character that is not a digit: a list marker may still begin here.
  bool lineStart = true;
  for (const size_t first = i; i < line.size(); ++i) {
    const char c = line[i];
    const bool listNumber = lineStart && i > first && (c == '.' || c == ')');
    if (c != '\0' && (std::strchr(kInlineMarkup, c) || listNumber ||
                      (lineStart && i == first && std::strchr(kLineStartMarkup, c))))
      out << '\\';
    out << c;
    lineStart = lineStart && std::isdigit(static_cast<unsigned char>(c));
  }
}

void EscapeHtmlTo(std::ostream& out, std::string_view text) {
  for (char c : text) {
    switch (c) {
      case '&':
        out << "&amp;";
        break;
      case '<':
        out << "&lt;";
        break;
      case '>':
        out << "&gt;";
        break;
      case '"':
        out << "&quot;";
        break;
      case '\'':
        out << "&#39;";
        break;
      default:
        out << c;
    }
  }
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
  std::ostringstream out;
  EscapeHtmlTo(out, text);
  return out.str();
}

void PlainTextToMarkdown(std::ostream& out, const std::string& text) {
  bool inParagraph = false;
  ForEachLine(text, [&](std::string_view line) {
    if (Blank(line)) {
      if (inParagraph) out << "\n\n";
      inParagraph = false;
      return;
    }
    if (inParagraph) out << "\\\n";
    EscapeLine(out, line);
    inParagraph = true;
  });
  if (inParagraph) out << "\n";
}

void PlainTextToHtml(std::ostream& out, const std::string& text) {
  bool inParagraph = false;
  ForEachLine(text, [&](std::string_view line) {
    if (Blank(line)) {
      if (inParagraph) out << "</p>\n";
      inParagraph = false;
      return;
    }
    out << (inParagraph ? "<br>\n" : "<p>");
    EscapeHtmlTo(out, line);
    inParagraph = true;
  });
  if (inParagraph) out << "</p>\n";
}

std::string FirstLineAfterTitle(const std::string& text, const std::string& title, size_t limit) {
  std::string first;
  ForEachLine(text, [&](std::string_view line) {
    const size_t begin = line.find_first_not_of(" \t");
    if (!first.empty() || begin == std::string_view::npos || line == title) return;
    first = std::string(line.substr(begin, limit + 4));
    if (first.size() <= limit) return;
    size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(first[cut]) & 0xC0) == 0x80) --cut;
    first = first.substr(0, cut) + "...";
  });
  return first;
}

}  // namespace host
