// The content text and Markdown: one line of output per line of the note, lists counted
// per indent level, monospaced lines fenced, tables as GFM pipe tables. Markdown adds
// what CommonMark needs to read the lines back as the note has them: escapes, hard
// breaks between the lines of a paragraph, blank lines between kinds of block.
#include <algorithm>

#include "NoteInline.h"
#include "NoteRender.h"

namespace veldrake::backup {
namespace {

constexpr int32_t kMaxIndent = 8;  // deeper levels render at this one
const char kIndentUnit[] = "    ";

enum class Kind { kEmpty, kPlain, kHeading, kList, kMono, kTable };

std::string HeadingPrefix(int32_t style) {
  if (style == kParagraphTitle) return "# ";
  if (style == kParagraphHeading) return "## ";
  if (style == kParagraphSubheading) return "### ";
  return "";
}

// What CommonMark would read as a block's start at the head of a line, escaped.
std::string EscapeLineStart(std::string text) {
  if (text.empty()) return text;
  if (text[0] == ' ' || text[0] == '\t')
    return (text[0] == ' ' ? "&#32;" : "&#9;") + text.substr(1);
  if (text[0] == '#' || text[0] == '-' || text[0] == '+' || text[0] == '=') return "\\" + text;
  size_t digits = 0;
  while (digits < text.size() && digits < 10 && text[digits] >= '0' && text[digits] <= '9')
    ++digits;
  if (digits > 0 && digits < text.size() && (text[digits] == '.' || text[digits] == ')'))
    text.insert(digits, "\\");
  return text;
}

// Per-level counters of numbered items, reset whenever a list is left.
class ListCounters {
 public:
  std::string Prefix(const NoteLine& line, int32_t level) {
    std::string indent;
    for (int32_t i = 0; i < level; ++i) indent += kIndentUnit;
    std::fill(counts_ + level + 1, counts_ + kMaxIndent + 1, 0);
    if (line.checklist || line.style == kParagraphChecklist) {
      counts_[level] = 0;
      return indent + (line.done ? "- [x] " : "- [ ] ");
    }
    if (line.style == kParagraphNumbered) return indent + std::to_string(++counts_[level]) + ". ";
    counts_[level] = 0;
    return indent + "- ";
  }
  void Reset() { std::fill(counts_, counts_ + kMaxIndent + 1, 0); }

 private:
  int counts_[kMaxIndent + 1] = {};
};

class TextRenderer {
 public:
  TextRenderer(const NoteDocument& document, NoteFormat format, const ObjectLookup& lookup,
               size_t limit, std::string* out)
      : doc_(document), format_(format), lookup_(lookup), limit_(limit), out_(out) {}

  bool Run(size_t from) {
    for (size_t i = from; i < doc_.lines.size(); ++i)
      if (!Line(i)) return false;
    CloseFence();
    return out_->size() <= limit_;
  }

 private:
  bool Markdown() const { return format_ == NoteFormat::kMarkdown; }

  bool Line(size_t index) {
    const NoteLine& line = doc_.lines[index];
    const bool mono = line.style == kParagraphMonospaced;
    if (!mono) CloseFence();
    if (mono) {
      Mono(index);
      return out_->size() <= limit_;
    }
    std::string text = RenderInline(doc_, line, format_, lookup_, false);
    const std::vector<const NoteTableCells*> tables = LineTables(doc_, line, lookup_);
    const bool blank = text.find_first_not_of(" \t") == std::string::npos;
    if (!blank || tables.empty()) Text(line, std::move(text), blank);
    for (const NoteTableCells* table : tables) Table(*table, line.quote);
    return out_->size() <= limit_;
  }

  void Text(const NoteLine& line, std::string text, bool blank) {
    Kind kind = Kind::kPlain;
    std::string prefix;
    if (blank && text.empty()) {
      kind = Kind::kEmpty;
      LeaveList();
    } else if (IsListLine(line)) {
      kind = Kind::kList;
      if (line.quote != listQuote_) LeaveList();  // a list in another quote is another list
      listQuote_ = line.quote;
      // Markdown reads an item indented past its parent's content as code: one level
      // deeper than the item before at most. The content text keeps the phone's levels.
      int32_t level = std::min(std::max(line.indent, 0), kMaxIndent);
      if (Markdown()) level = std::min(level, listLevel_ + 1);
      listLevel_ = level;
      prefix = counters_.Prefix(line, level);
    } else {
      LeaveList();
      prefix = HeadingPrefix(line.style);
      if (!prefix.empty()) kind = Kind::kHeading;
    }
    if (Markdown()) text = EscapeLineStart(std::move(text));
    Emit(kind, line.quote, prefix + text);
  }

