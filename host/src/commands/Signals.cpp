// The signal-watching thread and the list of temporary paths it removes on the way out.
#include "Signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

namespace host {
namespace {

using Hook = void (*)();

std::atomic<bool> g_cancel{false};
std::atomic<int> g_cancellable{0};
std::atomic<Hook> g_cancelHook{nullptr};
std::atomic<Hook> g_removeHook{nullptr};

// The terminal settings to put back; guarded by TerminalLock.
struct SavedTerminal {
  bool set = false;
  int fd = -1;
  termios settings{};
};

std::mutex& TerminalLock() {
  static std::mutex lock;
  return lock;
}

SavedTerminal& Terminal() {
  static SavedTerminal saved;
  return saved;
}

std::mutex& TemporariesLock() {
  static std::mutex lock;
  return lock;
}

std::vector<std::string>& Temporaries() {
  static std::vector<std::string> paths;
  return paths;
}

sigset_t Watched() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) sigaddset(&set, signal);
  return set;
}

// Never returns: the lock stays held so that no path is added on the way out.
[[noreturn]] void EndAtOnce(int signal) {
  {
    std::lock_guard<std::mutex> hold(TerminalLock());
    const SavedTerminal& saved = Terminal();
    if (saved.set) ::tcsetattr(saved.fd, TCSAFLUSH, &saved.settings);
  }
  const Hook remove = g_removeHook.load();
  if (remove != nullptr) remove();
  TemporariesLock().lock();
  std::vector<std::string>& paths = Temporaries();
  for (auto path = paths.rbegin(); path != paths.rend(); ++path)
    if (::unlink(path->c_str()) != 0) ::rmdir(path->c_str());
  static const char kLine[] = "\nveldrake: stopped at once; nothing was written\n";
  ssize_t ignored = ::write(STDERR_FILENO, kLine, sizeof kLine - 1);
  (void)ignored;
  ::_exit(128 + signal);
}

void WaitForSignals() {
  const sigset_t set = Watched();
  for (;;) {
    int signal = 0;
    if (sigwait(&set, &signal) != 0) continue;
    if (signal == SIGINT && g_cancellable.load() > 0 && !g_cancel.exchange(true)) {
      const Hook cancel = g_cancelHook.load();
      if (cancel != nullptr) cancel();
      continue;
    }
    EndAtOnce(signal);
  }
}

}  // namespace

void WatchSignals() {
  const sigset_t set = Watched();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::thread(WaitForSignals).detach();
}

bool CancelRequested() {
  return g_cancel.load();
}

Cancellable::Cancellable() {
  ++g_cancellable;
}

Cancellable::~Cancellable() {
  --g_cancellable;
}

void SetSignalHooks(void (*cancel)(), void (*removeTemporaries)()) {
  g_cancelHook = cancel;
  g_removeHook = removeTemporaries;
}

void RestoreTerminalOnSignal(int fd, const termios& saved) {
  std::lock_guard<std::mutex> hold(TerminalLock());
  Terminal() = SavedTerminal{true, fd, saved};
}

void ForgetTerminal() {
  std::lock_guard<std::mutex> hold(TerminalLock());
  Terminal() = SavedTerminal{};
}

void RegisterTemporary(const std::string& path) {
  std::lock_guard<std::mutex> hold(TemporariesLock());
  Temporaries().push_back(path);
}

void UnregisterTemporary(const std::string& path) {
  std::lock_guard<std::mutex> hold(TemporariesLock());
  std::vector<std::string>& paths = Temporaries();
  const auto found = std::find(paths.rbegin(), paths.rend(), path);
  if (found != paths.rend()) paths.erase(std::next(found).base());
}

}  // namespace host
