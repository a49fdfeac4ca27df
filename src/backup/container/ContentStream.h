// ContentStream: a backup file's content handed on in pieces, decrypted (AES-256-CBC,
// zero IV) when the backup is encrypted, never more than its recorded length, so a file
// of any size goes through a fixed buffer.
//
// Thread contract: pure functions; any thread.
#ifndef VELDRAKE_BACKUP_CONTENTSTREAM_H_
#define VELDRAKE_BACKUP_CONTENTSTREAM_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace veldrake::backup {

// Takes one piece; false stops the stream (the sink could not take it).
using ChunkSink = std::function<bool(const unsigned char* data, size_t size)>;

enum class Streamed { kOk, kCannotRead, kSinkFailed, kDamaged };

// Hands the first `length` bytes of the file at `path` (opened without following a link)
// to `sink`, decrypted with `key` unless it is empty. kDamaged when the file holds fewer.
Streamed StreamContent(const std::string& path, const std::string& key, int64_t length,
                       const ChunkSink& sink);

// Whether a file of `stored` bytes on disk can hold content of `length` bytes: the same
// length when plain, or that length padded to whole AES blocks (1 to 16 bytes more).
bool LengthFits(int64_t stored, int64_t length, bool encrypted);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTENTSTREAM_H_
