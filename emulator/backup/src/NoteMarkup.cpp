// The notes set's block markup: headings, lists, checklists, quotes, code and tables.
#include "NoteMarkup.h"

#include <sstream>

namespace devicesim::backup {
namespace {

const size_t kIndentWidth = 4;
const char kFence[] = "```";

struct ListMarker {
  const char* text;
  int style;
  int check;
};
const ListMarker kMarkers[] = {
    {"- [ ] ", kChecklist, 0}, {"- [x] ", kChecklist, 1}, {"* ", kDotted, -1}, {"- ", kDashed, -1},
    {"### ", kSubheading, -1}, {"## ", kHeading, -1},     {"# ", kTitle, -1},
};

bool StartsWith(const std::string& s, const char* prefix) {
  return s.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

// "12. item" -> true with the rest after the marker.
bool NumberedItem(const std::string& line, std::string* rest) {
  size_t digits = 0;
  while (digits < line.size() && std::isdigit(static_cast<unsigned char>(line[digits]))) ++digits;
  if (digits == 0 || line.compare(digits, 2, ". ") != 0) return false;
  *rest = line.substr(digits + 2);
  return true;
}

Paragraph ParseLine(std::string line, const NoteFeatures& features,
                    std::vector<NoteObject>* objects) {
  Paragraph p;
  if (StartsWith(line, "> ")) {
    line.erase(0, 2);
    p.quote = features.blockQuotes;
  }
  size_t spaces = 0;
  while (spaces < line.size() && line[spaces] == ' ') ++spaces;
  std::string rest;
  for (const ListMarker& marker : kMarkers) {
    if (!StartsWith(line.substr(spaces), marker.text)) continue;
    p.style = marker.style;
    p.check = marker.check;
    rest = line.substr(spaces + std::char_traits<char>::length(marker.text));
    break;
  }
  if (p.style == kBody && NumberedItem(line.substr(spaces), &rest)) p.style = kNumbered;
  if (p.style == kBody) rest = line;
  if (p.style >= kDotted) p.indent = static_cast<int>(spaces / kIndentWidth);
  p.spans = ParseInline(rest, features, objects);
  return p;
}

std::vector<std::string> SplitCells(const std::string& row) {
  std::vector<std::string> cells;
  std::string cell;
  for (size_t i = 1; i < row.size(); ++i) {
    if (row[i] == '\\' && i + 1 < row.size() && row[i + 1] == '|') {
      cell += row[++i];
    } else if (row[i] == '|') {
      const size_t a = cell.find_first_not_of(' '), b = cell.find_last_not_of(' ');
      cells.push_back(a == std::string::npos ? std::string() : cell.substr(a, b - a + 1));
      cell.clear();
    } else {
      cell += row[i];
    }
  }
  return cells;
}

bool IsSeparatorRow(const std::string& row) {
  return row.find_first_not_of("|-: ") == std::string::npos;
}

// Hebrew and Arabic letters: the first strong character decides a table's direction.
bool StartsRightToLeft(const std::string& text) {
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    const unsigned char a = static_cast<unsigned char>(text[i]);
    if (a < 0x80) {
      if (std::isalpha(a)) return false;
      continue;
    }
    if (a >= 0xD6 && a <= 0xDB) return true;  // U+0590..U+06FF
    if (a >= 0xC3) return false;
  }
  return false;
}

NoteObject ParseTable(const std::vector<std::string>& lines, const NoteFeatures& features) {
  NoteObject table;
  table.kind = ObjectKind::kTable;
  table.uti = "com.apple.notes.table";
  for (const std::string& line : lines) {
    if (IsSeparatorRow(line)) continue;
    std::vector<std::vector<Span>> row;
    for (const std::string& cell : SplitCells(line)) {
      if (table.rows.empty() && row.empty()) table.rightToLeft = StartsRightToLeft(cell);
      row.push_back(ParseInline(cell, features, nullptr));
    }
    table.rows.push_back(std::move(row));
  }
  return table;
}

}  // namespace

NoteDoc ParseNoteMarkup(const std::string& title, const std::string& markup,
                        const NoteFeatures& features) {
  NoteDoc doc = PlainNoteDoc(title, std::string());  // the title and an empty line
  doc.paragraphs.resize(1);                          // only the title
  std::istringstream in(markup);
  std::string line;
  bool code = false;
  std::vector<std::string> table;
  auto flushTable = [&] {
    if (table.empty()) return;
    Paragraph p;
    p.spans.push_back(TextSpan(kObjectChar));
    p.spans.back().object = static_cast<int>(doc.objects.size());
    doc.objects.push_back(ParseTable(table, features));
    doc.paragraphs.push_back(p);
    table.clear();
  };
  while (std::getline(in, line)) {
    if (!code && StartsWith(line, "|")) {
      table.push_back(line);
      continue;
    }
    flushTable();
    if (line == kFence) {
      code = !code;
      continue;
    }
    Paragraph p;
    if (code) {
      p.style = kMonospaced;
      p.spans.push_back(TextSpan(line));
    } else {
      p = ParseLine(line, features, &doc.objects);
    }
    doc.paragraphs.push_back(std::move(p));
  }
  flushTable();
  return doc;
}

NoteDoc PlainNoteDoc(const std::string& title, const std::string& text) {
  NoteDoc doc;
  Paragraph head;
  head.style = kTitle;
  head.spans.push_back(TextSpan(title));
  doc.paragraphs.push_back(head);
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    Paragraph p;
    if (!line.empty()) p.spans.push_back(TextSpan(line));
    doc.paragraphs.push_back(std::move(p));
  }
  // "Title\n" for an empty note, and a last empty line after a closing line break.
  if (text.empty() || text.back() == '\n') doc.paragraphs.push_back(Paragraph{});
  return doc;
}

NoteFeatures FeaturesFor(int major) {
  const int kInlineObjects = 15, kNoteLinks = 17;
  NoteFeatures f;
  f.inlineObjects = major >= kInlineObjects;
  f.noteLinks = f.blockQuotes = major >= kNoteLinks;
  return f;
}

}  // namespace devicesim::backup
