// The note body's messages, read with the bounded ProtoReader.
#include "NoteProto.h"

#include <cmath>
#include <cstring>

#include "ProtoReader.h"

namespace veldrake::backup {
namespace {

// Field numbers of the messages we descend into.
constexpr uint32_t kStoreDocument = 2;
constexpr uint32_t kDocumentNote = 3;
constexpr uint32_t kNoteText = 2;
constexpr uint32_t kNoteRun = 5;
constexpr uint32_t kRunLength = 1;
constexpr uint32_t kRunParagraph = 2;
constexpr uint32_t kRunFont = 3;
constexpr uint32_t kRunFontHints = 5;
constexpr uint32_t kRunUnderline = 6;
constexpr uint32_t kRunStrike = 7;
constexpr uint32_t kRunSuperscript = 8;
constexpr uint32_t kRunLink = 9;
constexpr uint32_t kRunColor = 10;
constexpr uint32_t kRunAttachment = 12;
constexpr uint32_t kFontHints = 3;
constexpr uint32_t kParagraphType = 1;
constexpr uint32_t kParagraphIndent = 4;
constexpr uint32_t kParagraphChecklist = 5;
constexpr uint32_t kParagraphQuote = 8;
constexpr uint32_t kChecklistDone = 2;
constexpr uint32_t kAttachmentId = 1;
constexpr uint32_t kAttachmentType = 2;
constexpr uint32_t kColorRed = 1, kColorBlue = 3;
constexpr int32_t kHintBold = 1, kHintItalic = 2;

bool ParseChecklist(ProtoReader message, NoteRun* run) {
  run->checklist = true;
  return EachField(message, [run](uint32_t field, uint32_t wire, ProtoReader& r) {
    int32_t done = 0;
    if (field != kChecklistDone) return r.Skip(wire);
    if (!Int32Field(r, wire, &done)) return false;
    run->done = done != 0;
    return true;
  });
}

bool ParseParagraph(ProtoReader message, NoteRun* run) {
  return EachField(message, [run](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    int32_t value = 0;
    if (field == kParagraphType) return Int32Field(r, wire, &run->paragraph);
    if (field == kParagraphIndent) return Int32Field(r, wire, &run->indent);
    if (field == kParagraphChecklist && wire == kLengthDelimited)
      return r.Bytes(&inner) && ParseChecklist(inner, run);
    if (field != kParagraphQuote) return r.Skip(wire);
    if (!Int32Field(r, wire, &value)) return false;
    run->quote = value != 0;
    return true;
  });
}

void AddHints(int32_t hints, NoteRun* run) {
  if ((hints & kHintBold) != 0) run->look |= kLookBold;
  if ((hints & kHintItalic) != 0) run->look |= kLookItalic;
}

bool ParseFont(ProtoReader message, NoteRun* run) {
  return EachField(message, [run](uint32_t field, uint32_t wire, ProtoReader& r) {
    int32_t hints = 0;
    if (field != kFontHints) return r.Skip(wire);
    if (!Int32Field(r, wire, &hints)) return false;
    AddHints(hints, run);
    return true;
  });
}

// One colour component, a float in [0, 1], as a byte.
uint32_t ComponentByte(uint32_t bits) {
  float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  if (!(value > 0)) return 0;  // NaN and negatives too
  if (value >= 1) return 255;
  return static_cast<uint32_t>(std::lround(value * 255.0f));
}

bool ParseColor(ProtoReader message, NoteRun* run) {
  uint32_t rgb[3] = {0, 0, 0};
  const bool ok = EachField(message, [&rgb](uint32_t field, uint32_t wire, ProtoReader& r) {
    uint32_t bits = 0;
    if (field < kColorRed || field > kColorBlue || wire != kFixed32) return r.Skip(wire);
    if (!r.Fixed32(&bits)) return false;
    rgb[field - kColorRed] = ComponentByte(bits);
    return true;
  });
  run->color = kColorSet | rgb[0] << 16 | rgb[1] << 8 | rgb[2];
  return ok;
}

// The index of `text` in `strings`: the last entry when it repeats it, else a new one.
uint32_t Intern(std::vector<std::string>* strings, std::string text) {
  if (text.empty()) return 0;
  if (text != strings->back()) strings->push_back(std::move(text));
  return static_cast<uint32_t>(strings->size() - 1);
}

// A run as read, its texts still its own until the run is known to be kept.
struct ReadRun {
  NoteRun run;
  std::string link, type, id;
};

bool ParseAttachment(ProtoReader message, ReadRun* read) {
  read->run.attachment = true;
  return EachField(message, [read](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if ((field != kAttachmentType && field != kAttachmentId) || wire != kLengthDelimited)
      return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    (field == kAttachmentType ? read->type : read->id) = inner.Text();
    return true;
  });
}

// The run's varint fields: its length and its inline looks.
bool ParseRunNumber(uint32_t field, uint32_t wire, ProtoReader& r, NoteRun* run) {
  int32_t value = 0;
  if (!Int32Field(r, wire, &value)) return false;
  if (field == kRunLength) run->length = value > 0 ? static_cast<uint64_t>(value) : 0;
  if (field == kRunFontHints) AddHints(value, run);
  if (field == kRunUnderline && value != 0) run->look |= kLookUnderline;
  if (field == kRunStrike && value != 0) run->look |= kLookStrike;
  if (field == kRunSuperscript && value > 0) run->look |= kLookSuperscript;
  if (field == kRunSuperscript && value < 0) run->look |= kLookSubscript;
  return true;
}

bool ParseRun(ProtoReader message, ReadRun* read) {
  NoteRun* run = &read->run;
  return EachField(message, [run, read](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if (wire == kVarint) return ParseRunNumber(field, wire, r, run);
    if (wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    if (field == kRunParagraph) return ParseParagraph(inner, run);
    if (field == kRunFont) return ParseFont(inner, run);
    if (field == kRunColor) return ParseColor(inner, run);
    if (field == kRunAttachment) return ParseAttachment(inner, read);
    if (field == kRunLink) read->link = inner.Text();
    return true;
  });
}

bool ParseNote(ProtoReader message, NoteBody* body) {
  return EachField(message, [body](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if (wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    if (field == kNoteText) body->text = inner.Text();
    if (field != kNoteRun) return true;
    ReadRun read;
    if (!ParseRun(inner, &read)) return false;
    if (read.run.length == 0 || body->runs.size() >= kMaxNoteRuns) return true;
    read.run.link = Intern(&body->strings, std::move(read.link));
    read.run.attachmentType = Intern(&body->strings, std::move(read.type));
    read.run.attachmentId = Intern(&body->strings, std::move(read.id));
    body->runs.push_back(read.run);
    return true;
  });
}

}  // namespace

bool ParseNoteString(const uint8_t* data, size_t size, NoteBody* body) {
  *body = NoteBody();
  if (data == nullptr && size != 0) return false;
  return ParseNote(ProtoReader(data, data + size), body);
}

bool ParseNoteBody(const uint8_t* data, size_t size, NoteBody* body) {
  *body = NoteBody();
  ProtoReader document, note;
  if (data == nullptr) return false;
  if (!Submessage(ProtoReader(data, data + size), kStoreDocument, &document)) return false;
  if (!Submessage(document, kDocumentNote, &note)) return false;
  return ParseNote(note, body);
}

}  // namespace veldrake::backup
