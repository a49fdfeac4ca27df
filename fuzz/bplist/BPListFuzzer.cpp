// Fuzz target for the binary property list reader: open, decode, then walk the tree the
// way the analysers do, calling each conversion on the tags it accepts. A second decode
// of the same reader must give a tree of the same shape.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "BPListReader/BPListReader.h"

namespace {

// The library never sets a locale; a host runs it under a UTF-8 one.
const bool kUtf8Locale = std::setlocale(LC_ALL, "C.UTF-8") != nullptr;

bool AllAscii(const std::string& bytes) {
  for (char c : bytes)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

// Touches every value and returns a summary that two equal trees share.
size_t Walk(const prop& p) {
  if (!p._value) return 1;
  size_t sum = static_cast<size_t>(p._value->type);
  switch (p._value->type) {
    case prop::object::TagInteger:
      sum += static_cast<size_t>(p.toInteger());
      break;
    case prop::object::TagDate:
      sum += p.toDate().size();
      break;
    case prop::object::TagAscii:
      sum += p.toUTF8String().size();
      if (AllAscii(*p._value->bytes)) sum += p.toString().size();
      break;
    case prop::object::TagUnicode:
      sum += prop::toUtf8(p.toString()).size();
      break;
    case prop::object::TagData:
      sum += p._value->bytes->size();
      break;
    case prop::object::TagArray:
      for (const prop& element : *p._value->array) sum = sum * 31 + Walk(element);
      break;
    case prop::object::TagDict:
      for (const auto& entry : *p._value->dict)
        sum = sum * 31 + prop::toUtf8(entry.first).size() + Walk(entry.second);
      break;
    default:
      break;
  }
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  (void)kUtf8Locale;
  BPListReader reader;
  if (!reader.open(data, size)) return 0;
  const prop first = reader.getRootObject();
  const size_t shape = Walk(first);
  const prop second = reader.getRootObject();
  if (Walk(second) != shape) std::abort();  // decoding must not depend on earlier calls
  if ((first == prop::Null) != (second == prop::Null)) std::abort();
  return 0;
}
