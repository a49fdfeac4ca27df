// IOSContact: the contact conversation (data class com.apple.Contacts) on the session's
// socket. Gathers every batch into one PListContactAnalysis and delivers the records to
// the host's callback only after the closing messages have gone out.
//
// Made per export by GetData; owns `analysis` from the first complete reply until
// delivery. One thread.
#ifndef VELDRAKE_IOSCONTACT_H_
#define VELDRAKE_IOSCONTACT_H_

#include <string>
#include <vector>

#include "veldrake/Export.h"

class PListContactAnalysis;
namespace QX {
struct Contact;
}

class VELDRAKE_API IOSContact {
 public:
  IOSContact();
  ~IOSContact();

  // The export: setup, request loop, closing messages, delivery. 0 or -1.
  int GetContact(int socket, void* callback);
  // Sends the two closing messages; 0 when both went out, else -1.
  int CloseContactProtocol(int socket);
  // An alternative setup that no export calls. 0 or -1.
  int StartContactProtocol(int socket);

  // One framed send: 0 when the whole frame went out, -1 otherwise.
  int SendData(int socket, std::string message);
  // Reads one frame and drops its payload: 0 for a frame read whole (empty or not).
  int RecvData(int socket);

  PListContactAnalysis* analysis;
  std::vector<QX::Contact*> contacts;  // passed to Combinations; stays empty
};

#endif  // VELDRAKE_IOSCONTACT_H_
