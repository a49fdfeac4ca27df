// ContentCopy: reaching a file of the backup folder without following links, and copying
// or decrypting its content into a descriptor, capped by the size Manifest.db records for
// it and by the space left where the copy goes.
//
// A backup folder is untrusted: a two-hex folder or a content file that is a symbolic
// link (leading anywhere, say outside the backup) is refused, as is a file that is not
// regular. A content file longer than its record allows (its size, or for an encrypted
// one the size padded to whole AES blocks) is damaged, and nothing of it is copied.
//
// Thread contract: pure functions over descriptors the caller owns; any thread.
#ifndef VELDRAKE_BACKUP_CONTENTCOPY_H_
#define VELDRAKE_BACKUP_CONTENTCOPY_H_

#include <cstdint>
#include <string>

namespace veldrake::backup {

class SecretBuffer;

// The room a copy must leave on the file system it goes to, beyond its own size.
constexpr int64_t kSpaceReserve = int64_t{16} << 20;

// Opens `name` directly inside the folder `folder` for reading: a regular file, reached
// through no link. -1 otherwise.
int OpenTopFile(const std::string& folder, const char* name);
// Opens the content of `fileId` (40 hex digits), `folder`/<its first two>/`fileId`, the
// same way. -1 otherwise.
int OpenContent(const std::string& folder, const std::string& fileId);
// The same in the backup folder open at `root`.
int OpenContentAt(int root, const std::string& fileId);
// Why OpenContent refuses a content reached through a link (its two-hex folder or the
// file itself); "" when neither is one.
std::string ContentLinkRefusal(const std::string& folder, const std::string& fileId);

enum class Copied { kOk, kCannotRead, kCannotWrite, kDamaged, kTooLarge, kNoSpace };

// Whether `bytes` more fit on the file system of `fd` with kSpaceReserve to spare; *left
// says how many bytes are free. Always true for a pipe or a device, which fill no disk.
bool HasRoomFor(int fd, int64_t bytes, int64_t* left);

// The size of the buffer an owner of many decrypting copies keeps for them.
constexpr size_t kCopyScratchBytes = size_t{1} << 20;

// Copies the content open at `in` into `out`: plain when `key` is null, else decrypted
// with it, in `scratch` when given (see DecryptFd); `recorded` is the size Manifest.db
// gives. kTooLarge when the file is longer than the record allows, kNoSpace when `out`'s
// file system lacks the room.
Copied CopyContent(int in, int out, const std::string* key, int64_t recorded,
                   SecretBuffer* scratch = nullptr);

// One line about a copy that failed, naming `what`.
std::string DescribeCopy(Copied copied, const std::string& what, int64_t recorded);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTENTCOPY_H_
