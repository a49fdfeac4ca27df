// Splits the text into pieces of one run each, then lines, then renders every line.
#include "NoteMarkdown.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "NoteText.h"

namespace veldrake::backup {
namespace {

constexpr size_t kNoRun = SIZE_MAX;
constexpr char32_t kObjectReplacement = 0xFFFC;
constexpr int32_t kMaxIndent = 8;  // deeper levels render at this one
const char kIndentUnit[] = "    ";
const char kFence[] = "```";

enum class PieceKind { kText, kNewline, kAttachment };

// Consecutive characters of one run, or one newline, or one attachment character.
struct Piece {
  PieceKind kind = PieceKind::kText;
  size_t run = kNoRun;
  std::string text;
};

// Walks the runs by UTF-16 position: the run covering the unit at `position`.
class RunCursor {
 public:
  explicit RunCursor(const std::vector<NoteRun>& runs) : runs_(runs) {
    if (!runs_.empty()) end_ = runs_[0].length;
  }
  size_t At(uint64_t position) {
    while (index_ < runs_.size() && position >= end_) {
      ++index_;
      if (index_ < runs_.size()) end_ += runs_[index_].length;
    }
    return index_ < runs_.size() ? index_ : kNoRun;
  }

 private:
  const std::vector<NoteRun>& runs_;
  size_t index_ = 0;
  uint64_t end_ = 0;
};

std::vector<Piece> SplitPieces(const NoteBody& body) {
  std::vector<Piece> pieces;
  RunCursor cursor(body.runs);
  uint64_t position = 0;
  size_t at = 0;
  while (at < body.text.size()) {
    const DecodedChar c = DecodeUtf8(body.text, at);
    at += c.bytes;
    const size_t run = cursor.At(position);
    position += c.point > 0xFFFF ? 2 : 1;
    if (c.point == 0) continue;  // a NUL would end the record's text early
    PieceKind kind = PieceKind::kText;
    if (c.point == U'\n') kind = PieceKind::kNewline;
    if (c.point == kObjectReplacement) kind = PieceKind::kAttachment;
    if (kind != PieceKind::kText || pieces.empty() || pieces.back().kind != PieceKind::kText ||
        pieces.back().run != run) {
      pieces.push_back(Piece{kind, run, {}});
    }
    if (kind == PieceKind::kText) AppendUtf8(c.point, &pieces.back().text);
  }
  return pieces;
}

// One line: pieces [first, last) and the run that gives it its paragraph style.
struct Line {
  size_t first = 0, last = 0;
  size_t styleRun = kNoRun;
};

std::vector<Line> SplitLines(const std::vector<Piece>& pieces) {
  std::vector<Line> lines;
  size_t start = 0;
  for (size_t i = 0; i <= pieces.size(); ++i) {
    const bool end = i == pieces.size();
    if (!end && pieces[i].kind != PieceKind::kNewline) continue;
    Line line{start, i, kNoRun};
    if (start < i)
      line.styleRun = pieces[start].run;
    else if (!end)
      line.styleRun = pieces[i].run;
    lines.push_back(line);
    start = i + 1;
  }
  return lines;
}

std::string AttachmentText(const NoteRun* run) {
  if (run == nullptr || run->attachmentType.empty()) return "[attachment]";
  return "[attachment: " + run->attachmentType + "]";
}

std::string LinkTarget(const std::string& link) {
  if (link.find_first_of(" ()<>") == std::string::npos) return link;
  return "<" + link + ">";
}

// Renders line's pieces: text as is, links as [text](url), attachments as placeholders.
// `plain` keeps only the text (titles, monospaced blocks).
std::string RenderInline(const NoteBody& body, const std::vector<Piece>& pieces, const Line& line,
                         bool plain) {
  std::string out;
  const auto runOf = [&](size_t i) -> const NoteRun* {
    return pieces[i].run == kNoRun ? nullptr : &body.runs[pieces[i].run];
  };
  size_t i = line.first;
  while (i < line.last) {
    const NoteRun* run = runOf(i);
    if (pieces[i].kind == PieceKind::kAttachment) {
      if (!plain) out += AttachmentText(run);
      ++i;
      continue;
    }
    if (plain || run == nullptr || run->link.empty()) {
      out += pieces[i++].text;
      continue;
    }
    const std::string& link = run->link;
    out += '[';
    while (i < line.last && pieces[i].kind == PieceKind::kText && runOf(i) != nullptr &&
           runOf(i)->link == link) {
      out += pieces[i++].text;
    }
    out += "](" + LinkTarget(link) + ")";
  }
  return out;
}

// Per-level counters of numbered items, reset whenever a list is left.
class ListCounters {
 public:
  std::string Prefix(const NoteRun& run) {
    const int32_t level = std::clamp(run.indent, 0, kMaxIndent);
    std::string indent;
    for (int32_t i = 0; i < level; ++i) indent += kIndentUnit;
    std::fill(counts_ + level + 1, counts_ + kMaxIndent + 1, 0);
    if (run.checklist || run.paragraph == kParagraphChecklist) {
      counts_[level] = 0;
      return indent + (run.done ? "- [x] " : "- [ ] ");
    }
    if (run.paragraph == kParagraphNumbered)
      return indent + std::to_string(++counts_[level]) + ". ";
    counts_[level] = 0;
    return indent + "- ";
  }
  void Reset() { std::fill(counts_, counts_ + kMaxIndent + 1, 0); }

 private:
  int counts_[kMaxIndent + 1] = {};
};

bool IsListItem(const NoteRun& run) {
  return run.checklist || run.paragraph == kParagraphDotted || run.paragraph == kParagraphDashed ||
         run.paragraph == kParagraphNumbered || run.paragraph == kParagraphChecklist;
}

std::string HeadingPrefix(int32_t paragraph) {
  if (paragraph == kParagraphTitle) return "# ";
  if (paragraph == kParagraphHeading) return "## ";
  if (paragraph == kParagraphSubheading) return "### ";
  return "";
}

}  // namespace

void RenderNoteBody(const NoteBody& body, std::string* title, std::string* content) {
  const std::vector<Piece> pieces = SplitPieces(body);
  const std::vector<Line> lines = SplitLines(pieces);
  *title = RenderInline(body, pieces, lines.front(), true);
  std::vector<std::string> out;
  ListCounters counters;
  bool fenced = false;
  for (size_t n = 1; n < lines.size(); ++n) {
    const Line& line = lines[n];
    const NoteRun* run = line.styleRun == kNoRun ? nullptr : &body.runs[line.styleRun];
    const bool mono = run != nullptr && run->paragraph == kParagraphMonospaced;
    if (mono != fenced) out.push_back(kFence);
    fenced = mono;
    std::string text = RenderInline(body, pieces, line, mono);
    if (run == nullptr || mono || text.empty() || !IsListItem(*run)) {
      counters.Reset();
      if (run != nullptr && !mono && !text.empty()) text = HeadingPrefix(run->paragraph) + text;
    } else {
      text = counters.Prefix(*run) + text;
    }
    out.push_back(std::move(text));
  }
  if (fenced) out.push_back(kFence);
  content->clear();
  for (size_t i = 0; i < out.size(); ++i) {
    if (i != 0) *content += '\n';
    *content += out[i];
  }
}

}  // namespace veldrake::backup
