// Conversation: the device's side of the sync conversation, one connection at a time.
//
// ServeConnection reads the library's frames (4-byte big-endian length, payload), names
// each message by comparing its whole payload with the known message texts, and answers:
// version and sync replies, contact batches per "get all records", note batches per
// acknowledgement, and an end reply without records. Scriptable faults misbehave on
// purpose. Bytes from the peer are never trusted: garbage is named "?" and answered, a
// huge length field is read and discarded as it comes, and a closed peer ends the serve.
//
// Ownership: ServeConnection owns and closes the descriptor it is given.
// Thread contract: ServeConnection keeps no shared state, so several may run at once.
#ifndef DEVICESIM_CONVERSATION_H_
#define DEVICESIM_CONVERSATION_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "devicesim/AddressBook.h"
#include "devicesim/Fault.h"
#include "devicesim/NoteStore.h"
#include "devicesim/Value.h"

namespace devicesim {

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

}  // namespace devicesim

#endif  // DEVICESIM_CONVERSATION_H_
