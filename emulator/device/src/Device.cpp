// The device side of the sync conversation: frames in, labels, replies and faults out.
#include <errno.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "Catalogue.h"
#include "Serve.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"

namespace devicesim {
namespace {

const char kContacts[] = "com.apple.Contacts";
const char kNotes[] = "com.apple.Notes";
// What the transcript keeps of one payload; the rest of a larger frame is read and dropped.
const size_t kKeptPayload = 1 << 20;

// The protocol version the device answers with, and the anchor number of its sync reply.
const int64_t kDeviceVersion = 300;
const int64_t kSyncAnchorNumber = 106;

Value Ascii(const std::string& text) {
  return Value::Ascii(text);
}

class Connection {
 public:
  Connection(int fd, const DeviceOptions& options) : fd_(fd), options_(options) {
    if (options_.closeAfterBytes == 0) hangUp();
  }

  bool open() const { return open_; }
  uint64_t bytesSent() const { return sent_; }

  void hangUp() {
    if (!open_) return;
    open_ = false;
    ::shutdown(fd_, SHUT_RDWR);
  }

  // Sends a frame (or the first part of one): the length field in one piece, since a
  // reader may take a short length read as a failure, and then the payload, one byte per
  // send() when `split`.
  bool sendFrame(const std::string& bytes, bool split, int pauseMillis) {
    if (!split || bytes.size() <= 4) return send(bytes, false, 0);
    return send(bytes.substr(0, 4), false, 0) && send(bytes.substr(4), true, pauseMillis);
  }

  // Reads one frame. False when the peer closed or failed, before or inside the frame.
  bool readFrame(std::string& payload) {
    unsigned char head[4];
    if (!readExactly(reinterpret_cast<char*>(head), 4, nullptr)) return false;
    uint64_t length = (uint64_t{head[0]} << 24) | (uint64_t{head[1]} << 16) |
                      (uint64_t{head[2]} << 8) | uint64_t{head[3]};
    payload.clear();
    payload.reserve(static_cast<size_t>(std::min<uint64_t>(length, 64 * 1024)));
    char chunk[16 * 1024];
    while (length > 0) {
      size_t want = static_cast<size_t>(std::min<uint64_t>(length, sizeof chunk));
      if (!readExactly(chunk, want, nullptr)) return false;
      if (payload.size() < kKeptPayload)
        payload.append(chunk, std::min(want, kKeptPayload - payload.size()));
      length -= want;
    }
    return true;
  }

  // Sends bytes, one send() per byte when `split`, within the budget of closeAfterBytes.
  bool send(const std::string& bytes, bool split, int pauseMillis) {
    size_t done = 0;
    while (open_ && done < bytes.size()) {
      size_t want = split ? 1 : bytes.size() - done;
      if (options_.closeAfterBytes >= 0) {
        uint64_t budget = static_cast<uint64_t>(options_.closeAfterBytes) - sent_;
        want = static_cast<size_t>(std::min<uint64_t>(want, budget));
      }
      ssize_t n = ::send(fd_, bytes.data() + done, want, MSG_NOSIGNAL);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        hangUp();
        return false;
      }
      done += static_cast<size_t>(n);
      sent_ += static_cast<uint64_t>(n);
      if (options_.closeAfterBytes >= 0 && sent_ >= static_cast<uint64_t>(options_.closeAfterBytes))
        hangUp();
      if (split && pauseMillis > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMillis));
      } else if (split) {
        sched_yield();
      }
    }
    return done == bytes.size();
  }

 private:
  bool readExactly(char* out, size_t n, size_t* got) {
    size_t have = 0;
    while (have < n) {
      if (!open_) return false;
      ssize_t r = ::recv(fd_, out + have, n - have, 0);
      if (r < 0 && errno == EINTR) continue;
      if (r <= 0) return false;
      have += static_cast<size_t>(r);
    }
    if (got) *got = have;
    return true;
  }

  int fd_;
  const DeviceOptions& options_;
  bool open_ = true;
  uint64_t sent_ = 0;
};

std::string Frame(const std::string& payload) {
  const uint32_t n = static_cast<uint32_t>(payload.size());
  std::string frame;
  frame.reserve(payload.size() + 4);
  frame.push_back(static_cast<char>(n >> 24));
  frame.push_back(static_cast<char>(n >> 16));
  frame.push_back(static_cast<char>(n >> 8));
  frame.push_back(static_cast<char>(n));
  frame += payload;
  return frame;
}

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

}  // namespace

std::string LabelOf(const std::string& payload) {
  for (int i = 1; i <= 11; ++i)
    if (payload == CatalogueText(i)) return "M" + std::to_string(i);
  return "?";
}

std::string VersionReply() {
  return WriteBinaryPlist(Value::Array(
      {Ascii("DLMessageVersionExchange"), Ascii("DLVersionsOk"), Value::Integer(kDeviceVersion)}));
}

std::string SyncReply(const std::string& dataClass) {
  return WriteBinaryPlist(
      Value::Array({Ascii("SDMessageSyncDataClassWithComputer"), Ascii(dataClass), Ascii("---"),
                    Ascii("Device-Anchor"), Value::Integer(kSyncAnchorNumber),
                    Ascii("___EmptyParameterString___")}));
}

std::string BatchReply(const std::string& dataClass, const Value& batch, bool more) {
  return WriteBinaryPlist(
      Value::Array({Ascii("SDMessageProcessChanges"), Ascii(dataClass), batch, Value::Bool(more)}));
}

std::string EndReply(const std::string& dataClass) {
  return BatchReply(dataClass, Value::Dict({}), false);
}

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

    bool closeNow = false, garbage = false, split = false;
    int emptyFrames = 0, cutAt = -1, splitPause = 0;
    for (const Fault& fault : options.faults) {
      if (fault.label != label || fault.occurrence != occurrence) continue;
      switch (fault.kind) {
        case Fault::EmptyFrame:
          emptyFrames += std::max(1, fault.value);
          break;
        case Fault::CloseBeforeLength:
          closeNow = true;
          break;
        case Fault::CloseInPayload:
          cutAt = std::max(0, fault.value);
          break;
        case Fault::Garbage:
          garbage = true;
          break;
        case Fault::PauseMillis:
          std::this_thread::sleep_for(std::chrono::milliseconds(std::max(0, fault.value)));
          break;
        case Fault::SplitBytes:
          split = true;
          splitPause = std::max(0, fault.value);
          break;
      }
    }
    if (closeNow) {
      connection.hangUp();
      break;
    }
    for (int i = 0; i < emptyFrames; ++i)
      connection.sendFrame(std::string(4, '\0'), split, splitPause);

    std::optional<std::string> reply;
    if (options.scriptedReply) reply = options.scriptedReply(label, occurrence);
    if (!reply && garbage) reply = std::string("this is no property list\n");
    if (!reply) reply = NormalReply(label, book, notes, batch, cursor);

    if (reply) {
      std::string frame = Frame(*reply);
      if (cutAt >= 0) {
        // The length field and part of the payload, never the whole of it.
        size_t keep = reply->empty() ? 0 : std::min<size_t>(cutAt, reply->size() - 1);
        connection.sendFrame(frame.substr(0, 4 + keep), split, splitPause);
        connection.hangUp();
        break;
      }
      connection.sendFrame(frame, split, splitPause);
    }
    if (label == "M11") break;
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
