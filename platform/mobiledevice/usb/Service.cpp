#include "Service.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "MobileDevice/mdphone.h"

namespace mdsim {
namespace usb {

namespace {

// Larger than the largest TLS record, so one read drains a record and nothing decrypted
// waits inside the TLS layer where poll cannot see it.
constexpr size_t kRelayChunk = 32 * 1024;

bool SendAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

void MakeBlocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) != 0) fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
}

// True when the peer has ended the stream (or it broke) and nothing is left to read.
bool PeerEnded(int fd) {
  char byte = 0;
  const ssize_t n = recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

}  // namespace

int Service::Open(const PhonePtr& phone, uint16_t port, bool tls, const std::string& udid,
                  const std::shared_ptr<Outcome>& outcome, std::shared_ptr<Service>& out) {
  auto service = std::make_shared<Service>(phone, udid, outcome);
  if (idevice_connect(phone.get(), port, &service->connection_) != IDEVICE_E_SUCCESS) {
    service->connection_ = nullptr;
    return StillAttached(udid) ? MDPHONE_ERR_SERVICE_REFUSED : MDPHONE_ERR_CONNECTION_LOST;
  }
  if (idevice_connection_get_fd(service->connection_, &service->phone_fd_) != IDEVICE_E_SUCCESS) {
    return MDPHONE_ERR_CONNECTION_LOST;
  }
  MakeBlocking(service->phone_fd_);
  if (!tls) {
    service->socket_ = service->phone_fd_;
    out = service;
    return 0;
  }
  if (idevice_connection_enable_ssl(service->connection_) != IDEVICE_E_SUCCESS) {
    return MDPHONE_ERR_TLS_FAILED;
  }
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    return MDPHONE_ERR_CONNECTION_LOST;
  }
  service->socket_ = ends[0];
  service->relay_end_ = ends[1];
  service->relay_ = std::thread(&Service::Relay, service.get());
  out = service;
  return 0;
}

void Service::Relay() {
  QuietPipe quiet;  // the phone or the library may vanish under a write
  std::vector<char> buffer(kRelayChunk);
  bool phone_ended = false;
  struct pollfd watched[2] = {{relay_end_, POLLIN, 0}, {phone_fd_, POLLIN, 0}};
  for (;;) {
    if (poll(watched, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (watched[1].revents != 0 && !PhoneToLibrary(buffer.data(), buffer.size(), phone_ended)) {
      break;
    }
    if (watched[0].revents != 0 && !LibraryToPhone(buffer.data(), buffer.size(), phone_ended)) {
      break;
    }
  }
  // The loss is recorded before the library can see the end of the stream, so a host
  // that asks right after GetData returns gets it.
  if (phone_ended && !closing_ && !StillAttached(udid_)) {
    outcome_->last_error = MDPHONE_ERR_CONNECTION_LOST;
  }
  ReleaseConnection();
  shutdown(relay_end_, SHUT_RDWR);
}

bool Service::PhoneToLibrary(char* buffer, size_t size, bool& phone_ended) {
  uint32_t got = 0;
  if (idevice_connection_receive(connection_, buffer, static_cast<uint32_t>(size), &got) !=
          IDEVICE_E_SUCCESS ||
      got == 0) {
    phone_ended = true;
    return false;
  }
  return SendAll(relay_end_, buffer, got);
}

bool Service::LibraryToPhone(char* buffer, size_t size, bool& phone_ended) {
  const ssize_t n = recv(relay_end_, buffer, size, 0);
  if (n < 0 && errno == EINTR) return true;
  if (n <= 0) return false;  // the library's end was shut down or closed
  uint32_t sent = 0;
  if (idevice_connection_send(connection_, buffer, static_cast<uint32_t>(n), &sent) !=
      IDEVICE_E_SUCCESS) {
    phone_ended = true;
    return false;
  }
  return true;
}

void Service::ReleaseConnection() {
  std::lock_guard<std::mutex> hold(lock_);
  if (connection_ == nullptr) return;
  QuietPipe quiet;  // a TLS close note to a phone that is gone
  idevice_disconnect(connection_);
  connection_ = nullptr;
}

void Service::NoticeLoss() {
  if (relay_.joinable() || socket_ < 0) return;
  if (PeerEnded(socket_) && !StillAttached(udid_)) {
    outcome_->last_error = MDPHONE_ERR_CONNECTION_LOST;
  }
}

void Service::Close() {
  if (closed_) return;
  closed_ = true;
  if (!relay_.joinable()) {
    NoticeLoss();
    if (socket_ >= 0) shutdown(socket_, SHUT_RDWR);
    ReleaseConnection();  // closes socket_, the connection's own descriptor
    socket_ = -1;
    return;
  }
  closing_ = true;
  shutdown(socket_, SHUT_RDWR);
  {
    std::lock_guard<std::mutex> hold(lock_);
    if (connection_ != nullptr) shutdown(phone_fd_, SHUT_RDWR);
  }
  relay_.join();
  ReleaseConnection();
  close(relay_end_);
  close(socket_);
  relay_end_ = socket_ = -1;
}

}  // namespace usb
}  // namespace mdsim
