// BPListWriter: writes a prop tree as a binary property list ("bplist00").
//
// Every integer, offset and object reference uses the smallest width that fits. The root
// is object 0 and the objects follow depth-first from it, so the root's own bytes stand
// right after the 8-byte header: a reply's first array and its message-name string come
// ahead of any reference bytes, the way a device writes them.
//
// Ownership: the tree is only read; the result is a new string. Thread contract: pure
// functions, safe on any thread as long as the tree is not changed meanwhile.
#ifndef DEVICESIM_BPLISTWRITER_H_
#define DEVICESIM_BPLISTWRITER_H_

#include <string>

#include "prop/prop.h"

namespace devicesim {

// prop::Null -> the null object (0x00); booleans; integers (0x1n, negatives as 8 bytes);
// reals (0x23); dates (0x33); data (0x4n); tag 0x50 strings as ASCII (0x5n); tag 0x60
// (UTF-16 units) as 0x6n; UIDs (0x8n); arrays (0xAn); dictionaries (0xDn, keys written as
// ASCII when every unit is below 128, otherwise as UTF-16).
std::string WriteBinaryPlist(const prop& root);

// UTF-8 text to a string prop: tag 0x50 when every byte is below 128, otherwise tag 0x60
// with one UTF-16 unit per element (surrogate pairs above U+FFFF). Malformed UTF-8
// sequences become U+FFFD.
prop MakeString(const std::string& utf8);

// UTF-8 text to UTF-16 units, one per wchar_t (the form of dictionary keys and of tag
// 0x60 bodies).
std::wstring Utf8ToUnits(const std::string& utf8);

}  // namespace devicesim

#endif  // DEVICESIM_BPLISTWRITER_H_