  void LeaveList() {
    counters_.Reset();
    listLevel_ = -1;
  }

  // A fence longer than any run of backticks in the block's lines, so none closes it.
  std::string FenceFor(size_t index) const {
    size_t longest = 2;
    for (; index < doc_.lines.size() && doc_.lines[index].style == kParagraphMonospaced; ++index) {
      const std::string text = PlainText(doc_.lines[index]);
      size_t run = 0;
      for (char c : text) {
        run = c == '`' ? run + 1 : 0;
        longest = std::max(longest, run);
      }
    }
    return std::string(longest + 1, '`');
  }

  void Mono(size_t index) {
    const NoteLine& line = doc_.lines[index];
    LeaveList();
    if (fence_.empty()) {
      fence_ = FenceFor(index);
      fenceQuote_ = line.quote;
      Emit(Kind::kMono, fenceQuote_, fence_);
    }
    Emit(Kind::kMono, fenceQuote_, PlainText(line));
  }

  void CloseFence() {
    if (fence_.empty()) return;
    Emit(Kind::kMono, fenceQuote_, fence_);
    fence_.clear();
  }

  void Table(const NoteTableCells& table, bool quote) {
    if (table.rows <= 0 || table.columns <= 0) return;
    LeaveList();
    const auto columns = static_cast<size_t>(table.columns);
    for (size_t row = 0; row < static_cast<size_t>(table.rows); ++row) {
      std::string text = "|";
      for (size_t column = 0; column < columns; ++column)
        text += " " + RenderCell(table.cells[row * columns + column], format_, lookup_) + " |";
      Emit(Kind::kTable, quote, text);
      if (row != 0) continue;
      text = "|";
      for (size_t column = 0; column < columns; ++column) text += " --- |";
      Emit(Kind::kTable, quote, text);
    }
    lastKind_ = Kind::kTable;
    tableEnded_ = true;
  }

  std::string Separator(Kind kind, bool quote) {
    if (emitted_ == 0) return "";
    if (!Markdown()) return "\n";
    const bool sameQuote = quote == lastQuote_;
    if (kind == Kind::kPlain && lastKind_ == Kind::kPlain && sameQuote) return "\\\n";
    if (kind == Kind::kTable && lastKind_ == Kind::kTable && sameQuote && !tableEnded_) return "\n";
    if (kind == Kind::kEmpty || lastKind_ == Kind::kEmpty) return "\n";
    // Inside one quote the blank line between two kinds of block is quoted too.
    if (sameQuote && quote && (kind != lastKind_ || kind == Kind::kTable)) return "\n>\n";
    if (kind != lastKind_ || !sameQuote || kind == Kind::kTable) return "\n\n";
    return "\n";
  }

  void Emit(Kind kind, bool quote, const std::string& text) {
    *out_ += Separator(kind, quote);
    if (quote) *out_ += text.empty() ? ">" : "> ";
    *out_ += text;
    ++emitted_;
    lastKind_ = kind;
    lastQuote_ = quote;
    tableEnded_ = false;
  }

  const NoteDocument& doc_;
  const NoteFormat format_;
  const ObjectLookup& lookup_;
  const size_t limit_;
  std::string* out_;
  ListCounters counters_;
  std::string fence_;
  size_t emitted_ = 0;
  int32_t listLevel_ = -1;
  Kind lastKind_ = Kind::kEmpty;
  bool lastQuote_ = false, fenceQuote_ = false, tableEnded_ = false, listQuote_ = false;
};

}  // namespace

bool RenderNote(const NoteDocument& document, size_t from, NoteFormat format,
                const ObjectLookup& lookup, size_t limit, std::string* out) {
  out->clear();
  if (format == NoteFormat::kHtml) return RenderNoteHtml(document, from, lookup, limit, out);
  return TextRenderer(document, format, lookup, limit, out).Run(from);
}

std::string RenderCell(const NoteDocument& cell, NoteFormat format, const ObjectLookup& lookup) {
  std::string out;
  for (size_t i = 0; i < cell.lines.size(); ++i) {
    if (i != 0) out += "<br>";
    out += RenderInline(cell, cell.lines[i], format, lookup, true);
  }
  return out;
}

}  // namespace veldrake::backup
