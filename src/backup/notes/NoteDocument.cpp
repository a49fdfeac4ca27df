// Decodes a body in one walk of its text with a running UTF-16 position.
#include "NoteDocument.h"

#include <cstdint>

#include "NoteText.h"

namespace veldrake::backup {
namespace {

constexpr size_t kNoRun = SIZE_MAX;
constexpr char32_t kObjectReplacement = 0xFFFC;

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

class Builder {
 public:
  Builder(const std::vector<NoteRun>& runs, size_t limit, NoteDocument* out)
      : runs_(runs), limit_(limit), out_(out) {}

  // Characters [from, to) of `text`, all of run `run`, valid UTF-8 without newline, NUL
  // or object.
  bool Text(const std::string& text, size_t from, size_t to, size_t run) {
    NoteSpan& span = SpanFor(run, false);
    span.text.append(text, from, to - from);
    used_ += to - from;
    return used_ <= limit_;
  }

  bool Char(char32_t point, size_t run) {
    if (point == U'\n') return EndLine(run);
    if (point == 0) return true;  // a NUL would end a record's text early
    if (point != kObjectReplacement || run == kNoRun || !runs_[run].attachment) {
      std::string utf8;
      AppendUtf8(point, &utf8);
      return Text(utf8, 0, utf8.size(), run);
    }
    SpanFor(run, true);
    return used_ <= limit_;
  }

  bool EndLine(size_t run) {
    if (!started_) StartLine(run);
    started_ = false;
    return used_ <= limit_;
  }

 private:
  void StartLine(size_t run) {
    started_ = true;
    out_->lines.emplace_back();
    used_ += sizeof(NoteLine);
    if (run == kNoRun) return;
    const NoteRun& look = runs_[run];
    NoteLine& line = out_->lines.back();
    line.style = look.paragraph;
    line.indent = look.indent;
    line.checklist = look.checklist;
    line.done = look.done;
    line.quote = look.quote;
  }

  // The span new text of `run` goes into: the line's last when it looks the same.
  NoteSpan& SpanFor(size_t run, bool object) {
    if (!started_) StartLine(run);
    NoteSpan wanted;
    if (run != kNoRun) {
      const NoteRun& look = runs_[run];
      wanted.link = look.link;
      wanted.color = look.color;
      wanted.look = look.look;
      wanted.object = object;
      if (object) wanted.objectId = look.attachmentId, wanted.objectType = look.attachmentType;
    }
    std::vector<NoteSpan>& spans = out_->lines.back().spans;
    const bool same = !spans.empty() && !object && !spans.back().object &&
                      spans.back().link == wanted.link && spans.back().color == wanted.color &&
                      spans.back().look == wanted.look;
    if (same) return spans.back();
    spans.push_back(std::move(wanted));
    used_ += sizeof(NoteSpan);
    return spans.back();
  }

  const std::vector<NoteRun>& runs_;
  const size_t limit_;
  NoteDocument* out_;
  size_t used_ = 0;
  bool started_ = false;
};

// How far from `at` the text runs on in one run (ending at UTF-16 position `runEnd`) with
// nothing but valid characters that stand for themselves; advances `position` with it.
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
    if (c.bytes == 1 || c.point == kObjectReplacement) break;  // not UTF-8, or an object
    at += c.bytes;
    *position += c.point > 0xFFFF ? 2 : 1;
  }
  return at;
}

}  // namespace

bool BuildNoteDocument(NoteBody&& body, size_t limit, NoteDocument* out) {
  *out = NoteDocument();
  Builder builder(body.runs, limit, out);
  RunCursor cursor(body.runs);
  uint64_t position = 0;
  const std::string& text = body.text;
  for (size_t at = 0; at < text.size();) {
    const size_t run = cursor.At(position);
    // Most of a note is plain text: whole spans of it go in at once.
    const size_t end = PlainSpan(text, at, cursor.End(), &position);
    if (end > at) {
      if (!builder.Text(text, at, end, run)) return false;
      at = end;
      continue;
    }
    const DecodedChar c = DecodeUtf8(text, at);
    at += c.bytes;
    position += c.point > 0xFFFF ? 2 : 1;
    if (!builder.Char(c.point, run)) return false;
  }
  // The last line: closes an open one, or is the empty line after a final newline.
  if (!text.empty() && !builder.EndLine(kNoRun)) return false;
  out->strings = std::move(body.strings);
  return true;
}

std::string PlainText(const NoteLine& line) {
  std::string text;
  for (const NoteSpan& span : line.spans) text += span.text;
  return text;
}

bool IsListLine(const NoteLine& line) {
  return line.checklist || line.style == kParagraphDotted || line.style == kParagraphDashed ||
         line.style == kParagraphNumbered || line.style == kParagraphChecklist;
}

}  // namespace veldrake::backup
