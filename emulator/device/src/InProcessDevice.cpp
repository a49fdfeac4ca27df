// A device on a thread of this process, over a socketpair.
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Serve.h"
#include "devicesim/InProcessDevice.h"

namespace devicesim {

struct InProcessDevice::State {
  AddressBook book;
  NoteStore notes;
  DeviceOptions options;
  int deviceFd = -1;
  int peerFd = -1;
  mutable std::atomic<bool> peerHandedOut{false};
  std::thread thread;
  Transcript transcript;
};

InProcessDevice::InProcessDevice(AddressBook book, NoteStore notes, DeviceOptions options)
    : state_(new State) {
  state_->book = std::move(book);
  state_->notes = std::move(notes);
  state_->options = std::move(options);
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return;
  state_->deviceFd = fds[0];
  state_->peerFd = fds[1];
  State* s = state_.get();
  s->thread = std::thread(
      [s] { s->transcript = ServeLoop(s->deviceFd, s->book, s->notes, s->options, false); });
}

InProcessDevice::~InProcessDevice() {
  if (state_->deviceFd >= 0) ::shutdown(state_->deviceFd, SHUT_RDWR);
  if (state_->thread.joinable()) state_->thread.join();
  if (state_->deviceFd >= 0) ::close(state_->deviceFd);
  if (state_->peerFd >= 0 && !state_->peerHandedOut) ::close(state_->peerFd);
}

std::string InProcessDevice::endpoint() const {
  return "fd:" + std::to_string(peerFd());
}

int InProcessDevice::peerFd() const {
  state_->peerHandedOut = true;
  return state_->peerFd;
}

Transcript InProcessDevice::wait() {
  if (state_->thread.joinable()) state_->thread.join();
  return state_->transcript;
}

}  // namespace devicesim
