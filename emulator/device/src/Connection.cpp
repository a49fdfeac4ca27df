// The device's frames on one socket, with its scripted ways of sending them.
#include "Connection.h"

#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "devicesim/net/SocketIo.h"

namespace devicesim {
namespace {

// What the transcript keeps of one payload; the rest of a larger frame is read and dropped.
const size_t kKeptPayload = 1 << 20;
const size_t kReadChunk = 16 * 1024;
const size_t kFirstReserve = 64 * 1024;

}  // namespace

std::string Frame(const std::string& payload) {
  const uint32_t n = static_cast<uint32_t>(payload.size());
  std::string frame;
  frame.reserve(payload.size() + kLengthField);
  frame.push_back(static_cast<char>(n >> 24));
  frame.push_back(static_cast<char>(n >> 16));
  frame.push_back(static_cast<char>(n >> 8));
  frame.push_back(static_cast<char>(n));
  frame += payload;
  return frame;
}

Connection::Connection(int fd, const DeviceOptions& options) : fd_(fd), options_(options) {
  if (options_.closeAfterBytes == 0) hangUp();
}

void Connection::hangUp() {
  if (!open_) return;
  open_ = false;
  ::shutdown(fd_, SHUT_RDWR);
}

bool Connection::sendFrame(const std::string& bytes, bool split, int pauseMillis) {
  if (!split || bytes.size() <= kLengthField) return send(bytes, false, 0);
  return send(bytes.substr(0, kLengthField), false, 0) &&
         send(bytes.substr(kLengthField), true, pauseMillis);
}

bool Connection::readFrame(std::string& payload) {
  unsigned char head[kLengthField];
  if (!open_ || !net::ReadAll(fd_, head, sizeof head)) return false;
  uint64_t length = (uint64_t{head[0]} << 24) | (uint64_t{head[1]} << 16) |
                    (uint64_t{head[2]} << 8) | uint64_t{head[3]};
  payload.clear();
  payload.reserve(static_cast<size_t>(std::min<uint64_t>(length, kFirstReserve)));
  char chunk[kReadChunk];
  while (length > 0) {
    size_t want = static_cast<size_t>(std::min<uint64_t>(length, sizeof chunk));
    if (!net::ReadAll(fd_, chunk, want)) return false;
    if (payload.size() < kKeptPayload)
      payload.append(chunk, std::min(want, kKeptPayload - payload.size()));
    length -= want;
  }
  return true;
}

bool Connection::send(const std::string& bytes, bool split, int pauseMillis) {
  const bool budgeted = options_.closeAfterBytes >= 0;
  const uint64_t budget = budgeted ? static_cast<uint64_t>(options_.closeAfterBytes) : 0;
  size_t done = 0;
  while (open_ && done < bytes.size()) {
    size_t want = split ? 1 : bytes.size() - done;
    if (budgeted) want = static_cast<size_t>(std::min<uint64_t>(want, budget - sent_));
    if (!net::SendAll(fd_, bytes.data() + done, want)) {
      hangUp();
      return false;
    }
    done += want;
    sent_ += want;
    if (budgeted && sent_ >= budget) hangUp();
    if (split && pauseMillis > 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(pauseMillis));
    } else if (split) {
      sched_yield();
    }
  }
  return done == bytes.size();
}

}  // namespace devicesim
