// Hand-assembled binary property lists for the reader's tests (the objects given as raw
// bytes, references already encoded; header, offset table and trailer added), and one
// text form of a decoded tree, which make_random_plists.py writes the same way.
#ifndef VELDRAKE_TESTS_PLIST_LISTBYTES_H_
#define VELDRAKE_TESTS_PLIST_LISTBYTES_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "BPListReader/BPListReader.h"

namespace listbytes {

// `width` bytes of v, most significant first.
inline std::string BE(uint64_t v, unsigned width) {
  std::string out;
  for (unsigned i = width; i-- > 0;) out += static_cast<char>(i >= 8 ? 0 : (v >> (8 * i)) & 0xFF);
  return out;
}

inline std::string Bytes(std::initializer_list<int> values) {
  return std::string(values.begin(), values.end());
}

inline std::string Trailer(unsigned offsetSize, unsigned refSize, uint64_t numObjects,
                           uint64_t topObject, uint64_t tableOffset) {
  return std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(refSize) +
         BE(numObjects, 8) + BE(topObject, 8) + BE(tableOffset, 8);
}

// "bplist00", the objects in order, the offset table, the trailer.
inline std::string Assemble(const std::vector<std::string>& objects, unsigned offsetSize = 1,
                            unsigned refSize = 1, uint64_t topObject = 0) {
  std::string out = "bplist00", table;
  for (const std::string& o : objects) {
    table += BE(out.size(), offsetSize);
    out += o;
  }
  return out + table + Trailer(offsetSize, refSize, objects.size(), topObject, out.size());
}

inline std::string Hex(uint64_t v, const char* format = "%016llx") {
  char text[20];
  std::snprintf(text, sizeof text, format, static_cast<unsigned long long>(v));
  return text;
}

// Quoted units: printable ASCII as itself, every other unit as \hex;
template <typename Text>
std::string Quote(const Text& text) {
  std::string out = "\"";
  for (auto c : text) {
    const auto unit = static_cast<std::make_unsigned_t<decltype(c)>>(c);
    out += unit >= 0x20 && unit < 0x7F && unit != '"' && unit != '\\'
               ? std::string(1, static_cast<char>(unit))
               : "\\" + Hex(unit, "%llx") + ";";
  }
  return out + "\"";
}

// null, true, false, i<integer>, r<bits>, d<bits> <text>, x<hex>, a"ascii", w"utf16",
// u<uid>, [elements], {"key":value} in the dictionary's order.
inline std::string Describe(const prop& p) {
  if (p == prop::Null) return "null";
  if (p == prop::True) return "true";
  if (p == prop::False) return "false";
  const prop::object& o = *p._value;
  std::string out;
  uint64_t bits;
  switch (o.type) {
    case prop::object::TagInteger:
      return "i" + std::to_string(o.integer);
    case prop::object::TagReal:
      std::memcpy(&bits, &o.real, sizeof bits);
      return "r" + Hex(bits);
    case prop::object::TagDate:
      std::memcpy(&bits, &o.date, sizeof bits);
      return "d" + Hex(bits) + " " + p.toDate();
    case prop::object::TagData:
      for (char c : *o.bytes) out += Hex(static_cast<unsigned char>(c), "%02llx");
      return "x" + out;
    case prop::object::TagAscii:
      return "a" + Quote(*o.bytes);
    case prop::object::TagUnicode:
      return "w" + Quote(*o.wide);
    case prop::object::TagUid:
      return "u" + std::to_string(o.uid);
    case prop::object::TagArray:
      for (const prop& element : *o.array) out += (out.empty() ? "" : ",") + Describe(element);
      return "[" + out + "]";
    case prop::object::TagDict:
      for (const auto& [key, value] : *o.dict)
        out += (out.empty() ? "" : ",") + Quote(key) + ":" + Describe(value);
      return "{" + out + "}";
    default:
      return "tag" + std::to_string(o.type);
  }
}

// "refused" when open() says no, else the decoded root.
inline std::string Outcome(const std::string& bytes) {
  BPListReader reader;
  return reader.open(bytes.data(), bytes.size()) ? Describe(reader.getRootObject()) : "refused";
}

}  // namespace listbytes

#endif  // VELDRAKE_TESTS_PLIST_LISTBYTES_H_
