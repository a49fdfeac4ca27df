// BPListWriter: writes a Value tree as a binary property list ("bplist00").
//
// Every integer, offset and object reference uses the smallest width that fits. The root
// is object 0 and the objects follow depth-first from it, so the root's own bytes stand
// right after the 8-byte header: a reply's first array and its message-name string come
// ahead of any reference bytes, the way a device writes them.
//
// Ownership: the tree is only read; the result is a new string. Thread contract: a pure
// function, safe on any thread as long as the tree is not changed meanwhile.
#ifndef DEVICESIM_BPLISTWRITER_H_
#define DEVICESIM_BPLISTWRITER_H_

#include <string>

#include "devicesim/Value.h"

namespace devicesim {

// Null -> the null object (0x00); booleans; integers (0x1n, negatives as 8 bytes); reals
// (0x23); dates (0x33); data (0x4n); one-byte texts (0x5n); UTF-16 texts (0x6n); UIDs
// (0x8n); arrays (0xAn); dictionaries (0xDn, keys written as one-byte texts when every
// unit is below 128, otherwise as UTF-16).
std::string WriteBinaryPlist(const Value& root);

}  // namespace devicesim

#endif  // DEVICESIM_BPLISTWRITER_H_
