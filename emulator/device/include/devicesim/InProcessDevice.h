// InProcessDevice: the emulated device served on a thread of this process, for tests and
// benchmarks that want a device without a socket file or a port.
//
// Ownership: the object owns its thread and its end of the socketpair.
// Thread contract: driven from one thread; the serving runs on its own.
#ifndef DEVICESIM_INPROCESSDEVICE_H_
#define DEVICESIM_INPROCESSDEVICE_H_

#include <memory>
#include <string>

#include "devicesim/Conversation.h"

namespace devicesim {

// A device served in-process on a thread over a socketpair: endpoint() is "fd:N" for
// mdsim_device_new; the library's end is owned by whoever connects through it (and is
// closed here only if nobody ever asked for the endpoint).
class InProcessDevice {
 public:
  InProcessDevice(AddressBook book, NoteStore notes, DeviceOptions options = {});
  ~InProcessDevice();  // closes the emulator end and joins
  InProcessDevice(const InProcessDevice&) = delete;
  InProcessDevice& operator=(const InProcessDevice&) = delete;

  std::string endpoint() const;  // "fd:N"
  int peerFd() const;            // N of endpoint()
  Transcript wait();             // joins the thread and returns what it saw

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace devicesim

#endif  // DEVICESIM_INPROCESSDEVICE_H_
