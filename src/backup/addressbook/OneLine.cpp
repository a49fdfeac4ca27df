// UTF-8 decoded by its rules (no overlong forms, no surrogates, nothing past U+10FFFF).
#include "OneLine.h"

#include <cstdint>

namespace veldrake::backup {
namespace {

constexpr uint32_t kInvalid = 0xFFFFFFFF;
constexpr char kReplacement[] = "\xEF\xBF\xBD";

// The code point of the sequence at bytes[*at], advancing *at; kInvalid (one byte
// consumed) for a byte that starts no valid sequence.
uint32_t Decode(const unsigned char* s, size_t size, size_t* at) {
  const unsigned char lead = s[*at];
  size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
  static const uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  if (length == 0 || lead > 0xF4 || size - *at < length) {
    ++*at;
    return length == 1 ? lead : kInvalid;
  }
  uint32_t code = lead & (0xFFu >> length);  // the lead byte's own bits
  for (size_t i = 1; i < length; ++i) {
    if ((s[*at + i] & 0xC0) != 0x80) {
      ++*at;
      return kInvalid;
    }
    code = code << 6 | (s[*at + i] & 0x3F);
  }
  if (code < kLeast[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    ++*at;
    return kInvalid;
  }
  *at += length;
  return code;
}

bool BreaksLine(uint32_t code) {
  return code < 0x20 || code == 0x7F || code == 0x85 || code == 0x2028 || code == 0x2029;
}

}  // namespace

std::string OneLine(const char* bytes, size_t size, bool* changed) {
  const auto* s = reinterpret_cast<const unsigned char*>(bytes);
  std::string out;
  bool space = false;  // a space is owed before the next character
  for (size_t at = 0; at < size;) {
    const size_t begin = at;
    const uint32_t code = Decode(s, size, &at);
    if (code != kInvalid && BreaksLine(code)) {
      space = !out.empty();
      continue;
    }
    if (space) out += ' ';
    space = false;
    if (code == kInvalid)
      out += kReplacement;
    else
      out.append(bytes + begin, at - begin);
  }
  *changed = out != std::string(bytes, size);
  return out;
}

}  // namespace veldrake::backup
