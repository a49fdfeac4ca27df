// Framed send and receive on the service's socket. Both conversations read every frame
// through RecvFrame, so the four ways a receive can end are decided here once.
#include "Frame.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <time.h>

#include <algorithm>
#include <cstdint>

#include "Assert.h"

namespace veldrake {
namespace {

// The first allocation for a payload. A peer may announce up to 4 GiB; memory follows
// what actually arrives, not what was announced.
constexpr size_t kInitialPayloadBuffer = 64 * 1024;

// recv with flags 0; an interrupted call is repeated, every other failure is reported
// as -1 like any other unusable result.
ssize_t RecvOnce(int socket, char* buffer, size_t size) {
  for (;;) {
    const ssize_t n = recv(socket, buffer, size, 0);
    if (n >= 0 || errno != EINTR) return n;
  }
}

#if defined(SO_NOSIGPIPE)

// The socket itself can be told never to raise SIGPIPE; flags stay 0.
ssize_t SendQuietly(int socket, const char* data, size_t size) {
  int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
  return send(socket, data, size, 0);
}

#else

// A send to a closed peer raises SIGPIPE, whose default action would end the host.
// The signal is blocked in this thread around the call, and one that the call raised is
// taken off the pending set before the mask is restored, so it is never delivered. A
// SIGPIPE that was already pending before belongs to someone else and is left alone.
ssize_t SendQuietly(int socket, const char* data, size_t size) {
  sigset_t pipe_only;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  sigset_t pending_before;
  sigemptyset(&pending_before);
  sigpending(&pending_before);
  const bool was_pending = sigismember(&pending_before, SIGPIPE) == 1;

  sigset_t saved;
  pthread_sigmask(SIG_BLOCK, &pipe_only, &saved);
  const ssize_t n = send(socket, data, size, 0);
  const int send_errno = errno;
  if (n < 0 && send_errno == EPIPE && !was_pending) {
    const struct timespec no_wait = {0, 0};
    while (sigtimedwait(&pipe_only, nullptr, &no_wait) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &saved, nullptr);
  errno = send_errno;
  return n;
}

#endif

}  // namespace

int SendFrame(int socket, const std::string& message) {
  // Messages are our own constant texts; a length beyond the field is a caller's fault.
  VELDRAKE_ASSERT(message.size() <= UINT32_MAX);
  const uint32_t length = static_cast<uint32_t>(message.size());
  const char field[4] = {static_cast<char>(length >> 24), static_cast<char>(length >> 16),
                         static_cast<char>(length >> 8), static_cast<char>(length)};
  if (SendQuietly(socket, field, sizeof field) != 4) return kConversationFailed;
  // One call for the whole message: a frame that went out in part stays so, since the
  // stream position is lost either way.
  const ssize_t sent = SendQuietly(socket, message.data(), message.size());
  if (sent < 0 || static_cast<size_t>(sent) != message.size()) return kConversationFailed;
  return kConversationOk;
}

FrameResult RecvFrame(int socket, std::vector<char>& payload) {
  // Released, not just cleared: whatever an earlier frame left behind never outlives it.
  std::vector<char>().swap(payload);

  // The length field gets two attempts. A short first read is not kept: the second
  // attempt starts over at the field's first byte.
  unsigned char field[4];
  if (RecvOnce(socket, reinterpret_cast<char*>(field), sizeof field) != 4 &&
      RecvOnce(socket, reinterpret_cast<char*>(field), sizeof field) != 4) {
    return FrameResult::LengthNotRead;
  }
  const uint32_t length = (uint32_t{field[0]} << 24) | (uint32_t{field[1]} << 16) |
                          (uint32_t{field[2]} << 8) | uint32_t{field[3]};
  if (length == 0) return FrameResult::Empty;

  const size_t total = length;
  size_t position = 0;
  payload.resize(std::min(total, kInitialPayloadBuffer));
  while (position < total) {
    if (position == payload.size()) {
      payload.resize(std::min(total, payload.size() * 2));
    }
    const ssize_t n = RecvOnce(socket, payload.data() + position, payload.size() - position);
    if (n <= 0) {
      std::vector<char>().swap(payload);
      return FrameResult::StreamEnded;
    }
    position += static_cast<size_t>(n);
  }
  return FrameResult::Complete;
}

int SendMessage(int socket, SyncMessage m) {
  std::string text;
  BuildMessage(m, text);
  return SendFrame(socket, text);
}

bool ReadAndDropFrame(int socket) {
  std::vector<char> payload;
  const FrameResult result = RecvFrame(socket, payload);
  return result == FrameResult::Complete || result == FrameResult::Empty;
}

}  // namespace veldrake
