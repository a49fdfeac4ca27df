// Plain note text as Markdown and HTML, for notes that come with no body model.
#include "NoteText.h"

#include <cctype>
#include <cstring>
#include <sstream>
#include <vector>

namespace host {
namespace {

// Inline markup anywhere in a line: emphasis, code, links, raw HTML, entities, tables,
// strikethrough, and the escape itself.
const char kInlineMarkup[] = "\\`*_[]<>|~&!";
// Markup only at the start of a line: headings, quotes, list and rule markers.
const char kLineStartMarkup[] = "#>+-=";

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::string line;
  std::istringstream in(text);
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

bool Blank(const std::string& line) {
  return line.find_first_not_of(" \t") == std::string::npos;
}

// One line with its markup escaped; leading blanks kept as entities so that an indent
// never turns a line into a code block.
std::string EscapeLine(const std::string& line) {
  std::string out;
  size_t i = 0;
  for (; i < line.size() && (line[i] == ' ' || line[i] == '\t'); ++i)
    out += line[i] == ' ' ? "&#32;" : "&#9;";
  // Until the first character that is not a digit: a list marker may still begin here.
  bool lineStart = true;
  for (const size_t first = i; i < line.size(); ++i) {
    const char c = line[i];
    const bool listNumber = lineStart && i > first && (c == '.' || c == ')');
    if (c != '\0' && (std::strchr(kInlineMarkup, c) || listNumber ||
                      (lineStart && i == first && std::strchr(kLineStartMarkup, c))))
      out += '\\';
    out += c;
    lineStart = lineStart && std::isdigit(static_cast<unsigned char>(c));
  }
  return out;
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string PlainTextToMarkdown(const std::string& text) {
  std::string out;
  bool inParagraph = false;
  for (const std::string& line : Lines(text)) {
    if (Blank(line)) {
      if (inParagraph) out += "\n\n";
      inParagraph = false;
      continue;
    }
    if (inParagraph) out += "\\\n";
    out += EscapeLine(line);
    inParagraph = true;
  }
  if (inParagraph) out += "\n";
  return out;
}

std::string PlainTextToHtml(const std::string& text) {
  std::string out;
  bool inParagraph = false;
  for (const std::string& line : Lines(text)) {
    if (Blank(line)) {
      if (inParagraph) out += "</p>\n";
      inParagraph = false;
      continue;
    }
    out += inParagraph ? "<br>\n" : "<p>";
    out += EscapeHtml(line);
    inParagraph = true;
  }
  if (inParagraph) out += "</p>\n";
  return out;
}

std::string FirstLineAfterTitle(const std::string& text, const std::string& title, size_t limit) {
  for (const std::string& line : Lines(text)) {
    const size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string::npos || line == title) continue;
    std::string first = line.substr(begin);
    if (first.size() <= limit) return first;
    size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(first[cut]) & 0xC0) == 0x80) --cut;
    return first.substr(0, cut) + "...";
  }
  return "";
}

}  // namespace host
