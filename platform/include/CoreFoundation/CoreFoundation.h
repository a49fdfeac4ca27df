// Our own declarations of the CoreFoundation string operations the library calls, written
// from what the library relies on. On Apple platforms they resolve to the framework;
// elsewhere to the stand-in in platform/corefoundation.
#ifndef VELDRAKE_PLATFORM_COREFOUNDATION_H_
#define VELDRAKE_PLATFORM_COREFOUNDATION_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef const struct __CFString* CFStringRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const void* CFTypeRef;
typedef long CFIndex;
typedef uint32_t CFStringEncoding;
typedef unsigned char UInt8;
typedef uint16_t UniChar;
typedef unsigned char Boolean;
typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

enum {
  kCFStringEncodingUTF8 = 0x08000100,
  kCFStringEncodingUTF32LE = 0x1C000100,
};

// A string object for a constant C text; never released.
CFStringRef __CFStringMakeConstantString(const char* text);
// Null when `text` is not valid in `encoding`.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                      CFStringEncoding encoding);
CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units,
                                         CFIndex count);
// The number of UTF-16 units.
CFIndex CFStringGetLength(CFStringRef string);
// Encodes `range` without a byte order mark, `lossByte` for what the encoding cannot
// express, stopping before a character that would pass `maxBufLen` bytes. Returns the
// UTF-16 units converted; the bytes written go to *usedBufLen.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen);
void CFRelease(CFTypeRef object);

#ifdef __cplusplus
}
#endif

#endif  // VELDRAKE_PLATFORM_COREFOUNDATION_H_
