#include "QuietPipe.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace mdsim {

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

}  // namespace

QuietPipe::QuietPipe() {
  const sigset_t pipe_only = PipeOnly();
  was_pending_ = PipePending();
  pthread_sigmask(SIG_BLOCK, &pipe_only, &saved_);
}

QuietPipe::~QuietPipe() {
  const sigset_t pipe_only = PipeOnly();
  if (!was_pending_ && PipePending()) {
    const struct timespec no_wait = {0, 0};
    while (sigtimedwait(&pipe_only, nullptr, &no_wait) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &saved_, nullptr);
}

}  // namespace mdsim
