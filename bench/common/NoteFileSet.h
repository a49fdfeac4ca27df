// A set of notes with files, written as a backup by the emulator, and the floor an export of
// it is measured against: the backup's content files read, decrypted with OpenSSL's
// AES-256-CBC when the backup is encrypted, and written with plain writes.
#ifndef VELDRAKE_BENCH_NOTEFILESET_H_
#define VELDRAKE_BENCH_NOTEFILESET_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace notefileset {

struct Shape {
  size_t notes = 0;
  size_t every = 1;      // one note in `every` holds a file
  size_t fileBytes = 0;  // each file's size, incompressible
};

// Bytes that do not compress, from a small generator.
std::string Noise(size_t bytes, uint32_t seed);

// Writes the files the notes hold into `filesDir` (once per set; both backups share them).
bool WriteFiles(const Shape& shape, const std::string& filesDir);

// Writes the backup of the notes into `backupDir`, encrypted with `password` unless empty.
bool WriteBackup(const Shape& shape, const std::string& filesDir, const std::string& backupDir,
                 const std::string& password, std::string* error);

// The floor: every content file of `fileBytes` (plus the cipher's padding) read, decrypted
// when `encrypted`, and written into `outDir`; its seconds, or a negative number on a failure.
// With `notes`, the floor writes the same files as a Markdown export of the set: each
// note's own file as well (kNoteFileBytes of text), and each content file in a folder of
// its note's.
double Floor(const std::string& backupDir, const std::string& outDir, size_t fileBytes,
             bool encrypted, const Shape* notes = nullptr);

// About the size of one generated note's Markdown file with its front matter.
constexpr size_t kNoteFileBytes = 200;

}  // namespace notefileset

#endif  // VELDRAKE_BENCH_NOTEFILESET_H_
