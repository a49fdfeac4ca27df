// The signal-watching thread and the list of temporary paths it removes on the way out.
#include "Signals.h"

#include <fcntl.h>
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

#include "FileTree.h"

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
struct TemporaryPath {
  std::string path;
  bool tree = false;  // removed with everything below it
};
struct TemporaryPaths {
  std::list<TemporaryPath> order;
  std::unordered_multimap<std::string, std::list<TemporaryPath>::iterator> where;
};

// The exporting thread may still be adding to the tree while it goes; once the tree's own
// folder is gone nothing more can be made in it, so a few passes leave nothing.
constexpr int kTreePasses = 100;

void RemoveOnExit(const TemporaryPath& temporary) {
  const char* path = temporary.path.c_str();
  if (!temporary.tree) {
    if (::unlink(path) != 0) ::rmdir(path);
    return;
  }
  for (int pass = 0; pass < kTreePasses && !RemoveTree(AT_FDCWD, temporary.path); ++pass) {
  }
}

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
  const std::list<TemporaryPath>& paths = Temporaries().order;
  for (auto path = paths.rbegin(); path != paths.rend(); ++path) RemoveOnExit(*path);
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

namespace {

void Register(const std::string& path, bool tree) {
  std::lock_guard<std::mutex> hold(TemporariesLock());
  TemporaryPaths& paths = Temporaries();
  paths.order.push_back({path, tree});
  paths.where.emplace(path, std::prev(paths.order.end()));
}

}  // namespace

void RegisterTemporary(const std::string& path) {
  Register(path, false);
}

void RegisterTemporaryTree(const std::string& path) {
  Register(path, true);
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
