// Whole-text conversions through the platform's string object.
#include "veldrake/TextConversion.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <memory>

#include "Assert.h"

// UTF-32LE is written straight into wchar_t elements.
static_assert(sizeof(wchar_t) == 4, "wide characters are 32 bits");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "wide characters are little-endian");

int Char2Unicode(const char* source, wchar_t* destination, int capacity) {
  VELDRAKE_ASSERT(source != nullptr);
  VELDRAKE_ASSERT(destination != nullptr);
  VELDRAKE_ASSERT(capacity >= 0);
  std::memset(destination, 0, sizeof(wchar_t) * static_cast<size_t>(capacity));
  CFStringRef string = CFStringCreateWithCString(nullptr, source, kCFStringEncodingUTF8);
  if (string == nullptr) return 0;
  CFIndex written = 0;
  const CFIndex converted = CFStringGetBytes(
      string, CFRange{0, CFStringGetLength(string)}, kCFStringEncodingUTF32LE, '?', false,
      reinterpret_cast<UInt8*>(destination), 4 * static_cast<CFIndex>(capacity), &written);
  CFRelease(string);
  destination[written / 4] = 0;
  return static_cast<int>(converted);
}

int Uincode2Char(const wchar_t* source, char* destination, int capacity) {
  if (destination == nullptr) return 0;
  VELDRAKE_ASSERT(source != nullptr);
  VELDRAKE_ASSERT(capacity >= 0);
  const size_t length = std::wcslen(source);
  // Each element carries one UTF-16 unit in its low 16 bits. An element above U+FFFF with
  // zero low bits reads as a terminator, so the text ends there.
  std::unique_ptr<UniChar[]> units(new UniChar[length + 1]);
  size_t count = 0;
  for (; count < length; ++count) {
    const UniChar unit = static_cast<UniChar>(static_cast<uint32_t>(source[count]) & 0xFFFF);
    if (unit == 0) break;
    units[count] = unit;
  }
  units[count] = 0;
  CFStringRef string =
      CFStringCreateWithCharacters(nullptr, units.get(), static_cast<CFIndex>(count));
  if (string == nullptr) {
    destination[0] = '\0';
    return 0;
  }
  CFIndex written = 0;
  const CFIndex converted = CFStringGetBytes(
      string, CFRange{0, CFStringGetLength(string)}, kCFStringEncodingUTF8, '?', false,
      reinterpret_cast<UInt8*>(destination), 8 * static_cast<CFIndex>(capacity), &written);
  CFRelease(string);
  destination[written] = '\0';
  return static_cast<int>(converted);
}

int utf8_to_utf16(const char*) {
  return 0;
}

int get_module_path() {
  return 0;
}

int IsFileExsitW(const wchar_t*) {
  return 0;
}
