// OneLine: a name from the database (a group's, a store's) made fit for one line of a
// card or a CSV cell: each run of NUL bytes, line breaks and other control characters
// becomes one space (none at either end), bytes that are not UTF-8 become U+FFFD.
//
// Thread contract: pure function, any thread.
#ifndef VELDRAKE_BACKUP_ONELINE_H_
#define VELDRAKE_BACKUP_ONELINE_H_

#include <cstddef>
#include <string>

namespace veldrake::backup {

// The cleaned text of `size` bytes at `bytes` (which may hold NULs). *changed is set when
// the result differs from the bytes.
std::string OneLine(const char* bytes, size_t size, bool* changed);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_ONELINE_H_
