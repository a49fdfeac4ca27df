// Plays the device's side of a contact or a note export from arbitrary bytes and runs the
// library's conversation against it over a socketpair. Every record the host receives is
// read in full, so AddressSanitizer sees any text that is not a live, terminated array.
//
// Input:
//   byte 0   bit 0: 1 contacts, 0 notes; bit 1: through GetData and an fd: stand-in
//            device rather than the conversation object; bits 2-6: the host's callback
//            returns -1 on that record (1-based), 0 never stops; bit 7: the process runs
//            under a UTF-8 locale rather than "C" (the library converts wide text through
//            the locale, and a host may have either).
//   then     chunks, each led by one byte whose low two bits choose:
//            0 an honest frame: 2-byte big-endian n, then n payload bytes;
//            1 a frame that may lie: a 4-byte length field as sent, a 2-byte n, n bytes;
//            2 (1 + byte >> 2) empty frames;
//            3 raw bytes: 1-byte n, then n bytes on the stream as they stand.
//   The stream ends where the input ends.
//
// The device's whole side is queued before the conversation starts and the write side is
// then shut down, so the library sees the same byte stream on every run whatever the
// scheduling. A thread only drains what the library sends, so its sends never block.
#include <sys/socket.h>
#include <unistd.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "MobileDevice/mdsim.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "veldrake/IOSContact.h"
#include "veldrake/IOSNote.h"
#include "veldrake/Session.h"

namespace {

// What one queue on a socketpair holds without blocking the writer (SO_SNDBUF is raised
// to well above it); a longer stream is cut here, the same way on every run.
constexpr size_t kMaxStream = 192 * 1024;

int gStopAt = 0;
int gDelivered = 0;
volatile size_t gTouched = 0;

void Touch(const char* text) {
  if (text != nullptr) gTouched += std::strlen(text);
}

int OnContact(void* record) {
  const QX::Contact* c = static_cast<const QX::Contact*>(record);
  for (const char* t : {c->reservedText1, c->firstName, c->firstNameYomi, c->middleName,
                        c->lastName, c->lastNameYomi, c->suffix, c->nickname, c->jobTitle,
                        c->department, c->companyName, c->notes, c->birthday, c->reservedText2,
                        c->reservedText3, c->reservedText4, c->reservedText5})
    Touch(t);
  for (const QX::ContactField* f : c->fields) {
    Touch(f->label);
    Touch(f->value);
  }
  for (const QX::ContactAddressFields* a : c->addresses) {
    Touch(a->type);
    const QX::ContactAddress* p = a->address;
    for (const char* t : {p->street, p->city, p->state, p->postalCode, p->country}) Touch(t);
  }
  return ++gDelivered == gStopAt ? -1 : 0;
}

int OnNote(void* record) {
  const QX::Notes* n = static_cast<const QX::Notes*>(record);
  Touch(n->subject);
  Touch(n->content);
  Touch(n->reservedText);
  return ++gDelivered == gStopAt ? -1 : 0;
}

void PutLength(std::string& out, uint32_t n) {
  out.push_back(static_cast<char>(n >> 24));
  out.push_back(static_cast<char>(n >> 16));
  out.push_back(static_cast<char>(n >> 8));
  out.push_back(static_cast<char>(n));
}

// Turns the chunks into the byte stream the device sends.
std::string DeviceStream(const uint8_t* data, size_t size) {
  std::string out;
  size_t at = 0;
  auto take = [&](size_t n) {
    n = std::min(n, size - at);
    out.append(reinterpret_cast<const char*>(data + at), n);
    at += n;
  };
  auto number = [&](size_t width) {
    uint32_t v = 0;
    for (size_t i = 0; i < width && at < size; ++i) v = (v << 8) | data[at++];
    return v;
  };
  while (at < size && out.size() < kMaxStream) {
    const uint8_t kind = data[at++];
    switch (kind & 3) {
      case 0: {
        const size_t n = std::min<size_t>(number(2), size - at);
        PutLength(out, static_cast<uint32_t>(n));
        take(n);
        break;
      }
      case 1: {
        PutLength(out, number(4));
        take(number(2));
        break;
      }
      case 2:
        for (int i = 0; i <= kind >> 2; ++i) PutLength(out, 0);
        break;
      default:
        take(number(1));
        break;
    }
  }
  if (out.size() > kMaxStream) out.resize(kMaxStream);
  return out;
}

// Queues `stream` on `fd` without blocking; whatever does not fit is left off.
void Queue(int fd, const std::string& stream) {
  size_t done = 0;
  while (done < stream.size()) {
    const ssize_t n =
        send(fd, stream.data() + done, stream.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
}

void Drain(int fd) {
  char sink[16 * 1024];
  while (recv(fd, sink, sizeof sink, 0) > 0) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool contacts = (data[0] & 1) != 0;
  const bool throughGetData = (data[0] & 2) != 0;
  gStopAt = (data[0] >> 2) & 31;
  std::setlocale(LC_ALL, (data[0] & 0x80) != 0 ? "C.UTF-8" : "C");
  gDelivered = 0;
  const std::string stream = DeviceStream(data + 1, size - 1);

  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return 0;
  const int host = fds[0], device = fds[1];
  int big = 1 << 20;
  setsockopt(device, SOL_SOCKET, SO_SNDBUF, &big, sizeof big);
  Queue(device, stream);
  shutdown(device, SHUT_WR);
  std::thread drainer(Drain, device);

  void* callback =
      contacts ? reinterpret_cast<void*>(&OnContact) : reinterpret_cast<void*>(&OnNote);
  if (throughGetData) {
    void* handle = mdsim_device_new(("fd:" + std::to_string(host)).c_str());
    // A failed conversation closes the session itself; after any other result the host
    // does. Either way the service connection, and with it the socket, is gone after.
    if (GetData(contacts ? 1 : 0, nullptr, handle, callback) == 0) DisContectDeviceAndProtocol();
    mdsim_device_free(handle);
  } else {
    if (contacts) {
      IOSContact conversation;
      conversation.GetContact(host, callback);
    } else {
      IOSNote conversation;
      conversation.GetNote(host, callback);
    }
    close(host);
  }
  drainer.join();
  close(device);
  return 0;
}
