// Renders as it walks the text: one line is built at a time, so what is held beside the
// body is the output and one line, whatever the runs and lines of a crafted body.
#include "NoteMarkdown.h"

#include <algorithm>
#include <cstdint>

#include "NoteText.h"

namespace veldrake::backup {
namespace {

constexpr size_t kNoRun = SIZE_MAX;
constexpr char32_t kObjectReplacement = 0xFFFC;
constexpr int32_t kMaxIndent = 8;  // deeper levels render at this one
const char kIndentUnit[] = "    ";
const char kFence[] = "```";

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
  // Where the run At last answered ends (no end past the last run).
  uint64_t End() const { return index_ < runs_.size() ? end_ : UINT64_MAX; }

 private:
  const std::vector<NoteRun>& runs_;
  size_t index_ = 0;
  uint64_t end_ = 0;
};

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

class Renderer {
 public:
  Renderer(const NoteBody& body, size_t limit, std::string* title, std::string* content)
      : body_(body), limit_(limit), title_(title), content_(content) {
    title_->clear();
    content_->clear();
  }

  // One character of the text and the run it belongs to; false past the limit.
  bool Add(char32_t point, size_t run) {
    if (point == U'\n') return EndLine(run);
    if (!started_) StartLine(run);
    const NoteRun* look = Look(run);
    if (point == kObjectReplacement) {
      CloseLink();
      if (!plain_) line_ += AttachmentText(look);
    } else {
      const std::string& link = plain_ || look == nullptr ? Strings(0) : Strings(look->link);
      if (&link != openLink_ &&
          link != *openLink_) {  // the address first: no text compare per character
        CloseLink();
        if (!link.empty()) line_ += '[';
        openLink_ = &link;
      }
      AppendUtf8(point, &line_);
    }
    return content_->size() + line_.size() <= limit_;
  }

  // Characters [from, to) of `text`, all of run `run`, valid UTF-8 without a newline, NUL
  // or attachment: the same as adding them one by one, in one append.
  bool AddSpan(const std::string& text, size_t from, size_t to, size_t run) {
    if (!started_) StartLine(run);
    const NoteRun* look = Look(run);
    const std::string& link = plain_ || look == nullptr ? Strings(0) : Strings(look->link);
    if (&link != openLink_ && link != *openLink_) {
      CloseLink();
      if (!link.empty()) line_ += '[';
      openLink_ = &link;
    }
    line_.append(text, from, to - from);
    return content_->size() + line_.size() <= limit_;
  }

  bool Finish() {
    if (!EndLine(kNoRun)) return false;
    if (fenced_) Emit(kFence);
    return content_->size() <= limit_;
  }

 private:
  const NoteRun* Look(size_t run) const { return run == kNoRun ? nullptr : &body_.runs[run]; }
  const std::string& Strings(uint32_t index) const { return body_.strings[index]; }

  std::string AttachmentText(const NoteRun* run) const {
    if (run == nullptr || run->attachmentType == 0) return "[attachment]";
    return "[attachment: " + Strings(run->attachmentType) + "]";
  }

  // The first character of a line decides its look: its run's paragraph style.
  void StartLine(size_t run) {
    started_ = true;
    styleRun_ = run;
    const NoteRun* look = Look(run);
    mono_ = look != nullptr && look->paragraph == kParagraphMonospaced;
    plain_ = lines_ == 0 || mono_;
  }

  void CloseLink() {
    if (!openLink_->empty()) line_ += "](" + LinkTarget(*openLink_) + ")";
    openLink_ = &Strings(0);
  }

  void Emit(const std::string& line) {
    if (emitted_++ != 0) *content_ += '\n';
    *content_ += line;
  }

  // Ends the current line at a newline of run `run` (or at the end, kNoRun).
  bool EndLine(size_t run) {
    if (!started_) StartLine(run);  // an empty line takes the newline's style
    CloseLink();
    if (lines_++ == 0) {
      title_->swap(line_);
    } else {
      const NoteRun* look = Look(styleRun_);
      if (mono_ != fenced_) Emit(kFence);
      fenced_ = mono_;
      if (look == nullptr || mono_ || line_.empty() || !IsListItem(*look)) {
        counters_.Reset();
        if (look != nullptr && !mono_ && !line_.empty())
          line_.insert(0, HeadingPrefix(look->paragraph));
      } else {
        line_.insert(0, counters_.Prefix(*look));
      }
      Emit(line_);
    }
    line_.clear();
    started_ = false;
    return content_->size() <= limit_;
  }

  const NoteBody& body_;
  const size_t limit_;
  std::string* title_;
  std::string* content_;
  std::string line_;
  const std::string* openLink_ = &body_.strings[0];
  size_t lines_ = 0, emitted_ = 0, styleRun_ = kNoRun;
  bool started_ = false, mono_ = false, plain_ = true, fenced_ = false;
  ListCounters counters_;
};

// How far from `at` the text runs on in one run (ending at UTF-16 position `runEnd`) with
// nothing but valid characters that render as themselves; advances `position` with it.
size_t PlainSpan(const std::string& text, size_t at, uint64_t runEnd, uint64_t* position) {
  while (at < text.size() && *position < runEnd) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      if (byte == '\n' || byte == 0) break;
      ++at;
      ++*position;
      continue;
    }
    const DecodedChar c = DecodeUtf8(text, at);
    if (c.bytes == 1 || c.point == kObjectReplacement) break;  // not UTF-8, or an attachment
    at += c.bytes;
    *position += c.point > 0xFFFF ? 2 : 1;
  }
  return at;
}

}  // namespace

bool RenderNoteBody(const NoteBody& body, size_t limit, std::string* title, std::string* content) {
  Renderer renderer(body, limit, title, content);
  RunCursor cursor(body.runs);
  uint64_t position = 0;
  for (size_t at = 0; at < body.text.size();) {
    const size_t run = cursor.At(position);
    // Most of a note is plain text: whole spans of it go in at once.
    const size_t end = PlainSpan(body.text, at, cursor.End(), &position);
    if (end > at) {
      if (!renderer.AddSpan(body.text, at, end, run)) return false;
      at = end;
      continue;
    }
    const DecodedChar c = DecodeUtf8(body.text, at);
    at += c.bytes;
    position += c.point > 0xFFFF ? 2 : 1;
    // A NUL would end the record's text early.
    if (c.point != 0 && !renderer.Add(c.point, run)) return false;
  }
  return renderer.Finish();
}

}  // namespace veldrake::backup
