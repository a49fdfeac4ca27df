#include "Relay.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <vector>

#include "MobileDevice/mdphone.h"
#include "QuietPipe.h"

namespace mdsim {

namespace {

// Larger than the largest TLS record, so one read drains a record and nothing decrypted
// waits inside the TLS layer where poll cannot see it; large enough that a plain copy
// costs the export nothing it would notice.
constexpr size_t kRelayChunk = 256 * 1024;

// Room in the socket pair for several of the device's replies, so that the relay and the
// library each wake once per many kilobytes rather than per few.
constexpr int kPairBuffer = 1024 * 1024;

// A bound above the length of the frames watched for (a goodbye, a refusal): longer frames
// are followed but not kept.
constexpr size_t kLongestWatchedFrame = 4096;

constexpr std::chrono::milliseconds kDrainTime{200};

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

}  // namespace

PlainStream::~PlainStream() {
  close(fd_);
}

long PlainStream::Receive(char* buffer, size_t size) {
  for (;;) {
    const ssize_t n = recv(fd_, buffer, size, 0);
    if (n > 0) return static_cast<long>(n);
    if (n == 0 || errno != EINTR) return kEnded;
  }
}

bool PlainStream::Send(const char* data, size_t size) {
  return SendAll(fd_, data, size);
}

void PlainStream::Interrupt() {
  shutdown(fd_, SHUT_RDWR);
}

void FrameWatch::Feed(const char* data, size_t size) {
  while (size > 0 && !seen_) {
    if (header_used_ < sizeof header_) {
      header_[header_used_++] = static_cast<unsigned char>(*data++);
      --size;
      if (header_used_ < sizeof header_) continue;
      remaining_ = (size_t{header_[0]} << 24) | (size_t{header_[1]} << 16) |
                   (size_t{header_[2]} << 8) | size_t{header_[3]};
      keeping_ = remaining_ <= kLongestWatchedFrame;
      frame_.clear();
    }
    const size_t take = remaining_ < size ? remaining_ : size;
    if (keeping_) frame_.append(data, take);
    data += take;
    size -= take;
    remaining_ -= take;
    if (remaining_ == 0) {
      seen_ = keeping_ && frame_.find(marker_) != std::string::npos;
      header_used_ = 0;
    }
  }
}

int Relay::Start(std::unique_ptr<DeviceStream> stream, const std::shared_ptr<Outcome>& outcome,
                 int failure, std::unique_ptr<Relay>& out) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return failure;
  for (int end : ends) {
    setsockopt(end, SOL_SOCKET, SO_SNDBUF, &kPairBuffer, sizeof kPairBuffer);
    setsockopt(end, SOL_SOCKET, SO_RCVBUF, &kPairBuffer, sizeof kPairBuffer);
  }
  // Nothing below may throw through the C interface: a thread or the memory for the relay
  // that cannot be had is a failed start.
  try {
    std::unique_ptr<Relay> relay(new Relay(std::move(stream), outcome));
    relay->library_end_ = ends[0];
    relay->relay_end_ = ends[1];
    ends[0] = ends[1] = -1;
    relay->thread_ = std::thread(&Relay::Run, relay.get());
    out = std::move(relay);
    return 0;
  } catch (const std::exception&) {
    if (ends[0] >= 0) close(ends[0]);
    if (ends[1] >= 0) close(ends[1]);
    return failure;
  }
}

void Relay::Run() {
  QuietPipe quiet;  // a TLS write to a phone that is gone cannot ask for MSG_NOSIGNAL
  std::vector<char> buffer(kRelayChunk);
  bool device_ended = false;
  struct pollfd watched[2] = {{relay_end_, POLLIN, 0}, {stream_->fd(), POLLIN, 0}};
  for (;;) {
    if (poll(watched, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    // The library's side first: what it sent before a close still goes out.
    if (watched[0].revents != 0 && !LibraryToDevice(buffer.data(), buffer.size(), device_ended)) {
      break;
    }
    if (watched[1].revents != 0 && !DeviceToLibrary(buffer.data(), buffer.size(), device_ended)) {
      break;
    }
  }
  // Recorded before the library can see the end of the stream, so a host that asks right
  // after GetData returns gets it. The device went first only if the library had not yet
  // said goodbye, the device had not refused the sync, and nobody here is closing.
  if (device_ended && !closing_ && !goodbye_.seen() && !refusal_.seen()) {
    outcome_->last_error = MDPHONE_ERR_CONNECTION_LOST;
  }
  stream_->Interrupt();
  shutdown(relay_end_, SHUT_RDWR);
  std::lock_guard<std::mutex> hold(lock_);
  done_ = true;
  ended_.notify_all();
}

bool Relay::DeviceToLibrary(char* buffer, size_t size, bool& device_ended) {
  const long got = stream_->Receive(buffer, size);
  if (got == DeviceStream::kNothingYet) return true;
  if (got < 0) {
    device_ended = true;
    return false;
  }
  outcome_->bytes_received += got;
  refusal_.Feed(buffer, static_cast<size_t>(got));
  // A library end shut down by a host's cancel is no loss: the copy just stops.
  return SendAll(relay_end_, buffer, static_cast<size_t>(got));
}

bool Relay::LibraryToDevice(char* buffer, size_t size, bool& device_ended) {
  const ssize_t n = recv(relay_end_, buffer, size, 0);
  if (n < 0 && errno == EINTR) return true;
  if (n <= 0) return false;  // the library's end was shut down or closed
  goodbye_.Feed(buffer, static_cast<size_t>(n));
  if (!stream_->Send(buffer, static_cast<size_t>(n))) {
    device_ended = true;
    return false;
  }
  return true;
}

void Relay::Close() {
  if (closed_) return;
  closed_ = true;
  closing_ = true;
  // The relay forwards what the library sent last (its goodbye) and stops at the end of
  // the library's stream; a device that will not take it is cut off after a short wait.
  shutdown(library_end_, SHUT_RDWR);
  if (thread_.joinable()) {  // not when the thread could not be started
    {
      std::unique_lock<std::mutex> hold(lock_);
      ended_.wait_for(hold, kDrainTime, [this] { return done_; });
    }
    stream_->Interrupt();
    thread_.join();
  }
  stream_.reset();
  close(relay_end_);
  close(library_end_);
  relay_end_ = library_end_ = -1;
}

}  // namespace mdsim
