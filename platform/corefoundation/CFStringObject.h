// The string object behind CFStringRef in the CoreFoundation stand-in: the text as UTF-16
// code units, exactly as it was made (lone surrogates included). Objects made by the
// Create operations belong to their caller until CFRelease; constant strings belong to
// the stand-in for the life of the process. An object is never changed after it is made,
// so readers on any thread may share it.
#ifndef VELDRAKE_PLATFORM_CFSTRINGOBJECT_H_
#define VELDRAKE_PLATFORM_CFSTRINGOBJECT_H_

#include <string>

#include "CoreFoundation/CoreFoundation.h"

struct __CFString {
  std::u16string units;
  // Constant strings are shared by every caller that names the same text; CFRelease
  // leaves them alone.
  bool constant = false;
};

// Exported from the stand-in's shared object; everything else stays hidden.
#define VELDRAKE_CF_EXPORT extern "C" __attribute__((visibility("default")))

#endif  // VELDRAKE_PLATFORM_CFSTRINGOBJECT_H_
