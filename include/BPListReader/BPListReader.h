// BPListReader: the reader of one binary property list ("bplist00") held in memory.
//
// open() takes a private copy of the bytes and validates the header, trailer and offset
// table; getRootObject() decodes the tree from the root. The bytes are untrusted: no input
// makes the reader read outside its copy or its offset table, assert, throw or abort.
// A broken limit in the trailer or table makes open() return false; a broken limit in the
// object data makes getRootObject() return prop::Null for the whole list.
//
// Limits that end in prop::Null: a reference or offset out of range, a real or date of
// another width, a count that is no integer object or exceeds the bytes that remain, a
// dictionary key that is no string or an ASCII key with a byte of 128 or more, a reference
// back into an object being decoded, nesting deeper than kMaxDepth, more decoded objects
// than the object budget, more bytes of decoded text and data than the byte budget, and
// a root index that is not below the object count.
// The wire format is described in docs/bplist-format.md.
//
// Ownership: the caller's buffer may go away once open() has returned; the props handed
// out own their contents and outlive the reader. Thread contract: one reader, one thread.
#ifndef VELDRAKE_BPLISTREADER_BPLISTREADER_H_
#define VELDRAKE_BPLISTREADER_BPLISTREADER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "prop/prop.h"

class BPListReader {
 public:
  // Decoding gives up (root prop::Null) past this nesting depth of containers.
  static const int kMaxDepth;
  // ... and past this many decoded objects per byte of input (with kMinObjectBudget as the
  // floor), which keeps lists of shared references from expanding exponentially.
  static const uint64_t kObjectsPerInputByte;
  static const uint64_t kMinObjectBudget;
  // ... and past this many bytes of decoded text and data (as held in memory: a wide
  // character counts sizeof(wchar_t)) per byte of input, with kMinByteBudget as the
  // floor, which keeps many references to one large object from filling the memory.
  static const uint64_t kBytesPerInputByte;
  static const uint64_t kMinByteBudget;

  BPListReader();
  virtual ~BPListReader();

  BPListReader(const BPListReader&) = delete;
  BPListReader& operator=(const BPListReader&) = delete;

  // True when the bytes are a binary property list, version "00", whose trailer and
  // offset table lie within them (offset and reference widths of at most 8 bytes).
  bool open(const void* data, unsigned long length);
  // The decoded root, or prop::Null when the reader is empty or the data is broken.
  prop getRootObject();
  // Drops the data.
  void close();

 private:
  // Reaches the position discipline from the reader's tests.
  friend class BPListReaderPeer;

  // A broken limit sets _failed: setpos then leaves the position alone, ptr returns null,
  // get leaves `out` untouched.
  bool init();
  void setpos(int64_t position);
  const unsigned char* ptr(int64_t advance);
  void get(std::string& out, unsigned long n);
  bool fail();
  // Takes `bytes` from the byte budget; false (and failed) when they are not there.
  bool spend(uint64_t bytes);
  prop failValue();
  void resetDecoding();

  prop readObject();
  prop readObjectAtRef(unsigned long long ref);
  bool readCount(unsigned sizeField, int64_t* count);
  bool readUtf16(int64_t count, std::wstring* text);
  prop readInteger(unsigned sizeField);
  prop readReal(unsigned marker);
  prop readDate(unsigned marker);
  prop readBytes(unsigned marker);
  prop readUnicode(unsigned sizeField);
  prop readUid(unsigned sizeField);
  prop readArray(unsigned sizeField);
  prop readDict(unsigned sizeField);
  bool readKeyAtRef(unsigned long long ref, std::wstring* key);

  uint8_t _offsetSize;
  uint8_t _refSize;
  uint64_t _numObjects;
  uint64_t _topObject;
  uint64_t _offsetTableOffset;
  std::vector<unsigned long long> _offsets;
  int64_t _length;
  int64_t _start;
  std::string _data;

  // Decoding state for the limits above: open() succeeded, a limit broke, the current
  // depth, the objects that may still be decoded, and one mark per object for those being
  // decoded (to stop cycles).
  bool _ready;
  bool _failed;
  int _depth;
  uint64_t _budget;
  uint64_t _byteBudget;
  std::vector<unsigned char> _onPath;
};

#endif  // VELDRAKE_BPLISTREADER_BPLISTREADER_H_
