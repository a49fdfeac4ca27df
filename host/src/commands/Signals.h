// Signals: Ctrl-C, SIGTERM and SIGHUP, watched by one thread with sigwait, so that nothing
// but a flag is ever touched from a signal's context.
//
// While an export runs (Cancellable), the first Ctrl-C asks it to stop: the flag is set
// and the export's monitor shuts the session's socket down. Any other signal, a second
// Ctrl-C, or a Ctrl-C outside an export, removes every temporary path registered here and
// ends the program at once with 128 + the signal's number.
//
// Thread contract: BlockSignals before any thread starts; the rest from any thread.
#ifndef VELDRAKE_HOST_SIGNALS_H_
#define VELDRAKE_HOST_SIGNALS_H_

#include <string>

namespace host {

// Blocks the watched signals in the calling thread (and so in every thread it starts) and
// starts the thread that waits for them.
void WatchSignals();

// Whether the first Ctrl-C of an export came.
bool CancelRequested();

// Marks the span of an export: Ctrl-C cancels it rather than ending the program.
class Cancellable {
 public:
  Cancellable();
  ~Cancellable();
  Cancellable(const Cancellable&) = delete;
  Cancellable& operator=(const Cancellable&) = delete;
};

// Paths removed when a signal ends the program: files are unlinked, folders removed when
// empty, the last registered first.
void RegisterTemporary(const std::string& path);
void UnregisterTemporary(const std::string& path);

}  // namespace host

#endif  // VELDRAKE_HOST_SIGNALS_H_
