// Fault: one scripted misbehaviour of the emulated device, for tests of how the library
// copes with a peer that stalls, cuts off or talks nonsense.
#ifndef DEVICESIM_FAULT_H_
#define DEVICESIM_FAULT_H_

#include <string>

namespace devicesim {

// One misbehaviour, applied when answering the `occurrence`-th (0-based) message of
// `label` ("M1".."M11", "?"). The reply itself is the normal or scripted one.
struct Fault {
  enum Kind {
    EmptyFrame,         // send `value` (at least 1) empty frames before the reply
    CloseBeforeLength,  // close the connection instead of replying
    CloseInPayload,     // send the length field and `value` payload bytes, then close
    Garbage,            // reply with a frame that is no property list
    PauseMillis,        // wait `value` milliseconds before replying
    SplitBytes,         // send the reply's payload one byte per send() (`value` ms apart);
                        // the length field goes in one piece
  };
  std::string label;
  int occurrence = 0;
  Kind kind = EmptyFrame;
  int value = 0;
};

}  // namespace devicesim

#endif  // DEVICESIM_FAULT_H_
