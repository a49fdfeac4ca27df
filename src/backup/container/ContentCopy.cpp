// Opening the backup's files link-free and copying their content under its caps.
#include "ContentCopy.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "Crypto.h"
#include "FileIo.h"

namespace veldrake::backup {
namespace {

constexpr size_t kFolderDigits = 2;
constexpr size_t kCopyChunk = 1 << 20;
constexpr int64_t kMegabyte = 1 << 20;

// `fd` when it is a regular file; else closed, and -1.
int RegularOrClosed(int fd) {
  struct stat st;
  if (fd >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) return fd;
  if (fd >= 0) close(fd);
  return -1;
}

int OpenRegularAt(int dirFd, const char* name) {
  return RegularOrClosed(openat(dirFd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// The longest file a record of `recorded` bytes allows: PKCS#7 pads to whole blocks.
int64_t LongestAllowed(int64_t recorded, bool encrypted) {
  const int64_t block = static_cast<int64_t>(kAesBlockBytes);
  return encrypted ? (recorded / block + 1) * block : recorded;
}

// What a failed system call on a copy's two ends means.
Copied FailedCopy(int error) {
  return error == ENOSPC || error == EDQUOT || error == EFBIG || error == EIO ? Copied::kCannotWrite
                                                                              : Copied::kCannotRead;
}

// Copies in the kernel when both ends are files that allow it: the bytes never pass
// through this process, and a file system that shares blocks (Btrfs, XFS) shares them.
// false, with nothing copied, when they do not (a pipe, a device, an old kernel), so that
// the caller copies through a buffer instead. One byte more than the record is asked for,
// to see a file that grew while it was copied.
bool KernelCopy(int in, int out, int64_t recorded, Copied* result) {
  int64_t copied = 0;
  for (;;) {
    const ssize_t got =
        copy_file_range(in, nullptr, out, nullptr, static_cast<size_t>(recorded - copied) + 1, 0);
    if (got < 0 && copied == 0 &&
        (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
         errno == EBADF))
      return false;
    if (got < 0) {
      *result = FailedCopy(errno);
      return true;
    }
    copied += got;
    if (copied > recorded) {
      *result = Copied::kTooLarge;
      return true;
    }
    if (got == 0) break;
  }
  *result = copied == recorded ? Copied::kOk : Copied::kDamaged;
  return true;
}

Copied CopyPlain(int in, int out, int64_t recorded) {
  Copied kernel = Copied::kOk;
  if (KernelCopy(in, out, recorded, &kernel)) return kernel;
  // A small file gets a buffer of its size and one byte more (to see it grew), not a
  // fresh megabyte.
  std::vector<char> buffer(recorded >= 0 && static_cast<uint64_t>(recorded) < kCopyChunk
                               ? static_cast<size_t>(recorded) + 1
                               : kCopyChunk);
  int64_t copied = 0;
  for (;;) {
    const ssize_t got = ReadFull(in, buffer.data(), buffer.size());
    if (got < 0) return Copied::kCannotRead;
    copied += got;
    if (copied > recorded) return Copied::kTooLarge;  // it grew while we read
    if (got > 0 && !WriteAll(out, buffer.data(), static_cast<size_t>(got)))
      return Copied::kCannotWrite;
    if (static_cast<size_t>(got) < buffer.size()) break;
  }
  return copied == recorded ? Copied::kOk : Copied::kDamaged;
}

Copied FromDecrypted(Decrypted decrypted) {
  switch (decrypted) {
    case Decrypted::kOk:
      return Copied::kOk;
    case Decrypted::kCannotRead:
      return Copied::kCannotRead;
    case Decrypted::kCannotWrite:
      return Copied::kCannotWrite;
    default:
      return Copied::kDamaged;
  }
}

}  // namespace

int OpenTopFile(const std::string& folder, const char* name) {
  Fd dir(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return dir.get() < 0 ? -1 : OpenRegularAt(dir.get(), name);
}

int OpenContent(const std::string& folder, const std::string& fileId) {
  Fd root(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return root.get() < 0 ? -1 : OpenContentAt(root.get(), fileId);
}

int OpenContentAt(int root, const std::string& fileId) {
  if (root < 0 || fileId.size() <= kFolderDigits) return -1;
  const std::string twoHex = fileId.substr(0, kFolderDigits);
  // One call where the kernel can refuse a link at every step itself (Linux 5.6 on).
  struct open_how how {};
  how.flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH;
  const std::string path = twoHex + "/" + fileId;
  const long opened = syscall(SYS_openat2, root, path.c_str(), &how, sizeof how);
  if (opened >= 0) return RegularOrClosed(static_cast<int>(opened));
  if (errno != ENOSYS && errno != EINVAL && errno != EPERM) return -1;
  Fd sub(openat(root, twoHex.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return sub.get() < 0 ? -1 : OpenRegularAt(sub.get(), fileId.c_str());
}

std::string ContentLinkRefusal(const std::string& folder, const std::string& fileId) {
  if (fileId.size() <= kFolderDigits) return "";
  const std::string twoHex = fileId.substr(0, kFolderDigits);
  const std::string refusal = LinkRefusal(folder, twoHex);
  return refusal.empty() ? LinkRefusal(folder, twoHex + "/" + fileId) : refusal;
}

bool HasRoomFor(int fd, int64_t bytes, int64_t* left) {
  struct stat st;
  struct statvfs fs;
  *left = INT64_MAX;
  if (fstat(fd, &st) == 0 && !S_ISREG(st.st_mode)) return bytes >= 0;  // a pipe fills nothing
  if (fstatvfs(fd, &fs) != 0) return false;
  const unsigned long long free = static_cast<unsigned long long>(fs.f_bavail) * fs.f_frsize;
  *left = free > INT64_MAX ? INT64_MAX : static_cast<int64_t>(free);
  return bytes >= 0 && bytes <= *left - kSpaceReserve;
}

Copied CopyContent(int in, int out, const std::string* key, int64_t recorded,
                   SecretBuffer* scratch) {
  struct stat st;
  if (recorded < 0 || fstat(in, &st) != 0) return Copied::kCannotRead;
  if (st.st_size > LongestAllowed(recorded, key != nullptr)) return Copied::kTooLarge;
  int64_t left = 0;
  if (!HasRoomFor(out, recorded, &left)) return Copied::kNoSpace;
  return key == nullptr ? CopyPlain(in, out, recorded)
                        : FromDecrypted(DecryptFd(in, out, *key, recorded, scratch));
}

std::string DescribeCopy(Copied copied, const std::string& what, int64_t recorded) {
  const std::string size = std::to_string(recorded);
  switch (copied) {
    case Copied::kOk:
      return "";
    case Copied::kCannotRead:
      return what + " cannot be read (missing, a link or not a file)";
    case Copied::kCannotWrite:
      return what + " cannot be written into the temporary folder";
    case Copied::kTooLarge:
      return what + " is larger than the " + size + " bytes Manifest.db records for it";
    case Copied::kNoSpace:
      return what + " needs " + std::to_string(recorded / kMegabyte + 1) +
             " MB, more than the disk it goes to has free (keeping " +
             std::to_string(kSpaceReserve / kMegabyte) + " MB spare)";
    default:
      return what + " is damaged (its key, length or content)";
  }
}

}  // namespace veldrake::backup
