// Endpoints of stand-in devices: where a service start connects to.
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "StandIn.h"

namespace mdsim {

namespace {

bool AllDigits(const std::string& text) {
  if (text.empty() || text.size() > 9) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// A phone's UDID is 40 hex digits, on newer ones 8 and 16 joined by a dash.
bool PlausibleUdid(const std::string& text) {
  constexpr size_t kShortest = 24;
  constexpr size_t kLongest = 63;
  if (text.size() < kShortest || text.size() > kLongest) return false;
  for (char c : text) {
    const bool alnum = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!alnum && c != '-') return false;
  }
  return true;
}

bool StartsWith(const std::string& text, const char* prefix, std::string& rest) {
  const size_t n = std::strlen(prefix);
  if (text.compare(0, n, prefix) != 0) return false;
  rest = text.substr(n);
  return true;
}

int ConnectUnix(const std::string& path) {
  struct sockaddr_un address;
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (connect(fd, reinterpret_cast<const struct sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

int ConnectTcp(const std::string& host, const std::string& port) {
  struct addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  struct addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) return -1;
  int fd = -1;
  for (struct addrinfo* a = found; a != nullptr && fd < 0; a = a->ai_next) {
    fd = socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
    if (fd >= 0 && connect(fd, a->ai_addr, a->ai_addrlen) != 0) {
      close(fd);
      fd = -1;
    }
  }
  freeaddrinfo(found);
  return fd;
}

}  // namespace

bool ParseEndpoint(const char* text, Endpoint& out) {
  if (text == nullptr) return false;
  const std::string endpoint = text;
  std::string rest;
  if (StartsWith(endpoint, "unix:", rest)) {
    if (rest.empty() || rest.size() >= sizeof(sockaddr_un::sun_path)) return false;
    out.kind = Endpoint::Kind::Unix;
    out.path = rest;
    return true;
  }
  if (StartsWith(endpoint, "tcp:", rest)) {
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    std::string host = rest.substr(0, colon);
    const std::string port = rest.substr(colon + 1);
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
      host = host.substr(1, host.size() - 2);  // [::1]:port
    }
    if (host.empty() || !AllDigits(port)) return false;
    const long number = std::stol(port);
    if (number < 1 || number > 65535) return false;
    out.kind = Endpoint::Kind::Tcp;
    out.host = host;
    out.port = port;
    return true;
  }
  if (endpoint == "usb" || (StartsWith(endpoint, "usb:", rest) && PlausibleUdid(rest))) {
    out.kind = Endpoint::Kind::Usb;
    out.udid = endpoint == "usb" ? std::string() : rest;
    return true;
  }
  if (StartsWith(endpoint, "fd:", rest)) {
    if (!AllDigits(rest)) return false;
    const long number = std::stol(rest);
    // A descriptor that is not open could never be a connected socket.
    if (number > INT_MAX || fcntl(static_cast<int>(number), F_GETFD) < 0) return false;
    out.kind = Endpoint::Kind::Fd;
    out.fd = static_cast<int>(number);
    return true;
  }
  return false;
}

int ConnectEndpoint(const Endpoint& endpoint) {
  switch (endpoint.kind) {
    case Endpoint::Kind::Unix:
      return ConnectUnix(endpoint.path);
    case Endpoint::Kind::Tcp:
      return ConnectTcp(endpoint.host, endpoint.port);
    case Endpoint::Kind::Fd:
    case Endpoint::Kind::Usb:
      break;
  }
  return -1;
}

}  // namespace mdsim
