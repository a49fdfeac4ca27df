// Encoding a range of a string object into bytes.
#include <cstring>
#include <limits>

#include <utf8cpp/utf8.h>

#include "CFStringObject.h"

namespace {

bool IsHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
bool IsSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

bool IsSupportedTarget(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingUTF8 || encoding == kCFStringEncodingUTF32LE;
}

// One character in the target encoding; returns its byte count. `code` is a scalar value
// (never a surrogate) unless `raw` asks for the loss byte as it stands.
size_t EncodeOne(CFStringEncoding encoding, uint32_t code, bool raw, UInt8 out[4]) {
  if (encoding == kCFStringEncodingUTF32LE) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<UInt8>(code >> (8 * i));
    return 4;
  }
  if (raw) {
    out[0] = static_cast<UInt8>(code);
    return 1;
  }
  return static_cast<size_t>(utf8::unchecked::append(code, out) - out);
}

}  // namespace

VELDRAKE_CF_EXPORT CFIndex CFStringGetBytes(CFStringRef string, CFRange range,
                                            CFStringEncoding encoding, UInt8 lossByte,
                                            Boolean /*isExternalRepresentation*/, UInt8* buffer,
                                            CFIndex maxBufLen, CFIndex* usedBufLen) {
  // No byte order mark is ever written, external representation or not: the only target
  // encodings are UTF-8 and an explicitly little-endian UTF-32.
  if (usedBufLen != nullptr) *usedBufLen = 0;
  if (string == nullptr || !IsSupportedTarget(encoding)) return 0;
  const std::u16string& units = string->units;
  const CFIndex size = static_cast<CFIndex>(units.size());
  if (range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return 0;
  }

  // Without a buffer only counting is asked for, so there is no room to run out of.
  const CFIndex limit =
      buffer != nullptr ? (maxBufLen > 0 ? maxBufLen : 0) : std::numeric_limits<CFIndex>::max();
  const CFIndex end = range.location + range.length;
  CFIndex used = 0;
  CFIndex at = range.location;
  while (at < end) {
    const char16_t unit = units[static_cast<size_t>(at)];
    uint32_t code = unit;
    CFIndex width = 1;
    bool lost = false;
    if (IsHighSurrogate(unit) && at + 1 < end &&
        IsLowSurrogate(units[static_cast<size_t>(at) + 1])) {
      code = 0x10000 + ((static_cast<uint32_t>(unit) - 0xD800) << 10) +
             (units[static_cast<size_t>(at) + 1] - 0xDC00);
      width = 2;
    } else if (IsSurrogate(unit)) {
      // A lone surrogate (or half a pair cut by the range) has no encoded form.
      if (lossByte == 0) break;
      code = lossByte;
      lost = true;
    }
    UInt8 bytes[4];
    const size_t count = EncodeOne(encoding, code, lost, bytes);
    // Whole characters only: one that would pass the limit is not started.
    if (static_cast<CFIndex>(count) > limit - used) break;
    if (buffer != nullptr) std::memcpy(buffer + used, bytes, count);
    used += static_cast<CFIndex>(count);
    at += width;
  }
  if (usedBufLen != nullptr) *usedBufLen = used;
  return at - range.location;
}
