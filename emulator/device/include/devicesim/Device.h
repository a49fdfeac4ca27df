// Device: the device's side of the sync conversation, for tests, benchmarks and the
// command-line host.
//
// ServeConnection reads the library's frames (4-byte big-endian length, payload), names
// each message by comparing its whole payload with the known message texts, and answers:
// version and sync replies, contact batches per "get all records", note batches per
// acknowledgement, and an end reply without records. Scriptable faults misbehave on
// purpose. Bytes from the peer are never trusted: garbage is named "?" and answered, a
// huge length field is read and discarded as it comes, and a closed peer ends the serve.
//
// Ownership: ServeConnection owns and closes the descriptor it is given. InProcessDevice
// and Listener own their threads and their ends of the connections.
// Thread contract: ServeConnection keeps no shared state, so several may run at once; the
// classes are driven from one thread.
#ifndef DEVICESIM_DEVICE_H_
#define DEVICESIM_DEVICE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/Value.h"

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

struct DeviceOptions {
  size_t batchSize = 100;  // records per batch (0 counts as 1)
  // Called before each reply with the label of the message being answered ("M1".."M11",
  // "?" for unknown) and how many times that label has come before (0-based). Return a
  // payload to send instead of the normal reply, or std::nullopt for the normal reply.
  // A scripted reply is sent even for messages that normally get none (M9, M10, M11, "?").
  std::function<std::optional<std::string>(const std::string& label, int occurrence)> scriptedReply;
  // Close the connection after this many bytes of the device's side have been sent in
  // total (-1: never) — the "cable pulled at byte N" test.
  int64_t closeAfterBytes = -1;
  std::vector<Fault> faults;
};

struct Transcript {
  std::vector<std::string> received;  // labels of the messages received, in order
  std::vector<std::string> raw;       // their payloads
  uint64_t bytesSent = 0;             // device-side bytes written
};

// The label of a message payload: "M1".."M11", or "?" for anything else.
std::string LabelOf(const std::string& payload);

// The normal reply payloads (binary property lists).
std::string VersionReply();
std::string SyncReply(const std::string& dataClass);
std::string BatchReply(const std::string& dataClass, const Value& batch, bool more);
std::string EndReply(const std::string& dataClass);

// Serves one connection on `fd` (reads frames, answers) until the peer closes or M11 has
// been received; closes fd at the end. Thread-safe to run several at once.
Transcript ServeConnection(int fd, const AddressBook& book, const NoteStore& notes,
                           const DeviceOptions& options);

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

// A listener (unix:PATH or tcp:127.0.0.1:PORT; port 0 picks a free one) serving
// connections one after another on a thread, for several GetData calls in a row (the
// command-line host's built-in device).
class Listener {
 public:
  Listener(const std::string& endpoint, AddressBook book, NoteStore notes,
           DeviceOptions options = {});
  ~Listener();  // stops and joins; removes the socket file of a unix: endpoint
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

#endif  // DEVICESIM_DEVICE_H_
