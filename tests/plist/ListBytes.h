// Hand-assembled binary property lists for the reader's tests: the objects are given as
// raw bytes (references already encoded), the header, offset table and trailer are added.
#ifndef VELDRAKE_TESTS_PLIST_LISTBYTES_H_
#define VELDRAKE_TESTS_PLIST_LISTBYTES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"

namespace listbytes {

// `width` bytes of v, most significant first.
inline std::string BE(uint64_t v, unsigned width) {
  std::string out;
  for (unsigned i = width; i-- > 0;) out += static_cast<char>(i >= 8 ? 0 : (v >> (8 * i)) & 0xFF);
  return out;
}

inline std::string Trailer(unsigned offsetSize, unsigned refSize, uint64_t numObjects,
                           uint64_t topObject, uint64_t tableOffset,
                           const std::string& unused = std::string(6, '\0')) {
  return unused + static_cast<char>(offsetSize) + static_cast<char>(refSize) + BE(numObjects, 8) +
         BE(topObject, 8) + BE(tableOffset, 8);
}

// "bplist00", the objects in order, the offset table, the trailer.
inline std::string Assemble(const std::vector<std::string>& objects, unsigned offsetSize = 1,
                            unsigned refSize = 1, uint64_t topObject = 0) {
  std::string out = "bplist00";
  std::vector<uint64_t> offsets;
  for (const std::string& o : objects) {
    offsets.push_back(out.size());
    out += o;
  }
  const uint64_t tableOffset = out.size();
  for (uint64_t off : offsets) out += BE(off, offsetSize);
  return out + Trailer(offsetSize, refSize, objects.size(), topObject, tableOffset);
}

inline prop Decode(const std::string& bytes) {
  BPListReader reader;
  if (!reader.open(bytes.data(), bytes.size())) return prop::Null;
  return reader.getRootObject();
}

inline std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out += static_cast<char>(v);
  return out;
}

}  // namespace listbytes

#endif  // VELDRAKE_TESTS_PLIST_LISTBYTES_H_
