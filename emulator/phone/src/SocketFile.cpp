// The daemon's socket file: refuse a path another daemon serves, remove only our own.
#include "SocketFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace devicesim {
namespace phone {
namespace {

constexpr int kBacklog = 16;

bool AddressOf(const std::string& path, sockaddr_un* address) {
  *address = sockaddr_un{};
  if (path.empty() || path.size() >= sizeof address->sun_path) return false;
  address->sun_family = AF_UNIX;
  std::memcpy(address->sun_path, path.data(), path.size());
  return true;
}

// Whether a daemon accepts connections on the socket file at `address`. A file nobody
// listens on (connect refused) is what a daemon that crashed leaves behind. The probe
// never blocks: a daemon whose backlog is full is busy, not gone.
bool Answers(const sockaddr_un& address) {
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) return false;
  const bool answered =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno == EAGAIN;
  ::close(probe);
  return answered;
}

}  // namespace

bool SocketFile::listen(const std::string& path, std::string* error) {
  sockaddr_un address;
  if (!AddressOf(path, &address))
    return *error = "unix socket path empty or too long: " + path, false;
  struct stat st;
  const bool exists = ::lstat(path.c_str(), &st) == 0;
  if (exists && !S_ISSOCK(st.st_mode))
    return *error = path + " exists and is no socket; choose another path", false;
  if (exists) {
    if (Answers(address))
      return *error = path + " is served by another running daemon; stop it or choose another path",
             false;
    ::unlink(path.c_str());
  }
  fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ >= 0 && ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    if (::listen(fd_, kBacklog) == 0 && ::lstat(path.c_str(), &st) == 0) {
      path_ = path;
      device_ = st.st_dev;
      inode_ = st.st_ino;
      return true;
    }
    const int failure = errno;
    ::unlink(path.c_str());
    errno = failure;
  }
  *error = "cannot listen on " + path + ": " + std::strerror(errno);
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  return false;
}

void SocketFile::interrupt() {
  if (fd_ >= 0) ::shutdown(fd_, SHUT_RDWR);
}

void SocketFile::close() {
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
  struct stat st;
  if (::lstat(path_.c_str(), &st) == 0 && st.st_dev == device_ && st.st_ino == inode_)
    ::unlink(path_.c_str());
}

}  // namespace phone
}  // namespace devicesim
