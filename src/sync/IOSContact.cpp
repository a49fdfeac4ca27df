// The contact conversation: setup, the request loop that gathers every batch, the closing
// messages, then delivery.
#include "veldrake/IOSContact.h"

#include <climits>
#include <string>
#include <vector>

#include "Frame.h"
#include "Messages.h"
#include "PListContactAnalysis.h"
#include "QX/Contact.h"

using namespace veldrake;  // the conversation's framing

namespace {

// One setup exchange: the message out, its reply read whole and dropped unseen.
bool Exchange(int socket, SyncMessage message) {
  return SendMessage(socket, message) == kConversationOk && ReadAndDropFrame(socket);
}

}  // namespace

IOSContact::IOSContact() : analysis(nullptr) {}

IOSContact::~IOSContact() {
  if (analysis != nullptr) {
    delete analysis;
    analysis = nullptr;
  }
  std::vector<QX::Contact*>().swap(contacts);
}

int IOSContact::GetContact(int socket, void* callback) {
  if (!Exchange(socket, SyncMessage::M2)) return kConversationFailed;
  if (!Exchange(socket, SyncMessage::M4)) return kConversationFailed;

  // The contact conversation has no acknowledge message: the same request goes out again
  // until a reply says there is no more, or the socket fails.
  std::string request;
  BuildMessage(SyncMessage::M6, request);
  for (;;) {
    if (SendFrame(socket, request) != kConversationOk) break;
    std::vector<char> reply;  // one buffer per frame, released at the end of the pass
    const FrameResult read = RecvFrame(socket, reply);
    if (read == FrameResult::LengthNotRead) break;
    if (read != FrameResult::Complete) continue;  // empty, or lost inside the payload
    // An int carries the length to the analysis; a payload beyond it is of no use.
    if (reply.size() > static_cast<size_t>(INT_MAX)) continue;
    if (analysis == nullptr) analysis = new PListContactAnalysis();
    if (analysis->Analysis(reply.data(), static_cast<int>(reply.size())) < 0) break;
  }

  CloseContactProtocol(socket);

  if (analysis == nullptr) return kConversationOk;
  const int delivered = analysis->Combinations(contacts, callback);
  delete analysis;
  analysis = nullptr;
  return delivered == PListContactAnalysis::kStopped ? kConversationFailed : kConversationOk;
}

int IOSContact::CloseContactProtocol(int socket) {
  if (SendMessage(socket, SyncMessage::M9) != kConversationOk) return kConversationFailed;
  return SendMessage(socket, SyncMessage::M11);
}

int IOSContact::StartContactProtocol(int socket) {
  if (!Exchange(socket, SyncMessage::M1)) return kConversationFailed;
  return Exchange(socket, SyncMessage::M3) ? kConversationOk : kConversationFailed;
}

int IOSContact::SendData(int socket, std::string message) {
  return SendFrame(socket, message);
}

int IOSContact::RecvData(int socket) {
  return ReadAndDropFrame(socket) ? kConversationOk : kConversationFailed;
}
