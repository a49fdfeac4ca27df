// NoteInflate: the gzip (or zlib) wrapper around a modern note's body, undone with a cap,
// since a crafted body of a few kilobytes can inflate to gigabytes.
//
// One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTEINFLATE_H_
#define VELDRAKE_BACKUP_NOTEINFLATE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace veldrake::backup {

// The most a note's body may inflate to: eight million characters of text, far beyond any
// note a phone writes, and small enough that a store whose notes all point at one hostile
// body costs the host tens of megabytes per few notes, not gigabytes.
constexpr size_t kNoteBodyCap = size_t{8} << 20;

enum class Inflated {
  kOk,
  kTooLarge,  // the body would inflate past the cap
  kDamaged,   // not a complete gzip or zlib stream
};

// Inflates `size` bytes at `data` into `out` (replacing its contents), stopping at `cap`
// bytes.
Inflated InflateNoteBody(const uint8_t* data, size_t size, size_t cap, std::string* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEINFLATE_H_
