// The protobuf and gzip of a modern note's body.
#include "NoteBody.h"

#include <zlib.h>

#include <cstdint>
#include <cstring>

#include "Crypto.h"
#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

// Field numbers of the app's messages.
const uint32_t kStoreVersion = 1, kStoreDocument = 2;
const uint32_t kDocumentFlags = 1, kDocumentVersion = 2, kDocumentNote = 3;
const uint32_t kNoteText = 2, kNoteRun = 5;
const uint32_t kRunLength = 1, kRunParagraphStyle = 2, kRunWeight = 5, kRunUnderlined = 6,
               kRunStrikethrough = 7, kRunSuperscript = 8, kRunLink = 9, kRunColor = 10,
               kRunAttachment = 12;
const uint32_t kStyleType = 1, kStyleIndent = 4, kStyleChecklist = 5, kStyleBlockQuote = 8;
const uint32_t kChecklistUuid = 1, kChecklistDone = 2;
const uint32_t kAttachmentId = 1, kAttachmentUti = 2;
const uint32_t kColorRed = 1, kColorAlpha = 4;
const size_t kUuidBytes = 16;
const int kGzipWindow = 15 + 16;  // zlib's way of asking for a gzip header
const int kMemLevel = 8;

std::string ParagraphStyleOf(const Paragraph& p) {
  std::string style;
  if (p.style != kBody) PutInt(style, kStyleType, p.style);
  if (p.indent > 0) PutInt(style, kStyleIndent, p.indent);
  if (p.check >= 0) {
    std::string checklist;
    PutBytes(checklist, kChecklistUuid, RandomBytes(kUuidBytes));
    PutInt(checklist, kChecklistDone, p.check);
    PutBytes(style, kStyleChecklist, checklist);
  }
  if (p.quote) PutInt(style, kStyleBlockQuote, 1);
  return style;
}

std::string RunOf(const Span& span, size_t units, const std::string& style,
                  const std::vector<ObjectRef>& objects) {
  std::string run;
  PutInt(run, kRunLength, static_cast<int64_t>(units));
  if (!style.empty()) PutBytes(run, kRunParagraphStyle, style);
  if (span.weight) PutInt(run, kRunWeight, span.weight);
  if (span.underline) PutInt(run, kRunUnderlined, 1);
  if (span.strike) PutInt(run, kRunStrikethrough, 1);
  if (span.script) PutInt(run, kRunSuperscript, span.script);
  if (!span.link.empty()) PutBytes(run, kRunLink, span.link);
  if (span.colored) {
    std::string color;
    for (uint32_t k = 0; k < 3; ++k) PutFloat(color, kColorRed + k, span.rgb[k]);
    PutFloat(color, kColorAlpha, 1.0f);
    PutBytes(run, kRunColor, color);
  }
  if (span.object >= 0 && static_cast<size_t>(span.object) < objects.size()) {
    std::string info;
    PutBytes(info, kAttachmentId, objects[static_cast<size_t>(span.object)].identifier);
    PutBytes(info, kAttachmentUti, objects[static_cast<size_t>(span.object)].uti);
    PutBytes(run, kRunAttachment, info);
  }
  return run;
}

}  // namespace

void PutVarint(std::string& out, uint64_t value) {
  while (value >= 0x80) {
    out += static_cast<char>((value & 0x7F) | 0x80);
    value >>= 7;
  }
  out += static_cast<char>(value);
}

void PutKey(std::string& out, uint32_t field, WireType type) {
  PutVarint(out, (static_cast<uint64_t>(field) << 3) | type);
}

void PutInt(std::string& out, uint32_t field, int64_t value) {
  PutKey(out, field, kVarint);
  PutVarint(out, static_cast<uint64_t>(value));
}

void PutBytes(std::string& out, uint32_t field, const std::string& bytes) {
  PutKey(out, field, kBytes);
  PutVarint(out, bytes.size());
  out += bytes;
}

void PutFloat(std::string& out, uint32_t field, float value) {
  PutKey(out, field, kFixed32);
  uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  for (int k = 0; k < 4; ++k) out += static_cast<char>((bits >> (8 * k)) & 0xFF);
}

// One run per span; the line break joins the paragraph's last run (or is a run of its
// own on an empty line).
std::string EncodeNote(const std::vector<Paragraph>& paragraphs,
                       const std::vector<ObjectRef>& objects) {
  std::string text, runs;
  for (size_t i = 0; i < paragraphs.size(); ++i) {
    const Paragraph& p = paragraphs[i];
    const std::string style = ParagraphStyleOf(p);
    const bool last = i + 1 == paragraphs.size();
    std::vector<Span> spans = p.spans;
    if (!last && (spans.empty() || spans.back().object >= 0))
      spans.push_back(TextSpan(std::string()));
    for (size_t k = 0; k < spans.size(); ++k) {
      std::string piece = spans[k].text;
      if (!last && k + 1 == spans.size()) piece += '\n';
      const size_t units = Utf8ToUnits(piece).size();
      if (units == 0) continue;
      text += piece;
      PutBytes(runs, kNoteRun, RunOf(spans[k], units, style, objects));
    }
  }
  std::string note;
  PutBytes(note, kNoteText, text);
  return note + runs;
}

std::string NoteDocument(const NoteDoc& doc, const std::vector<ObjectRef>& objects) {
  std::string document;
  PutInt(document, kDocumentFlags, 0);
  PutInt(document, kDocumentVersion, 0);
  PutBytes(document, kDocumentNote, EncodeNote(doc.paragraphs, objects));
  std::string store;
  PutInt(store, kStoreVersion, 0);
  PutBytes(store, kStoreDocument, document);
  return store;
}

bool Gzip(const std::string& in, std::string* out) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK)
    return false;
  out->assign(deflateBound(&stream, static_cast<uLong>(in.size())) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = reinterpret_cast<Bytef*>(out->data());
  stream.avail_out = static_cast<uInt>(out->size());
  const int rc = deflate(&stream, Z_FINISH);
  out->resize(stream.total_out);
  deflateEnd(&stream);
  return rc == Z_STREAM_END;
}

}  // namespace devicesim::backup
