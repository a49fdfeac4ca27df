// The note conversation: setup, one request for all records, then one acknowledgement per
// batch until the analysis of a reply says stop, then the two closing messages.
#include "veldrake/IOSNote.h"

#include <climits>
#include <string>
#include <vector>

#include "Frame.h"
#include "Messages.h"
#include "PListNoteAnalysis.h"

using namespace veldrake;  // the conversation's framing

IOSNote::IOSNote() {}

IOSNote::~IOSNote() {}

int IOSNote::Init(int socket) {
  if (SendMessage(socket, SyncMessage::M1) != kConversationOk) return kConversationFailed;
  if (!ReadAndDropFrame(socket)) return kConversationFailed;
  if (SendMessage(socket, SyncMessage::M5) != kConversationOk) return kConversationFailed;
  if (!ReadAndDropFrame(socket)) return kConversationFailed;
  return kConversationOk;
}

int IOSNote::GetNote(int socket, void* callback) {
  const int setup = Init(socket);
  if (setup != kConversationOk) return setup;
  if (SendMessage(socket, SyncMessage::M7) != kConversationOk) return kConversationFailed;
  // The reply to the request carries no records worth reading; the batches answer M8.
  if (!ReadAndDropFrame(socket)) return kConversationFailed;

  PListNoteAnalysis analysis;
  for (;;) {
    if (SendMessage(socket, SyncMessage::M8) != kConversationOk) return kConversationFailed;
    // A buffer per frame: nothing of one reply outlives its analysis.
    std::vector<char> payload;
    const FrameResult frame = RecvFrame(socket, payload);
    if (frame == FrameResult::Empty) continue;
    if (frame != FrameResult::Complete) return kConversationFailed;
    // A payload beyond int's range cannot be described to the analysis; like any other
    // unreadable reply it is passed over and the device asked for the next.
    if (payload.size() > static_cast<size_t>(INT_MAX)) continue;
    const int verdict =
        analysis.Analysis(payload.data(), static_cast<int>(payload.size()), callback);
    if (verdict == PListNoteAnalysis::kNoRecords || verdict < 0) break;
  }

  if (SendMessage(socket, SyncMessage::M10) != kConversationOk) return kConversationFailed;
  return SendMessage(socket, SyncMessage::M11);
}
