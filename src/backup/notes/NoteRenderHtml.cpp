// The HTML fragment: one element per line, consecutive list items nested by indent in
// <ul>/<ol>, monospaced lines in one <pre>, quoted lines in one <blockquote>, tables as
// <table>. Everything the note says is escaped; only our own tags are markup.
#include <algorithm>
#include <string>
#include <vector>

#include "NoteInline.h"
#include "NoteRender.h"

namespace veldrake::backup {
namespace {

constexpr size_t kMaxDepth = 9;  // list nesting; deeper items render at this depth

const char* ListTag(const NoteLine& line) {
  return line.style == kParagraphNumbered ? "ol" : "ul";
}

// Right-to-left text has no mark of its own: each block lets the browser find its
// direction from its text.
const char kDirection[] = " dir=\"auto\"";

std::string BlockTag(const NoteLine& line) {
  if (line.style == kParagraphTitle) return "h1";
  if (line.style == kParagraphHeading) return "h2";
  if (line.style == kParagraphSubheading) return "h3";
  return "p";
}

class HtmlRenderer {
 public:
  HtmlRenderer(const NoteDocument& document, const ObjectLookup& lookup, size_t limit,
               std::string* out)
      : doc_(document), lookup_(lookup), limit_(limit), out_(out) {}

  bool Run(size_t from) {
    for (size_t i = from; i < doc_.lines.size(); ++i) {
      Line(doc_.lines[i]);
      if (out_->size() > limit_) return false;
    }
    SetQuote(false);
    return out_->size() <= limit_;
  }

 private:
  void Line(const NoteLine& line) {
    const bool mono = line.style == kParagraphMonospaced;
    if (line.quote != quote_) SetQuote(line.quote);
    if (!mono) ClosePre();
    if (!IsListLine(line) || mono) CloseLists(0);
    if (mono) {
      *out_ += pre_ ? "\n" : "<pre><code>";
      pre_ = true;
      *out_ += EscapeHtml(PlainText(line));
      return;
    }
    const std::string text = RenderInline(doc_, line, NoteFormat::kHtml, lookup_, false);
    const std::vector<const NoteTableCells*> tables = LineTables(doc_, line, lookup_);
    if (IsListLine(line)) {
      Item(line, text);
    } else if (!text.empty() || tables.empty()) {
      const std::string tag = BlockTag(line);
      *out_ += "<" + tag + kDirection + ">" + (text.empty() ? "<br>" : text) + "</" + tag + ">\n";
    }
    for (const NoteTableCells* table : tables) Table(*table);
  }

  void Item(const NoteLine& line, const std::string& text) {
    const size_t depth = std::min(static_cast<size_t>(std::max(line.indent, 0)) + 1,
                                  std::min(kMaxDepth, lists_.size() + 1));
    const std::string tag = ListTag(line);
    CloseLists(depth);
    if (lists_.size() == depth && lists_.back() != tag) CloseLists(depth - 1);
    if (lists_.size() == depth) *out_ += "</li>\n";
    while (lists_.size() < depth) {
      *out_ += "<" + tag + ">\n";
      lists_.push_back(tag);
    }
    *out_ += std::string("<li") + kDirection + ">";
    if (line.checklist || line.style == kParagraphChecklist)
      *out_ += line.done ? "<input type=\"checkbox\" disabled checked> "
                         : "<input type=\"checkbox\" disabled> ";
    *out_ += text;
  }

  // Closes lists until `depth` remain open.
  void CloseLists(size_t depth) {
    while (lists_.size() > depth) {
      *out_ += "</li>\n</" + lists_.back() + ">\n";
      lists_.pop_back();
    }
  }

  void ClosePre() {
    if (pre_) *out_ += "</code></pre>\n";
    pre_ = false;
  }

  void SetQuote(bool quote) {
    ClosePre();
    CloseLists(0);
    if (quote_ != quote) *out_ += quote ? "<blockquote>\n" : "</blockquote>\n";
    quote_ = quote;
  }

  void Table(const NoteTableCells& table) {
    if (table.rows <= 0 || table.columns <= 0) return;
    const auto columns = static_cast<size_t>(table.columns);
    *out_ += table.rightToLeft ? "<table dir=\"rtl\">\n" : "<table>\n";
    for (size_t row = 0; row < static_cast<size_t>(table.rows); ++row) {
      *out_ += "<tr>";
      for (size_t column = 0; column < columns; ++column)
        *out_ += "<td dir=\"auto\">" +
                 RenderCell(table.cells[row * columns + column], NoteFormat::kHtml, lookup_) +
                 "</td>";
      *out_ += "</tr>\n";
    }
    *out_ += "</table>\n";
  }

  const NoteDocument& doc_;
  const ObjectLookup& lookup_;
  const size_t limit_;
  std::string* out_;
  std::vector<std::string> lists_;
  bool pre_ = false, quote_ = false;
};

}  // namespace

bool RenderNoteHtml(const NoteDocument& document, size_t from, const ObjectLookup& lookup,
                    size_t limit, std::string* out) {
  return HtmlRenderer(document, lookup, limit, out).Run(from);
}

}  // namespace veldrake::backup
