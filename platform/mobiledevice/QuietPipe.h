// A guard for work that may write to a peer that went away: inside it such a write fails
// with EPIPE in this thread instead of raising SIGPIPE, whose default action would end
// the host. Used around every libimobiledevice call (its TLS writes cannot pass
// MSG_NOSIGNAL) and by the relay threads.
#ifndef VELDRAKE_MOBILEDEVICE_QUIETPIPE_H_
#define VELDRAKE_MOBILEDEVICE_QUIETPIPE_H_

#include <signal.h>

namespace mdsim {

// While it lives SIGPIPE is blocked in this thread; a SIGPIPE raised meanwhile is taken off
// the pending set when it ends, one that was pending before (the host's own) is left alone.
class QuietPipe {
 public:
  QuietPipe();
  QuietPipe(const QuietPipe&) = delete;
  QuietPipe& operator=(const QuietPipe&) = delete;
  ~QuietPipe();

 private:
  sigset_t saved_;
  bool was_pending_;
};

}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_QUIETPIPE_H_
