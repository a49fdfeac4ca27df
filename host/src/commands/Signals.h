// Signals: Ctrl-C, SIGTERM, SIGHUP, SIGQUIT and SIGPIPE, watched by one thread with
// sigwait, so that nothing but a flag is ever touched from a signal's context.
//
// While an export runs (Cancellable), the first Ctrl-C asks it to stop: the flag is set,
// the cancel hook runs (the backup library's VeldrakeBackupCancel) and the export's
// monitor shuts the session's socket down. Any other signal, a second Ctrl-C, or a Ctrl-C
// outside an export ends the program at once with 128 + the signal's number, after it
// puts back the terminal's settings a prompt changed, runs the removal hook (the backup
// library's VeldrakeBackupRemoveTemporaries, so that no decrypted file stays) and removes
// every temporary path registered here. A SIGPIPE the system raises on a write to a closed
// pipe stays with the writing thread (the write fails with EPIPE and the export ends on
// its error path); one sent by another process ends the program like SIGTERM.
//
// Thread contract: WatchSignals before any thread starts; the rest from any thread.
#ifndef VELDRAKE_HOST_SIGNALS_H_
#define VELDRAKE_HOST_SIGNALS_H_

#include <termios.h>

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

// What a loaded library asks to be called: `cancel` on the first Ctrl-C of an export,
// `removeTemporaries` before the program ends on a signal. Either may be null.
void SetSignalHooks(void (*cancel)(), void (*removeTemporaries)());

// Puts `saved` back on terminal `fd` if a signal ends the program before
// ForgetTerminal is called (a prompt with its echo off).
void RestoreTerminalOnSignal(int fd, const termios& saved);
void ForgetTerminal();

// Paths removed when a signal ends the program: files are unlinked, folders removed when
// empty, the last registered first.
void RegisterTemporary(const std::string& path);
// A folder removed with everything below it (links removed, never followed).
void RegisterTemporaryTree(const std::string& path);
void UnregisterTemporary(const std::string& path);

}  // namespace host

#endif  // VELDRAKE_HOST_SIGNALS_H_
