// Texts for the emulator's values: UTF-8 in, the binary format's two text forms out.
#include "devicesim/Value.h"

namespace devicesim {
namespace {

const char16_t kReplacement = 0xFFFD;
const uint32_t kLastCodePoint = 0x10FFFF;
const uint32_t kFirstSupplementary = 0x10000;

bool IsSurrogate(uint32_t cp) {
  return cp >= 0xD800 && cp <= 0xDFFF;
}

void PutCodePoint(std::u16string& units, uint32_t cp) {
  if (cp < kFirstSupplementary) {
    units.push_back(static_cast<char16_t>(cp));
    return;
  }
  cp -= kFirstSupplementary;
  units.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
  units.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
}

// The length of the sequence a lead byte starts, its payload bits and the smallest code
// point that length may carry; length 0 for a byte that starts none.
struct Lead {
  size_t length;
  uint32_t bits;
  uint32_t minimum;
};

Lead LeadOf(unsigned char b) {
  if (b < 0x80) return {1, b, 0};
  if (b >= 0xC2 && b <= 0xDF) return {2, b & 0x1Fu, 0x80};
  if (b >= 0xE0 && b <= 0xEF) return {3, b & 0x0Fu, 0x800};
  if (b >= 0xF0 && b <= 0xF4) return {4, b & 0x07u, kFirstSupplementary};
  return {0, 0, 0};
}

}  // namespace

std::u16string Utf8ToUnits(const std::string& utf8) {
  std::u16string units;
  units.reserve(utf8.size());
  auto byte = [&](size_t k) { return static_cast<unsigned char>(utf8[k]); };
  size_t i = 0;
  while (i < utf8.size()) {
    const Lead lead = LeadOf(byte(i));
    uint32_t cp = lead.bits;
    bool good = lead.length > 0 && i + lead.length <= utf8.size();
    for (size_t k = 1; good && k < lead.length; ++k) {
      good = (byte(i + k) & 0xC0) == 0x80;
      cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    if (!good || cp < lead.minimum || cp > kLastCodePoint || IsSurrogate(cp)) {
      units.push_back(kReplacement);
      ++i;  // resynchronise on the next byte
      continue;
    }
    PutCodePoint(units, cp);
    i += lead.length;
  }
  return units;
}

Value Value::Text(const std::string& utf8) {
  for (char c : utf8)
    if (static_cast<unsigned char>(c) >= 128) return Utf16(Utf8ToUnits(utf8));
  return Ascii(utf8);
}

}  // namespace devicesim
