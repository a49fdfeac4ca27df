// The relay between the library and the emulator: two socketpairs and a poll loop.
#include "ExportRecorder.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "veldrake/IOSContact.h"
#include "veldrake/IOSNote.h"

namespace hardening {
namespace {

// Copies both ways until both directions have ended, keeping what the device sent.
void Relay(int hostSide, int deviceSide, std::string& fromDevice) {
  bool hostOpen = true, deviceOpen = true;
  char buffer[64 * 1024];
  while (hostOpen || deviceOpen) {
    pollfd fds[2] = {{hostSide, static_cast<short>(hostOpen ? POLLIN : 0), 0},
                     {deviceSide, static_cast<short>(deviceOpen ? POLLIN : 0), 0}};
    if (poll(fds, 2, -1) < 0) break;
    if (hostOpen && fds[0].revents != 0) {
      const ssize_t n = recv(hostSide, buffer, sizeof buffer, 0);
      if (n <= 0) {
        hostOpen = false;
        shutdown(deviceSide, SHUT_WR);
      } else {
        send(deviceSide, buffer, static_cast<size_t>(n), MSG_NOSIGNAL);
      }
    }
    if (deviceOpen && fds[1].revents != 0) {
      const ssize_t n = recv(deviceSide, buffer, sizeof buffer, 0);
      if (n <= 0) {
        deviceOpen = false;
        shutdown(hostSide, SHUT_WR);
      } else {
        fromDevice.append(buffer, static_cast<size_t>(n));
        send(hostSide, buffer, static_cast<size_t>(n), MSG_NOSIGNAL);
      }
    }
  }
}

void SplitFrames(RecordedExport& r) {
  size_t at = 0;
  const std::string& s = r.deviceSide;
  while (s.size() - at >= 4) {
    const size_t n = (size_t{static_cast<unsigned char>(s[at])} << 24) |
                     (size_t{static_cast<unsigned char>(s[at + 1])} << 16) |
                     (size_t{static_cast<unsigned char>(s[at + 2])} << 8) |
                     size_t{static_cast<unsigned char>(s[at + 3])};
    if (s.size() - at - 4 < n) break;
    r.payloads.push_back(s.substr(at + 4, n));
    at += 4 + n;
    r.frameEnds.push_back(at);
  }
}

}  // namespace

RecordedExport RecordExport(bool contacts, const devicesim::AddressBook& book,
                            const devicesim::NoteStore& notes,
                            const devicesim::DeviceOptions& options, void* callback) {
  RecordedExport r;
  int host[2], device[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, host) != 0) return r;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, device) != 0) {
    close(host[0]);
    close(host[1]);
    return r;
  }
  std::thread emulator(
      [&] { r.transcript = devicesim::ServeConnection(device[1], book, notes, options); });
  std::thread relay([&] { Relay(host[1], device[0], r.deviceSide); });
  if (contacts) {
    IOSContact conversation;
    r.result = conversation.GetContact(host[0], callback);
  } else {
    IOSNote conversation;
    r.result = conversation.GetNote(host[0], callback);
  }
  close(host[0]);
  relay.join();
  emulator.join();
  close(host[1]);
  close(device[0]);
  SplitFrames(r);
  return r;
}

}  // namespace hardening
