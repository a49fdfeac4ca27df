// A file written whole or not at all, through a temporary beside it.
#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "Signals.h"

namespace host {
namespace {

std::string Reason(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// As many links as the system itself follows before it gives up.
const int kMaxLinks = 40;
const mode_t kPermissionBits = 07777;

// The mode of the file `path` replaces, else the usual one for a new file.
mode_t FileMode(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) return st.st_mode & kPermissionBits;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

// The file a chain of symbolic links ends at (which may not exist yet).
std::string FollowLinks(std::string path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    std::vector<char> target(static_cast<size_t>(st.st_size > 0 ? st.st_size : PATH_MAX) + 1);
    const ssize_t n = ::readlink(path.c_str(), target.data(), target.size() - 1);
    if (n < 0) return path;
    const std::string next(target.data(), static_cast<size_t>(n));
    path = next[0] == '/' ? next : DirectoryOf(path) + "/" + next;
  }
  return path;
}

}  // namespace

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (temp_.empty()) return;
  ::unlink(temp_.c_str());
  UnregisterTemporary(temp_);
}

bool OutputFile::Open(const std::string& named, std::string* error) {
  struct stat st;
  if (::stat(named.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
    *error = named + ": is a directory";
    return false;
  }
  const std::string path = FollowLinks(named);
  path_ = path;
  if (::stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
    *error = named + ": not a regular file; it would be replaced";
    return false;
  }
  std::string pattern = DirectoryOf(path) + "/." + BaseOf(path) + ".XXXXXX";
  std::unique_ptr<char[]> name(new char[pattern.size() + 1]);
  std::memcpy(name.get(), pattern.c_str(), pattern.size() + 1);
  fd_ = ::mkostemp(name.get(), O_CLOEXEC);
  if (fd_ < 0) {
    *error = Reason(path);
    return false;
  }
  temp_ = name.get();
  RegisterTemporary(temp_);
  // Private (0600, as made) while it is written; the target's mode once it is whole.
  mode_ = FileMode(path);
  return true;
}

bool OutputFile::Commit(const std::string& content, std::string* error) {
  if (fd_ < 0) {
    *error = path_ + ": not open";
    return false;
  }
  std::string reason;
  if (!WriteAll(fd_, content, &reason)) {
    *error = path_ + ": " + reason;
    return false;
  }
  return Commit(error);
}

bool OutputFile::Commit(std::string* error) {
  if (fd_ < 0) {
    *error = path_ + ": not open";
    return false;
  }
  if (::fchmod(fd_, mode_) != 0 || ::fsync(fd_) != 0) {
    *error = Reason(path_);
    return false;
  }
  const int closed = ::close(fd_);
  fd_ = -1;
  if (closed != 0 || ::rename(temp_.c_str(), path_.c_str()) != 0) {
    *error = Reason(path_);
    return false;
  }
  UnregisterTemporary(temp_);
  temp_.clear();
  return true;
}

bool OutputFile::WriteAll(int fd, const std::string& content, std::string* error) {
  return WriteBytes(fd, content.data(), content.size(), error);
}

bool OutputFile::WriteBytes(int fd, const char* data, size_t size, std::string* error) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd, data + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      *error = std::strerror(n < 0 ? errno : EIO);
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace host
