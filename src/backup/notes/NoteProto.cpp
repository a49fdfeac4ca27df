// The bounded protocol-buffer reader behind ParseNoteBody.
#include "NoteProto.h"

namespace veldrake::backup {
namespace {

enum WireType : uint32_t { kVarint = 0, kFixed64 = 1, kLengthDelimited = 2, kFixed32 = 5 };
constexpr int kMaxVarintBytes = 10;

// Field numbers of the messages we descend into.
constexpr uint32_t kStoreDocument = 2;
constexpr uint32_t kDocumentNote = 3;
constexpr uint32_t kNoteText = 2;
constexpr uint32_t kNoteRun = 5;
constexpr uint32_t kRunLength = 1;
constexpr uint32_t kRunParagraph = 2;
constexpr uint32_t kRunLink = 9;
constexpr uint32_t kRunAttachment = 12;
constexpr uint32_t kParagraphType = 1;
constexpr uint32_t kParagraphIndent = 4;
constexpr uint32_t kParagraphChecklist = 5;
constexpr uint32_t kChecklistDone = 2;
constexpr uint32_t kAttachmentType = 2;

// A window over one message: reads fields from the front, never past `end_`.
class Reader {
 public:
  Reader(const uint8_t* begin, const uint8_t* end) : at_(begin), end_(end) {}

  bool AtEnd() const { return at_ == end_; }

  bool Varint(uint64_t* value) {
    uint64_t result = 0;
    for (int i = 0; i < kMaxVarintBytes; ++i) {
      if (at_ == end_) return false;
      const uint8_t byte = *at_++;
      result |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
      if ((byte & 0x80) == 0) {
        *value = result;
        return true;
      }
    }
    return false;
  }

  // The next field's number and wire type.
  bool Tag(uint32_t* field, uint32_t* wire) {
    uint64_t key = 0;
    if (!Varint(&key) || (key >> 3) == 0 || (key >> 3) > UINT32_MAX) return false;
    *field = static_cast<uint32_t>(key >> 3);
    *wire = static_cast<uint32_t>(key & 7);
    return true;
  }

  // The payload of a length-delimited field, checked against what remains.
  bool Bytes(Reader* inner) {
    uint64_t length = 0;
    if (!Varint(&length) || length > static_cast<uint64_t>(end_ - at_)) return false;
    *inner = Reader(at_, at_ + length);
    at_ += length;
    return true;
  }

  bool Skip(uint32_t wire) {
    uint64_t ignored = 0;
    Reader inner(nullptr, nullptr);
    switch (wire) {
      case kVarint:
        return Varint(&ignored);
      case kFixed64:
        return Advance(8);
      case kFixed32:
        return Advance(4);
      case kLengthDelimited:
        return Bytes(&inner);
      default:  // groups and unknown wire types: not in a note body
        return false;
    }
  }

  std::string Text() const { return std::string(at_, end_); }

 private:
  bool Advance(size_t count) {
    if (count > static_cast<size_t>(end_ - at_)) return false;
    at_ += count;
    return true;
  }

  const uint8_t* at_;
  const uint8_t* end_;
};

// Calls `onField(field, wire, reader)` for every field of `message`; the handler reads the
// field's value itself (returning false for a malformed one) or answers with Skip.
template <typename Handler>
bool EachField(Reader message, Handler onField) {
  while (!message.AtEnd()) {
    uint32_t field = 0, wire = 0;
    if (!message.Tag(&field, &wire) || !onField(field, wire, message)) return false;
  }
  return true;
}

bool Int32Field(Reader& reader, uint32_t wire, int32_t* out) {
  uint64_t value = 0;
  if (wire != kVarint) return reader.Skip(wire);
  if (!reader.Varint(&value)) return false;
  *out = static_cast<int32_t>(static_cast<uint32_t>(value));
  return true;
}

bool ParseChecklist(Reader message, NoteRun* run) {
  run->checklist = true;
  return EachField(message, [run](uint32_t field, uint32_t wire, Reader& r) {
    int32_t done = 0;
    if (field != kChecklistDone) return r.Skip(wire);
    if (!Int32Field(r, wire, &done)) return false;
    run->done = done != 0;
    return true;
  });
}

bool ParseParagraph(Reader message, NoteRun* run) {
  return EachField(message, [run](uint32_t field, uint32_t wire, Reader& r) {
    Reader inner(nullptr, nullptr);
    if (field == kParagraphType) return Int32Field(r, wire, &run->paragraph);
    if (field == kParagraphIndent) return Int32Field(r, wire, &run->indent);
    if (field == kParagraphChecklist && wire == kLengthDelimited)
      return r.Bytes(&inner) && ParseChecklist(inner, run);
    return r.Skip(wire);
  });
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
  std::string link, type;
};

bool ParseAttachment(Reader message, ReadRun* read) {
  read->run.attachment = true;
  return EachField(message, [read](uint32_t field, uint32_t wire, Reader& r) {
    Reader inner(nullptr, nullptr);
    if (field != kAttachmentType || wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    read->type = inner.Text();
    return true;
  });
}

bool ParseRun(Reader message, ReadRun* read) {
  NoteRun* run = &read->run;
  return EachField(message, [run, read](uint32_t field, uint32_t wire, Reader& r) {
    Reader inner(nullptr, nullptr);
    int32_t length = 0;
    if (field == kRunLength) {
      if (!Int32Field(r, wire, &length)) return false;
      run->length = length > 0 ? static_cast<uint64_t>(length) : 0;  // negative: empty
      return true;
    }
    if (wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    if (field == kRunParagraph) return ParseParagraph(inner, run);
    if (field == kRunAttachment) return ParseAttachment(inner, read);
    if (field == kRunLink) read->link = inner.Text();
    return true;
  });
}

bool ParseNote(Reader message, NoteBody* body) {
  return EachField(message, [body](uint32_t field, uint32_t wire, Reader& r) {
    Reader inner(nullptr, nullptr);
    if (wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    if (field == kNoteText) body->text = inner.Text();
    if (field != kNoteRun) return true;
    ReadRun read;
    if (!ParseRun(inner, &read)) return false;
    if (read.run.length == 0 || body->runs.size() >= kMaxNoteRuns) return true;
    read.run.link = Intern(&body->strings, std::move(read.link));
    read.run.attachmentType = Intern(&body->strings, std::move(read.type));
    body->runs.push_back(read.run);
    return true;
  });
}

// Descends into the one length-delimited field `wanted` of `message` (the last one wins,
// as protocol buffers merge); false when it is absent or anything is malformed.
bool Submessage(Reader message, uint32_t wanted, Reader* out) {
  bool found = false;
  const bool ok = EachField(message, [&](uint32_t field, uint32_t wire, Reader& r) {
    if (field != wanted || wire != kLengthDelimited) return r.Skip(wire);
    found = true;
    return r.Bytes(out);
  });
  return ok && found;
}

}  // namespace

bool ParseNoteBody(const uint8_t* data, size_t size, NoteBody* body) {
  *body = NoteBody();
  Reader document(nullptr, nullptr), note(nullptr, nullptr);
  if (data == nullptr) return false;
  if (!Submessage(Reader(data, data + size), kStoreDocument, &document)) return false;
  if (!Submessage(document, kDocumentNote, &note)) return false;
  return ParseNote(note, body);
}

}  // namespace veldrake::backup
