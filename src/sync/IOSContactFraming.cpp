// The two framing operations that IOSContact carries by name. They use no member of the
// object; the contact and note conversations read their own payloads through RecvFrame.
#include "Frame.h"
#include "veldrake/IOSContact.h"

int IOSContact::SendData(int socket, std::string message) {
  return SendFrame(socket, message) == 0 ? 0 : -1;
}

int IOSContact::RecvData(int socket) {
  std::vector<char> payload;
  switch (RecvFrame(socket, payload)) {
    case FrameResult::Complete:
    case FrameResult::Empty:
      return 0;
    case FrameResult::LengthNotRead:
    case FrameResult::StreamEnded:
      break;
  }
  return -1;
}
