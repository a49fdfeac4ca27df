#include "Service.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>

#include <vector>

#include "../QuietPipe.h"
#include "MobileDevice/mdphone.h"

namespace mdsim {
namespace usb {

namespace {

void SetBlocking(int fd, bool blocking) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0) return;
  const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
  if (wanted != flags) fcntl(fd, F_SETFL, wanted);
}

// True when the peer has ended the stream (or it broke) and nothing is left to read.
bool PeerEnded(int fd) {
  char byte = 0;
  const ssize_t n = recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

}  // namespace

int PhoneStream::Open(const PhonePtr& phone, uint16_t port, bool tls, const std::string& udid,
                      std::unique_ptr<DeviceStream>& out) {
  std::unique_ptr<PhoneStream> stream(new PhoneStream(phone));
  const std::vector<int> before = OpenDescriptors();
  const idevice_error_t connected = idevice_connect(phone.get(), port, &stream->connection_);
  MarkNewSocketsCloseOnExec(before);
  if (connected != IDEVICE_E_SUCCESS) {
    stream->connection_ = nullptr;
    return Blame(udid, MDPHONE_ERR_SERVICE_REFUSED);
  }
  if (idevice_connection_get_fd(stream->connection_, &stream->fd_) != IDEVICE_E_SUCCESS) {
    return MDPHONE_ERR_CONNECTION_LOST;
  }
  SetBlocking(stream->fd_, true);
  if (tls && idevice_connection_enable_ssl(stream->connection_) != IDEVICE_E_SUCCESS) {
    // A daemon or phone that vanished mid-handshake is no reason to pair again.
    return Blame(udid, MDPHONE_ERR_TLS_FAILED);
  }
  out = std::move(stream);
  return 0;
}

PhoneStream::~PhoneStream() {
  if (connection_ == nullptr) return;
  QuietPipe quiet;  // a TLS close note to a phone that is gone
  idevice_disconnect(connection_);
}

long PhoneStream::Receive(char* buffer, size_t size) {
  // Without blocking: under TLS 1.3 a record may carry no data at all (a session ticket),
  // and a blocking read would then wait for the next record while the library waits for
  // the phone's answer to a message still sitting in the relay.
  SetBlocking(fd_, false);
  uint32_t got = 0;
  const idevice_error_t received =
      idevice_connection_receive(connection_, buffer, static_cast<uint32_t>(size), &got);
  SetBlocking(fd_, true);
  if (received == IDEVICE_E_SUCCESS && got > 0) return static_cast<long>(got);
  return PeerEnded(fd_) ? kEnded : kNothingYet;
}

bool PhoneStream::Send(const char* data, size_t size) {
  while (size > 0) {
    uint32_t sent = 0;
    if (idevice_connection_send(connection_, data, static_cast<uint32_t>(size), &sent) !=
            IDEVICE_E_SUCCESS ||
        sent == 0) {
      return false;
    }
    data += sent;
    size -= sent;
  }
  return true;
}

void PhoneStream::Interrupt() {
  shutdown(fd_, SHUT_RDWR);
}

}  // namespace usb
}  // namespace mdsim
