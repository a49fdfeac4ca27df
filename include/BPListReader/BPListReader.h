// BPListReader: the reader of one binary property list ("bplist00") held in memory.
//
// open() takes a private copy of the bytes and validates the header, trailer and offset
// table; getRootObject() decodes the tree from the root. The bytes are untrusted: no input
// makes the reader read outside its copy or its offset table, assert, throw or abort.
// A broken limit in the trailer or table makes open() return false; a broken limit in the
// object data makes getRootObject() return prop::Null for the whole list.
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
  // ... and past this many decoded objects per byte of input, which keeps lists of shared
  // references from expanding exponentially.
  static const uint64_t kObjectsPerInputByte;

  BPListReader();
  virtual ~BPListReader();

  BPListReader(const BPListReader&) = delete;
  BPListReader& operator=(const BPListReader&) = delete;

  // True when the bytes are a binary property list, version "00", whose trailer and
  // offset table lie within them.
  bool open(const void* data, unsigned long length);
  // The decoded root, or prop::Null when the reader is empty or the data is broken.
  prop getRootObject();
  // Drops the data.
  void close();

  // Internal operations, public for the tests of the decoder.
  bool init();
  void setpos(int64_t position);
  const unsigned char* ptr(int64_t advance);
  void get(std::string& out, unsigned long n);
  prop readObject();
  prop readObjectAtRef(unsigned long long ref);

  uint8_t _offsetSize;
  uint8_t _refSize;
  uint64_t _numObjects;
  uint64_t _topObject;
  uint64_t _offsetTableOffset;
  std::vector<unsigned long long> _offsets;
  int64_t _length;
  int64_t _start;
  std::string _data;

  // Decoding state for the limits above: set when a limit breaks, the current depth,
  // the objects decoded so far and the references being followed (to stop cycles).
  bool _failed;
  int _depth;
  uint64_t _decoded;
  std::vector<unsigned long long> _path;
};

#endif  // VELDRAKE_BPLISTREADER_BPLISTREADER_H_
