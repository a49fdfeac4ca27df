// POSIX file helpers.
#include "FileIo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace veldrake::backup {

Fd::~Fd() {
  if (fd_ >= 0) close(fd_);
}

int CreatePrivateFile(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

bool WriteAll(int fd, const void* data, size_t size) {
  const char* at = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = write(fd, at, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

ssize_t ReadFull(int fd, void* data, size_t size) {
  char* at = static_cast<char*>(data);
  size_t got = 0;
  while (got < size) {
    const ssize_t n = read(fd, at + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    got += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(got);
}

bool IsPlainFile(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

namespace {

std::string Resolved(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

}  // namespace

std::string LinkRefusal(const std::string& folder, const std::string& relative) {
  const std::string path = folder + "/" + relative;
  struct stat st;
  if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return "";
  const std::string root = Resolved(folder) + "/", target = Resolved(path);
  const bool inside = root.size() > 1 && target.compare(0, root.size(), root) == 0;
  return path + (inside ? " is a link and is refused"
                        : " is a link leading out of the backup and is refused");
}

}  // namespace veldrake::backup
