// Record texts from database texts.
#include "RecordText.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "prop/prop.h"

namespace veldrake::backup {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;
constexpr uint32_t kLastCodePoint = 0x10FFFF;

// How many bytes a lead byte starts and the smallest code point that length may carry.
struct Lead {
  size_t length;
  uint32_t bits;
  uint32_t minimum;
};

Lead LeadOf(unsigned char c) {
  if (c < 0x80) return {1, c, 0};
  if ((c & 0xE0) == 0xC0) return {2, c & 0x1Fu, 0x80};
  if ((c & 0xF0) == 0xE0) return {3, c & 0x0Fu, 0x800};
  if ((c & 0xF8) == 0xF0) return {4, c & 0x07u, 0x10000};
  return {0, 0, 0};
}

void PutUnits(std::wstring& units, uint32_t cp) {
  if (cp < 0x10000) {
    units.push_back(static_cast<wchar_t>(cp));
    return;
  }
  cp -= 0x10000;
  units.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
  units.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
}

bool IsAscii(const char* text) {
  for (; *text != '\0'; ++text)
    if (static_cast<unsigned char>(*text) >= 0x80) return false;
  return true;
}

}  // namespace

std::wstring Utf8ToUnits(const std::string& utf8) {
  std::wstring units;
  units.reserve(utf8.size());
  size_t i = 0;
  while (i < utf8.size()) {
    const Lead lead = LeadOf(static_cast<unsigned char>(utf8[i]));
    uint32_t cp = lead.bits;
    bool good = lead.length > 0 && lead.length <= utf8.size() - i;
    for (size_t k = 1; good && k < lead.length; ++k) {
      const unsigned char next = static_cast<unsigned char>(utf8[i + k]);
      good = (next & 0xC0) == 0x80;
      cp = (cp << 6) | (next & 0x3Fu);
    }
    const bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
    if (!good || cp < lead.minimum || cp > kLastCodePoint || surrogate) {
      units.push_back(static_cast<wchar_t>(kReplacement));
      ++i;
      continue;
    }
    PutUnits(units, cp);
    i += lead.length;
  }
  return units;
}

char* NewTextFromUtf8(const char* utf8, bool emptyIsNull) {
  if (utf8 == nullptr || (emptyIsNull && *utf8 == '\0')) return nullptr;
  if (IsAscii(utf8)) return NewRecordText(std::string(utf8));
  return NewRecordText(prop(Utf8ToUnits(utf8)));
}

char* NewDateText(double secondsSince2001) {
  return NewRecordTextOrDate(prop::createDate(secondsSince2001));
}

bool ParseSeconds(const char* text, double* out) {
  if (text == nullptr || *text == '\0') return false;
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || errno == ERANGE || !std::isfinite(value)) return false;
  *out = value;
  return true;
}

}  // namespace veldrake::backup
