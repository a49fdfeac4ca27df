// NoteBody: a modern note's body as the Notes app stores it: a protobuf document
// (NoteStoreProto > Document > Note: the text and its attribute runs), gzip-compressed.
//
// Each paragraph ends with its line break (the last one has none); a run covers text of
// one look inside one paragraph, carrying the paragraph's style. Run lengths count UTF-16
// code units, as the app's text storage does.
//
// Thread contract: pure functions (checklist identifiers are random).
#ifndef DEVICESIM_BACKUP_NOTEBODY_H_
#define DEVICESIM_BACKUP_NOTEBODY_H_

#include <string>
#include <vector>

#include "NoteModel.h"

namespace devicesim::backup {

// How an object of the note is named in its run's attachment_info.
struct ObjectRef {
  std::string identifier, uti;
};

// The protobuf Note message (note_text and attribute runs) of `paragraphs`.
std::string EncodeNote(const std::vector<Paragraph>& paragraphs,
                       const std::vector<ObjectRef>& objects);
// The whole uncompressed body: NoteStoreProto > Document > Note.
std::string NoteDocument(const NoteDoc& doc, const std::vector<ObjectRef>& objects);
// gzip (with its header, as the app writes ZDATA); false when zlib fails.
bool Gzip(const std::string& in, std::string* out);

// Protobuf writing, shared with the table's merge document.
enum WireType : uint32_t { kVarint = 0, kFixed64 = 1, kBytes = 2, kFixed32 = 5 };
void PutVarint(std::string& out, uint64_t value);
void PutKey(std::string& out, uint32_t field, WireType type);
void PutInt(std::string& out, uint32_t field, int64_t value);
void PutBytes(std::string& out, uint32_t field, const std::string& bytes);
void PutFloat(std::string& out, uint32_t field, float value);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEBODY_H_
