// Message framing on the service's socket: a big-endian 32-bit payload length, then the
// payload, in both directions. send/recv with flags 0 only; no time-out. Runs on the
// caller's thread; the payload buffer belongs to the caller.
//
// The wire format is described in docs/protocol.md.
#ifndef VELDRAKE_FRAME_H_
#define VELDRAKE_FRAME_H_

#include <string>
#include <vector>

#include "Messages.h"

// The library's own names, which its published interface does not fix.
namespace veldrake {

// What a conversation, and each of its steps, gives back.
enum ConversationResult : int {
  kConversationOk = 0,
  kConversationFailed = -1,
};

// How a framed receive ended.
enum class FrameResult {
  Complete,       // a payload of the announced length is in the buffer
  Empty,          // a length field of 0: nothing allocated, nothing more read
  LengthNotRead,  // the length field could not be read (two attempts)
  StreamEnded,    // the stream ended (or failed) inside the payload; the buffer is released
};

// Sends one frame. 0 when the length field and the whole message went out, -1 otherwise.
// A closed peer never raises SIGPIPE in the host.
int SendFrame(int socket, const std::string& message);

// Reads one frame into `payload`, which ends with exactly the announced length on
// Complete and empty otherwise. The buffer grows as bytes arrive, so a peer that
// announces more than it sends costs only what it sent.
FrameResult RecvFrame(int socket, std::vector<char>& payload);

// Sends catalogue message `m` in one frame; kConversationOk or kConversationFailed.
int SendMessage(int socket, SyncMessage m);

// Reads one frame whole and drops it unseen. True for a complete or an empty frame, false
// when the length field could not be read or the stream ended inside the payload.
bool ReadAndDropFrame(int socket);

}  // namespace veldrake

#endif  // VELDRAKE_FRAME_H_
