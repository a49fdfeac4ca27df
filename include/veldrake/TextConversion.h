// Whole-text conversions between UTF-8 and wide text, exported for the host; nothing in
// the library calls them. Both go through the platform's string object (CoreFoundation).
//
// Wide text is 32-bit wchar_t. The library's own wide strings hold one UTF-16 code unit
// per element, which is what Uincode2Char reads; Char2Unicode writes one code point per
// element.
//
// Every buffer belongs to the caller; nothing is kept after a call returns and no state
// is shared, so all of these may run on any thread.
#ifndef VELDRAKE_TEXTCONVERSION_H_
#define VELDRAKE_TEXTCONVERSION_H_

#include <cwchar>

#include "veldrake/Export.h"

// UTF-8 `source` (NUL-terminated, not null) to wide characters in `destination`, which
// must hold `capacity` + 1 wide characters. Writes at most `capacity` characters, whole
// ones only, then a zero wide character behind the last. Returns the number of UTF-16
// units converted, so a character above U+FFFF counts two although it fills one element.
// Invalid UTF-8 returns 0 with the first `capacity` elements zeroed.
VELDRAKE_API int Char2Unicode(const char* source, wchar_t* destination, int capacity);

// Wide text holding UTF-16 units (NUL-terminated, not null; only the low 16 bits of each
// element count, and a zero unit ends the text) to UTF-8 in `destination`, which must
// hold 8 x `capacity` + 1 bytes: `capacity` counts units of eight bytes, not bytes.
// Writes whole characters up to that limit, then a NUL. A lone surrogate becomes "?".
// Returns the number of UTF-16 units converted (not bytes); a null destination gives 0.
VELDRAKE_API int Uincode2Char(const wchar_t* source, char* destination, int capacity);

// Placeholders kept for the host's sake: they read nothing, touch nothing and return 0.
// int results, as everything the library reports is a 32-bit int; IsFileExsitW looks at no
// file and answers 0 for every path.
VELDRAKE_API int utf8_to_utf16(const char* text);
VELDRAKE_API int get_module_path();
VELDRAKE_API int IsFileExsitW(const wchar_t* path);

#endif  // VELDRAKE_TEXTCONVERSION_H_
