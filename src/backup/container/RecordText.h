// RecordText: a database's UTF-8 text as a record text, made exactly as the sync route
// makes it from the same text on the wire: all-ASCII text unchanged, anything else as
// UTF-16 units through the library's conversion (invalid bytes become U+FFFD), so both
// routes give the same bytes under any locale.
//
// Thread contract: pure functions, any thread.
#ifndef VELDRAKE_BACKUP_RECORDTEXT_H_
#define VELDRAKE_BACKUP_RECORDTEXT_H_

#include <string>

namespace veldrake::backup {

// UTF-8 to UTF-16 units, one per wide element; an invalid byte becomes U+FFFD.
std::wstring Utf8ToUnits(const std::string& utf8);

// The record text of `utf8` (array new, owned by the caller). Null for a null `utf8`, and
// for an empty one when `emptyIsNull`.
char* NewTextFromUtf8(const char* utf8, bool emptyIsNull);

// The same for a text that may hold NUL bytes (a note body); never null.
char* NewTextFromUtf8(const std::string& utf8);

// The record text of a date, seconds since 2001 UTC, in the birthday's form.
char* NewDateText(double secondsSince2001);

// A number of seconds held as an integer, a real or a decimal text; false for anything
// else (a text that is not wholly a finite number included).
bool ParseSeconds(const char* text, double* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_RECORDTEXT_H_
