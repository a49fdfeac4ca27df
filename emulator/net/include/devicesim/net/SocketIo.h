// Whole reads and writes on a stream socket, for every role of the emulator: the sync
// conversation, the usbmux daemon and the phones behind it.
//
// Both retry after EINTR and stop at the first failure or end of stream. Sends use
// MSG_NOSIGNAL, so a peer that went away gives false, never SIGPIPE. Any thread; the
// descriptor stays the caller's.
#ifndef DEVICESIM_NET_SOCKETIO_H_
#define DEVICESIM_NET_SOCKETIO_H_

#include <cstddef>

namespace devicesim {
namespace net {

// Sends all `size` bytes; false when the peer closed or the send failed part way.
bool SendAll(int fd, const char* data, size_t size);

// Reads exactly `size` bytes; false when the stream ended or failed before that.
bool ReadAll(int fd, void* buffer, size_t size);

}  // namespace net
}  // namespace devicesim

#endif  // DEVICESIM_NET_SOCKETIO_H_
