// The one send-all and read-all loop of the emulator.
#include "devicesim/net/SocketIo.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>

namespace devicesim {
namespace net {

bool SendAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t sent = ::send(fd, data, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool ReadAll(int fd, void* buffer, size_t size) {
  char* out = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t got = ::recv(fd, out, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

}  // namespace net
}  // namespace devicesim
