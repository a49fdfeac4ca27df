// ProtoReader: a bounded window over one protocol-buffer message, shared by the note body
// and the table merge document readers.
//
// The bytes come from a backup and are untrusted: every length is checked against what
// remains of its message, varints stop at ten bytes, groups and unknown wire types are
// refused. Callers descend only into messages they know, so nesting is bounded by code,
// never by the input. One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_PROTOREADER_H_
#define VELDRAKE_BACKUP_PROTOREADER_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace veldrake::backup {

enum WireType : uint32_t { kVarint = 0, kFixed64 = 1, kLengthDelimited = 2, kFixed32 = 5 };

class ProtoReader {
 public:
  ProtoReader() = default;
  ProtoReader(const uint8_t* begin, const uint8_t* end) : at_(begin), end_(end) {}

  bool AtEnd() const { return at_ == end_; }
  size_t Remaining() const { return static_cast<size_t>(end_ - at_); }
  const uint8_t* Begin() const { return at_; }

  bool Varint(uint64_t* value);
  // The next field's number and wire type.
  bool Tag(uint32_t* field, uint32_t* wire);
  // The payload of a length-delimited field, checked against what remains.
  bool Bytes(ProtoReader* inner);
  // A little-endian 32-bit value (a float's bits).
  bool Fixed32(uint32_t* value);
  bool Skip(uint32_t wire);
  std::string Text() const { return std::string(at_, end_); }

 private:
  bool Advance(size_t count);

  const uint8_t* at_ = nullptr;
  const uint8_t* end_ = nullptr;
};

// Calls `onField(field, wire, reader)` for every field of `message`; the handler reads the
// field's value itself (returning false for a malformed one) or answers with Skip.
template <typename Handler>
bool EachField(ProtoReader message, Handler onField) {
  while (!message.AtEnd()) {
    uint32_t field = 0, wire = 0;
    if (!message.Tag(&field, &wire) || !onField(field, wire, message)) return false;
  }
  return true;
}

// A varint field as int32 (the two's complement cut of protobuf's int32); another wire
// type is skipped, leaving `out` as it was.
bool Int32Field(ProtoReader& reader, uint32_t wire, int32_t* out);
// A varint field as uint64; likewise.
bool Uint64Field(ProtoReader& reader, uint32_t wire, uint64_t* out);

// Descends into the length-delimited field `wanted` of `message` (the last one wins, as
// protocol buffers merge); false when it is absent or anything is malformed.
bool Submessage(ProtoReader message, uint32_t wanted, ProtoReader* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_PROTOREADER_H_
