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

namespace {

int Send(int socket, SyncMessage message) {
  std::string text;
  BuildMessage(message, text);
  return SendFrame(socket, text);
}

// One setup exchange: the message out, its reply read whole and dropped unseen.
bool Exchange(int socket, SyncMessage message) {
  if (Send(socket, message) != 0) return false;
  std::vector<char> reply;
  const FrameResult read = RecvFrame(socket, reply);
  return read == FrameResult::Complete || read == FrameResult::Empty;
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
  if (!Exchange(socket, SyncMessage::M2)) return -1;
  if (!Exchange(socket, SyncMessage::M4)) return -1;

  // The contact conversation has no acknowledge message: the same request goes out again
  // until a reply says there is no more, or the socket fails.
  std::string request;
  BuildMessage(SyncMessage::M6, request);
  for (;;) {
    if (SendFrame(socket, request) != 0) break;
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

  if (analysis == nullptr) return 0;
  const int delivered = analysis->Combinations(contacts, callback);
  delete analysis;
  analysis = nullptr;
  return delivered == -1 ? -1 : 0;
}

int IOSContact::CloseContactProtocol(int socket) {
  std::string message;
  BuildMessage(SyncMessage::M9, message);
  if (SendData(socket, message) != 0) return -1;
  BuildMessage(SyncMessage::M11, message);
  return SendData(socket, message) == 0 ? 0 : -1;
}

int IOSContact::StartContactProtocol(int socket) {
  std::string message;
  BuildMessage(SyncMessage::M1, message);
  if (SendData(socket, message) != 0) return -1;
  if (RecvData(socket) != 0) return -1;
  BuildMessage(SyncMessage::M3, message);
  if (SendData(socket, message) != 0) return -1;
  return RecvData(socket) == 0 ? 0 : -1;
}
