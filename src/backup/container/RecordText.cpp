// Record texts from database texts.
#include "RecordText.h"

#include <langinfo.h>

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

// The code point at utf8[i] and its length in bytes; length 0 for a byte that starts no
// valid sequence there.
size_t DecodeAt(const std::string& utf8, size_t i, uint32_t* cp) {
  const Lead lead = LeadOf(static_cast<unsigned char>(utf8[i]));
  *cp = lead.bits;
  bool good = lead.length > 0 && lead.length <= utf8.size() - i;
  for (size_t k = 1; good && k < lead.length; ++k) {
    const unsigned char next = static_cast<unsigned char>(utf8[i + k]);
    good = (next & 0xC0) == 0x80;
    *cp = (*cp << 6) | (next & 0x3Fu);
  }
  const bool surrogate = *cp >= 0xD800 && *cp <= 0xDFFF;
  return good && *cp >= lead.minimum && *cp <= kLastCodePoint && !surrogate ? lead.length : 0;
}

// Whether the wide round trip would give `utf8` back unchanged: ASCII always, valid UTF-8
// when the locale's characters are UTF-8. Long note bodies skip the round trip so.
bool IsItsOwnRecordText(const std::string& utf8) {
  bool ascii = true;
  uint32_t cp = 0;
  for (size_t i = 0; i < utf8.size();) {
    const size_t length = DecodeAt(utf8, i, &cp);
    if (length == 0) return false;
    ascii = ascii && length == 1;
    i += length;
  }
  return ascii || std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

}  // namespace

std::wstring Utf8ToUnits(const std::string& utf8) {
  std::wstring units;
  units.reserve(utf8.size());
  uint32_t cp = 0;
  for (size_t i = 0; i < utf8.size();) {
    const size_t length = DecodeAt(utf8, i, &cp);
    PutUnits(units, length == 0 ? kReplacement : cp);
    i += length == 0 ? 1 : length;
  }
  return units;
}

char* NewTextFromUtf8(const char* utf8, bool emptyIsNull) {
  if (utf8 == nullptr || (emptyIsNull && *utf8 == '\0')) return nullptr;
  return NewTextFromUtf8(std::string(utf8));
}

char* NewTextFromUtf8(const std::string& utf8) {
  if (IsItsOwnRecordText(utf8)) return NewRecordText(utf8);
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
