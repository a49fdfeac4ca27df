// FileIo: the few POSIX file operations the backup layer needs, retried on EINTR, and the
// private files it makes (mode 0600, never over an existing file, never through a link).
//
// Thread contract: pure functions and one-owner objects; any thread.
#ifndef VELDRAKE_BACKUP_FILEIO_H_
#define VELDRAKE_BACKUP_FILEIO_H_

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace veldrake::backup {

// Owns one file descriptor (-1: none).
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd();
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// A new private file for writing: O_CREAT | O_EXCL | O_NOFOLLOW, mode 0600.
int CreatePrivateFile(const std::string& path);

bool WriteAll(int fd, const void* data, size_t size);
// Up to `size` bytes, fewer only at the end of the file; -1 on an error.
ssize_t ReadFull(int fd, void* data, size_t size);

// True when `path` is a regular file, not reached through a symbolic link at its last step.
bool IsPlainFile(const std::string& path);

// Why `folder`/`relative` is refused when it is a symbolic link (a phone writes none, and
// one may lead anywhere on this computer): "" when it is none.
std::string LinkRefusal(const std::string& folder, const std::string& relative);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_FILEIO_H_
