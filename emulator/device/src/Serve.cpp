// The device's side of one connection: frames in, labels, replies and faults out.
#include "Serve.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "Connection.h"
#include "devicesim/Records.h"

namespace devicesim {
namespace {

const char kContacts[] = "com.apple.Contacts";
const char kNotes[] = "com.apple.Notes";
const char kNoPropertyList[] = "this is no property list\n";

// Where each data class stands in its records; a replaced reply does not move it, so
// the records it would have carried come with the next request.
struct Cursor {
  size_t contacts = 0;
  size_t notes = 0;
};

std::optional<std::string> NormalReply(const std::string& label, const AddressBook& book,
                                       const NoteStore& store, size_t batch, Cursor& cursor) {
  if (label == "M1" || label == "M2") return VersionReply();
  if (label == "M3" || label == "M4") return SyncReply(kContacts);
  if (label == "M5") return SyncReply(kNotes);
  if (label == "M6") {
    if (cursor.contacts >= book.people.size()) return EndReply(kContacts);
    size_t end = std::min(book.people.size(), cursor.contacts + batch);
    Value records = ContactBatch(book, cursor.contacts, end);
    cursor.contacts = end;
    return BatchReply(kContacts, records, end < book.people.size());
  }
  if (label == "M7") return BatchReply(kNotes, Value::Dict({}), !store.notes.empty());
  if (label == "M8") {
    if (cursor.notes >= store.notes.size()) return EndReply(kNotes);
    size_t end = std::min(store.notes.size(), cursor.notes + batch);
    Value records = NoteBatch(store, cursor.notes, end);
    cursor.notes = end;
    return BatchReply(kNotes, records, end < store.notes.size());
  }
  return std::nullopt;  // M9, M10, M11 and anything unknown get no answer
}

// The faults scripted for one message, gathered; pauses are taken while gathering, in
// the order they were scripted.
struct Misbehaviour {
  bool closeNow = false, garbage = false, split = false;
  int emptyFrames = 0, cutAt = -1, splitPause = 0;
};

Misbehaviour FaultsFor(const std::vector<Fault>& faults, const std::string& label, int occurrence) {
  Misbehaviour m;
  for (const Fault& fault : faults) {
    if (fault.label != label || fault.occurrence != occurrence) continue;
    switch (fault.kind) {
      case Fault::EmptyFrame:
        m.emptyFrames += std::max(1, fault.value);
        break;
      case Fault::CloseBeforeLength:
        m.closeNow = true;
        break;
      case Fault::CloseInPayload:
        m.cutAt = std::max(0, fault.value);
        break;
      case Fault::Garbage:
        m.garbage = true;
        break;
      case Fault::PauseMillis:
        std::this_thread::sleep_for(std::chrono::milliseconds(std::max(0, fault.value)));
        break;
      case Fault::SplitBytes:
        m.split = true;
        m.splitPause = std::max(0, fault.value);
        break;
    }
  }
  return m;
}

void SendEmptyFrames(Connection& connection, const Misbehaviour& m) {
  for (int i = 0; i < m.emptyFrames; ++i)
    connection.sendFrame(Frame(std::string()), m.split, m.splitPause);
}

// Sends the reply as the faults say; false when the connection is to end after it.
bool SendReply(Connection& connection, const std::optional<std::string>& reply,
               const Misbehaviour& m) {
  if (!reply) return true;
  const std::string frame = Frame(*reply);
  if (m.cutAt < 0) {
    connection.sendFrame(frame, m.split, m.splitPause);
    return true;
  }
  // The length field and part of the payload, never the whole of it.
  const size_t keep =
      reply->empty() ? 0 : std::min(static_cast<size_t>(m.cutAt), reply->size() - 1);
  connection.sendFrame(frame.substr(0, kLengthField + keep), m.split, m.splitPause);
  connection.hangUp();
  return false;
}

}  // namespace

Transcript ServeLoop(int fd, const AddressBook& book, const NoteStore& notes,
                     const DeviceOptions& options, bool closeAtEnd) {
  Transcript transcript;
  Connection connection(fd, options);
  const size_t batch = std::max<size_t>(1, options.batchSize);
  std::map<std::string, int> seen;
  Cursor cursor;
  std::string payload;
  while (connection.open() && connection.readFrame(payload)) {
    const std::string label = LabelOf(payload);
    const int occurrence = seen[label]++;
    transcript.received.push_back(label);
    transcript.raw.push_back(payload);

    const Misbehaviour m = FaultsFor(options.faults, label, occurrence);
    if (m.closeNow) {
      connection.hangUp();
      break;
    }
    SendEmptyFrames(connection, m);
    std::optional<std::string> reply;
    if (options.scriptedReply) reply = options.scriptedReply(label, occurrence);
    if (!reply && m.garbage) reply = std::string(kNoPropertyList);
    if (!reply) reply = NormalReply(label, book, notes, batch, cursor);
    if (!SendReply(connection, reply, m) || label == "M11") break;
  }
  transcript.bytesSent = connection.bytesSent();
  connection.hangUp();
  if (closeAtEnd) ::close(fd);
  return transcript;
}

Transcript ServeConnection(int fd, const AddressBook& book, const NoteStore& notes,
                           const DeviceOptions& options) {
  return ServeLoop(fd, book, notes, options, true);
}

}  // namespace devicesim
