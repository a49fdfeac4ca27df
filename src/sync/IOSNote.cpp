// The note conversation: setup, one request for all records, then one acknowledgement per
// batch until the analysis of a reply says stop, then the two closing messages.
#include "veldrake/IOSNote.h"

#include <climits>
#include <string>
#include <vector>

#include "Frame.h"
#include "Messages.h"
#include "PListNoteAnalysis.h"

namespace {

int Send(int socket, SyncMessage message) {
  std::string text;
  BuildMessage(message, text);
  return SendFrame(socket, text);
}

// One reply read whole and released unseen. False when the length field could not be
// read or the stream ended inside the payload.
bool ReadAndDrop(int socket) {
  std::vector<char> payload;
  const FrameResult result = RecvFrame(socket, payload);
  return result == FrameResult::Complete || result == FrameResult::Empty;
}

}  // namespace

IOSNote::IOSNote() {}

IOSNote::~IOSNote() {}

int IOSNote::Init(int socket) {
  if (Send(socket, SyncMessage::M1) != 0) return -1;
  if (!ReadAndDrop(socket)) return -1;
  if (Send(socket, SyncMessage::M5) != 0) return -1;
  if (!ReadAndDrop(socket)) return -1;
  return 0;
}

int IOSNote::GetNote(int socket, void* callback) {
  const int setup = Init(socket);
  if (setup != 0) return setup;
  if (Send(socket, SyncMessage::M7) != 0) return -1;
  // The reply to the request carries no records worth reading; the batches answer M8.
  if (!ReadAndDrop(socket)) return -1;

  PListNoteAnalysis analysis;
  for (;;) {
    if (Send(socket, SyncMessage::M8) != 0) return -1;
    // A buffer per frame: nothing of one reply outlives its analysis.
    std::vector<char> payload;
    const FrameResult frame = RecvFrame(socket, payload);
    if (frame == FrameResult::Empty) continue;
    if (frame != FrameResult::Complete) return -1;
    // A payload beyond int's range cannot be described to the analysis; like any other
    // unreadable reply it is passed over and the device asked for the next.
    if (payload.size() > static_cast<size_t>(INT_MAX)) continue;
    const int verdict =
        analysis.Analysis(payload.data(), static_cast<int>(payload.size()), callback);
    if (verdict == 1 || verdict < 0) break;
  }

  if (Send(socket, SyncMessage::M10) != 0) return -1;
  if (Send(socket, SyncMessage::M11) != 0) return -1;
  return 0;
}
