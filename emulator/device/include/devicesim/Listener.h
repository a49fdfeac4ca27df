// Listener: the emulated device waiting on a unix socket or a loopback TCP port, for the
// command-line host's built-in device and the program veldrake-devicesim.
//
// Ownership: the object owns its thread, its listening socket and, for unix:PATH, the
// socket file it created.
// Thread contract: driven from one thread; the serving runs on its own.
#ifndef DEVICESIM_LISTENER_H_
#define DEVICESIM_LISTENER_H_

#include <memory>
#include <string>
#include <vector>

#include "devicesim/Conversation.h"

namespace devicesim {

// A listener (unix:PATH or tcp:127.0.0.1:PORT; port 0 picks a free one) serving
// connections one after another on a thread, for several GetData calls in a row (the
// command-line host's built-in device). A unix: path another server is listening on is
// refused; a socket file left behind by an earlier run is replaced.
class Listener {
 public:
  Listener(const std::string& endpoint, AddressBook book, NoteStore notes,
           DeviceOptions options = {});
  ~Listener();  // stops and joins; removes the socket file of a unix: endpoint if it is
                // still the one this listener bound
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  bool ok() const;
  std::string error() const;
  std::string endpoint() const;  // with the actual port for tcp:...:0
  // Transcripts of the connections served so far.
  std::vector<Transcript> transcripts() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace devicesim

#endif  // DEVICESIM_LISTENER_H_
