// The private temporary folder and its removal on signals.
#include "PrivateFolder.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "Assert.h"

namespace veldrake::backup {

const char* const PrivateFolder::kFileNames[] = {
    "store.sqlite",  "store.sqlite-wal",  "store.sqlite-shm",  "store.sqlite-journal",
    "store2.sqlite", "store2.sqlite-wal", "store2.sqlite-shm", "store2.sqlite-journal",
    "store3.sqlite", "store3.sqlite-wal", "store3.sqlite-shm", "store3.sqlite-journal",
    "Manifest.db",   "Manifest.db-wal",   "Manifest.db-shm",   "Manifest.db-journal",
    nullptr};

namespace {

constexpr int kSlots = 16;
constexpr size_t kPathBytes = 4096;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The folders alive now: a slot is taken by a compare-and-swap on `used`, its path written,
// then `ready` set; the handler reads only ready slots.
struct Slot {
  std::atomic<bool> used{false};
  std::atomic<bool> ready{false};
  char path[kPathBytes];
};
Slot gSlots[kSlots];
std::atomic<bool> gHandlersSet{false};

void RemoveFolder(const char* folder) {
  char file[kPathBytes + 64];
  for (const char* const* name = PrivateFolder::kFileNames; *name != nullptr; ++name) {
    const size_t length = std::strlen(folder);
    std::memcpy(file, folder, length);
    file[length] = '/';
    std::memcpy(file + length + 1, *name, std::strlen(*name) + 1);
    unlink(file);
  }
  rmdir(folder);
}

void OnSignal(int signal) {
  for (Slot& slot : gSlots)
    if (slot.ready.load()) RemoveFolder(slot.path);
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  raise(signal);
}

// Only where the host has not chosen what the signal does.
void SetHandlersOnce() {
  if (gHandlersSet.exchange(true)) return;
  for (int signal : kSignals) {
    struct sigaction old {};
    if (sigaction(signal, nullptr, &old) != 0 || old.sa_handler != SIG_DFL) continue;
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

int TakeSlot(const std::string& path) {
  if (path.size() >= kPathBytes) return -1;
  for (int i = 0; i < kSlots; ++i) {
    bool expected = false;
    if (!gSlots[i].used.compare_exchange_strong(expected, true)) continue;
    std::memcpy(gSlots[i].path, path.c_str(), path.size() + 1);
    gSlots[i].ready.store(true);
    return i;
  }
  return -1;  // more exports at once than slots: those go without the signal cleanup
}

}  // namespace

bool PrivateFolder::Create() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = (base != nullptr && *base != '\0') ? base : "/tmp";
  pattern += "/veldrake-backup-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) return false;  // mkdtemp makes it 0700
  path_ = pattern;
  SetHandlersOnce();
  slot_ = TakeSlot(path_);
  return true;
}

std::string PrivateFolder::PathOf(const char* name) const {
  VELDRAKE_ASSERT(!path_.empty());
  return path_ + "/" + name;
}

PrivateFolder::~PrivateFolder() {
  if (path_.empty()) return;
  if (slot_ >= 0) gSlots[slot_].ready.store(false);
  RemoveFolder(path_.c_str());
  if (slot_ >= 0) gSlots[slot_].used.store(false);
}

}  // namespace veldrake::backup
