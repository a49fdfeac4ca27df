// The bounded protocol-buffer reader.
#include "ProtoReader.h"

namespace veldrake::backup {
namespace {

constexpr int kMaxVarintBytes = 10;

}  // namespace

bool ProtoReader::Varint(uint64_t* value) {
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

bool ProtoReader::Tag(uint32_t* field, uint32_t* wire) {
  uint64_t key = 0;
  if (!Varint(&key) || (key >> 3) == 0 || (key >> 3) > UINT32_MAX) return false;
  *field = static_cast<uint32_t>(key >> 3);
  *wire = static_cast<uint32_t>(key & 7);
  return true;
}

bool ProtoReader::Bytes(ProtoReader* inner) {
  uint64_t length = 0;
  if (!Varint(&length) || length > Remaining()) return false;
  *inner = ProtoReader(at_, at_ + length);
  at_ += length;
  return true;
}

bool ProtoReader::Fixed32(uint32_t* value) {
  if (Remaining() < 4) return false;
  *value =
      uint32_t{at_[0]} | uint32_t{at_[1]} << 8 | uint32_t{at_[2]} << 16 | uint32_t{at_[3]} << 24;
  at_ += 4;
  return true;
}

bool ProtoReader::Skip(uint32_t wire) {
  uint64_t ignored = 0;
  ProtoReader inner;
  switch (wire) {
    case kVarint:
      return Varint(&ignored);
    case kFixed64:
      return Advance(8);
    case kFixed32:
      return Advance(4);
    case kLengthDelimited:
      return Bytes(&inner);
    default:  // groups and unknown wire types: not in a note's messages
      return false;
  }
}

bool ProtoReader::Advance(size_t count) {
  if (count > Remaining()) return false;
  at_ += count;
  return true;
}

bool Int32Field(ProtoReader& reader, uint32_t wire, int32_t* out) {
  uint64_t value = 0;
  if (wire != kVarint) return reader.Skip(wire);
  if (!reader.Varint(&value)) return false;
  *out = static_cast<int32_t>(static_cast<uint32_t>(value));
  return true;
}

bool Uint64Field(ProtoReader& reader, uint32_t wire, uint64_t* out) {
  if (wire != kVarint) return reader.Skip(wire);
  return reader.Varint(out);
}

bool Submessage(ProtoReader message, uint32_t wanted, ProtoReader* out) {
  bool found = false;
  const bool ok = EachField(message, [&](uint32_t field, uint32_t wire, ProtoReader& r) {
    if (field != wanted || wire != kLengthDelimited) return r.Skip(wire);
    found = true;
    return r.Bytes(out);
  });
  return ok && found;
}

}  // namespace veldrake::backup
