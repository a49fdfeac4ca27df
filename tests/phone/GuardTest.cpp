// The platform's and the library's guards, each made to act: a host's own pending SIGPIPE
// survives both quiet-pipe guards, and a relay thread that cannot be made is a failure
// code, not an exception through the C interface. Its own program, since it replaces
// pthread_create for the whole process.
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "CoreFoundation/CoreFoundation.h"
#include "Frame.h"
#include "MobileDevice/MobileDevice.h"
#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"

namespace {

std::atomic<bool> gRefuseThreads{false};

}  // namespace

// Every thread of this program is made here; while gRefuseThreads is set none can be, as
// when a process has reached its limit.
extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const Create real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (gRefuseThreads) return EAGAIN;
  return real(thread, attributes, start, argument);
}

namespace {

sigset_t PipeOnly() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool PipePending() {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

// Runs `work` with SIGPIPE blocked in this thread, pending beforehand when `pendingBefore`;
// true when one is pending afterwards. Leaves nothing pending and the mask as it was.
bool PendingAfter(bool pendingBefore, const std::function<void()>& work) {
  const sigset_t pipeOnly = PipeOnly();
  sigset_t saved;
  pthread_sigmask(SIG_BLOCK, &pipeOnly, &saved);
  if (pendingBefore) pthread_kill(pthread_self(), SIGPIPE);
  work();
  const bool pending = PipePending();
  const struct timespec noWait = {0, 0};
  while (PipePending() && sigtimedwait(&pipeOnly, nullptr, &noWait) < 0 && errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &saved, nullptr);
  return pending;
}

// A framed send to a peer that has gone: it raises SIGPIPE, which the guard must take.
void SendToAClosedPeer() {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  close(ends[1]);
  EXPECT_EQ(veldrake::SendFrame(ends[0], "hello"), veldrake::kConversationFailed);
  close(ends[0]);
}

// A control call that goes through the platform's guard (no daemon answers it).
void AskAnAbsentDaemon() {
  setenv("USBMUXD_SOCKET_ADDRESS", "UNIX:/nonexistent/veldrake-guard.sock", 1);
  EXPECT_EQ(mdphone_list(nullptr, 0), MDPHONE_ERR_NO_DAEMON);
}

// One row per guard and starting state: the SIGPIPE the work itself raises never stays
// pending, one the host had pending before always does.
TEST(GuardTest, AHostsPendingSigpipeSurvivesEveryGuard) {
  struct Row {
    const char* name;
    std::function<void()> work;
    bool pendingBefore;
    bool pendingAfter;
  } rows[] = {
      {"library send, none pending", SendToAClosedPeer, false, false},
      {"library send, the host's pending", SendToAClosedPeer, true, true},
      {"platform guard, none pending", AskAnAbsentDaemon, false, false},
      {"platform guard, the host's pending", AskAnAbsentDaemon, true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(PendingAfter(row.pendingBefore, row.work), row.pendingAfter);
  }
}

// With no thread to be had, starting the service fails with a code on every endpoint kind
// that needs a relay, and the device stays usable once threads can be made again.
TEST(GuardTest, ARelayThreadThatCannotBeMadeIsAFailedStart) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  void* device = mdsim_device_new(("fd:" + std::to_string(ends[0])).c_str());
  ASSERT_NE(device, nullptr);
  ASSERT_EQ(AMDeviceConnect(device), 0);
  CFStringRef service =
      CFStringCreateWithCString(nullptr, "com.apple.mobilesync", kCFStringEncodingUTF8);
  AMDServiceConnectionRef connection = nullptr;
  gRefuseThreads = true;
  const int started = AMDeviceSecureStartService(device, service, nullptr, &connection);
  gRefuseThreads = false;
  EXPECT_EQ(started, MDSIM_ERR_CONNECTION_FAILED);
  if (started == 0) AFCConnectionClose(connection);
  // The fd: endpoint's one socket went with the failed start; its peer sees the end.
  char byte = 0;
  EXPECT_EQ(recv(ends[1], &byte, 1, 0), 0);
  CFRelease(service);
  mdsim_device_free(device);
  close(ends[1]);
}

}  // namespace
