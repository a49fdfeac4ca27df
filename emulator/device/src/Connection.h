// One connection of the device, as the conversation sees it: whole frames in, frames out
// (whole, cut short or one byte at a time), and the "cable pulled at byte N" budget.
#ifndef DEVICESIM_SRC_CONNECTION_H_
#define DEVICESIM_SRC_CONNECTION_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "devicesim/Conversation.h"

namespace devicesim {

// The size of a frame's length field.
const size_t kLengthField = 4;

// The frame of a payload: its 4-byte big-endian length, then the payload.
std::string Frame(const std::string& payload);

class Connection {
 public:
  // Keeps a reference to `options`, which must outlive the connection; does not own `fd`.
  Connection(int fd, const DeviceOptions& options);

  bool open() const { return open_; }
  uint64_t bytesSent() const { return sent_; }

  // Shuts the socket down both ways (once); the descriptor stays open.
  void hangUp();

  // Sends a frame (or the first part of one): the length field in one piece, since a
  // reader may take a short length read as a failure, and then the payload, one byte per
  // send() `pauseMillis` apart when `split`.
  bool sendFrame(const std::string& bytes, bool split, int pauseMillis);

  // Reads one frame, keeping at most kKeptPayload bytes of its payload. False when the
  // peer closed or failed, before or inside the frame.
  bool readFrame(std::string& payload);

 private:
  // Sends bytes, one send() per byte when `split`, within the budget of closeAfterBytes.
  bool send(const std::string& bytes, bool split, int pauseMillis);

  int fd_;
  const DeviceOptions& options_;
  bool open_ = true;
  uint64_t sent_ = 0;
};

}  // namespace devicesim

#endif  // DEVICESIM_SRC_CONNECTION_H_
