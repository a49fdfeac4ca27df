// Drives a note body from a backup through everything that reads it: the capped gunzip,
// the protobuf reader and the Markdown rendering (on the inflated bytes and on the raw
// ones, so the reader is reached without a valid gzip stream), and the legacy HTML
// rendering. Properties that must hold for every input end the run with a trap.
#include <cstddef>
#include <cstdint>
#include <string>

#include "LegacyNotesHtml.h"
#include "NoteInflate.h"
#include "NoteMarkdown.h"
#include "NoteProto.h"
#include "NoteText.h"

namespace {

using namespace veldrake::backup;

// Small enough that a bomb in the corpus runs quickly, large enough for every seed.
constexpr size_t kFuzzCap = size_t{1} << 20;
const char kAttachmentChar[] = "\xEF\xBF\xBC";

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

void RenderBody(const uint8_t* data, size_t size) {
  NoteBody body;
  if (!ParseNoteBody(data, size, &body)) return;
  std::string title, content;
  if (!RenderNoteBody(body, kFuzzCap, &title, &content)) return;
  Require(content.size() <= kFuzzCap);
  Require(title.find('\n') == std::string::npos);
  // Without runs (and so without attachments' placeholders) the text comes back as stored,
  // bytes that are not UTF-8 replaced and NULs dropped.
  std::string expected;
  for (size_t at = 0; at < body.text.size();) {
    const DecodedChar c = DecodeUtf8(body.text, at);
    at += c.bytes;
    if (c.point != 0) AppendUtf8(c.point, &expected);
  }
  if (!body.runs.empty() || expected.find(kAttachmentChar) != std::string::npos) return;
  const size_t newline = expected.find('\n');
  Require(newline == std::string::npos ? title == expected && content.empty()
                                       : title + "\n" + content == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string inflated;
  const Inflated status = InflateNoteBody(data, size, kFuzzCap, &inflated);
  Require(inflated.size() <= kFuzzCap);
  Require(status == Inflated::kOk || inflated.empty());
  if (status == Inflated::kOk)
    RenderBody(reinterpret_cast<const uint8_t*>(inflated.data()), inflated.size());
  RenderBody(data, size);

  std::string title, content;
  if (RenderLegacyNoteHtml(std::string(reinterpret_cast<const char*>(data), size), kFuzzCap, &title,
                           &content))
    Require(title.find('\n') == std::string::npos && content.size() <= kFuzzCap);
  return 0;
}
