// The signal-watching thread and the list of temporary paths it removes on the way out.
#include "Signals.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <list>
#include <mutex>
#include <thread>
#include <unordered_map>
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

// The registered paths in the order they came, and where each stands, so that an export
// of many thousands of files unregisters each in constant time.
struct TemporaryPaths {
  std::list<std::string> order;
  std::unordered_multimap<std::string, std::list<std::string>::iterator> where;
};

TemporaryPaths& Temporaries() {
  static TemporaryPaths paths;
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
  const std::list<std::string>& paths = Temporaries().order;
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
  TemporaryPaths& paths = Temporaries();
  paths.order.push_back(path);
  paths.where.emplace(path, std::prev(paths.order.end()));
}

void UnregisterTemporary(const std::string& path) {
  std::lock_guard<std::mutex> hold(TemporariesLock());
  TemporaryPaths& paths = Temporaries();
  const auto found = paths.where.find(path);
  if (found == paths.where.end()) return;
  paths.order.erase(found->second);
  paths.where.erase(found);
}

}  // namespace host
