// The private temporary folder, the registry of those alive, and their removal on signals.
#include "PrivateFolder.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "Assert.h"
#include "FileIo.h"
#include "StaleFolders.h"  // the removal of a folder and its files

namespace veldrake::backup {

const char* const PrivateFolder::kFileNames[] = {
    "store0.sqlite", "store0.sqlite-wal", "store0.sqlite-shm", "store0.sqlite-journal",
    "store1.sqlite", "store1.sqlite-wal", "store1.sqlite-shm", "store1.sqlite-journal",
    "store2.sqlite", "store2.sqlite-wal", "store2.sqlite-shm", "store2.sqlite-journal",
    "store3.sqlite", "store3.sqlite-wal", "store3.sqlite-shm", "store3.sqlite-journal",
    "Manifest.db",   "Manifest.db-wal",   "Manifest.db-shm",   "Manifest.db-journal",
    nullptr};

namespace {

constexpr int kSlots = 16;
constexpr size_t kPathBytes = 4096;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kRemovalPasses = 3;

// The folders alive now. Taking and giving back a slot, and RemoveAllPrivateFolders, hold
// gRegistry; the signal handler cannot lock, so it reads only slots marked ready, whose
// path is written before the mark.
struct Slot {
  bool used = false;
  bool removed = false;  // RemoveAllPrivateFolders emptied it: no new files
  std::atomic<bool> ready{false};
  char path[kPathBytes];
};
Slot gSlots[kSlots];
std::mutex gRegistry;
std::atomic<bool> gHandlersSet{false};

// Async-signal-safe: only the fixed names, with unlink and rmdir.
void RemoveKnownFiles(const char* folder) {
  char file[kPathBytes + 64];
  const size_t length = std::strlen(folder);
  for (const char* const* name = PrivateFolder::kFileNames; *name != nullptr; ++name) {
    std::memcpy(file, folder, length);
    file[length] = '/';
    std::memcpy(file + length + 1, *name, std::strlen(*name) + 1);
    unlink(file);
  }
  rmdir(folder);
}

void OnSignal(int signal) {
  for (Slot& slot : gSlots)
    if (slot.ready.load()) RemoveKnownFiles(slot.path);
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

// A free slot for `path`, or -1 when all are taken or the path is too long for one.
int TakeSlot(const std::string& path) {
  if (path.size() >= kPathBytes) return -1;
  std::lock_guard<std::mutex> lock(gRegistry);
  for (int i = 0; i < kSlots; ++i) {
    if (gSlots[i].used) continue;
    gSlots[i].used = true;
    gSlots[i].removed = false;
    std::memcpy(gSlots[i].path, path.c_str(), path.size() + 1);
    gSlots[i].ready.store(true);
    return i;
  }
  return -1;
}

std::string WhyNotMade(const std::string& base, int error) {
  const std::string named =
      std::getenv("TMPDIR") != nullptr ? "the temporary folder TMPDIR=" + base : base;
  switch (error) {
    case ENOENT:
      return named + " does not exist";
    case ENOTDIR:
      return named + " is not a folder";
    case EACCES:
    case EPERM:
    case EROFS:
      return named + " cannot be written";
    default:
      return "no private folder can be made in " + named + ": " + std::strerror(error);
  }
}

}  // namespace

std::string TemporaryBase() {
  const char* base = std::getenv("TMPDIR");
  return base != nullptr && *base != '\0' ? base : "/tmp";
}

bool PrivateFolder::Create(std::string* why) {
  const std::string base = TemporaryBase();
  std::string pattern = base + "/" + kPrivatePrefix + std::to_string(getpid()) + "-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) {  // mkdtemp makes it 0700
    *why = WhyNotMade(base, errno);
    return false;
  }
  SetHandlersOnce();
  slot_ = TakeSlot(pattern);
  if (slot_ < 0) {  // a folder RemoveAllPrivateFolders could not reach is not made at all
    rmdir(pattern.c_str());
    *why =
        "more exports run at once than can have private folders (" + std::to_string(kSlots) + ")";
    return false;
  }
  path_ = pattern;
  return true;
}

std::string PrivateFolder::PathOf(const char* name) const {
  VELDRAKE_ASSERT(!path_.empty());
  return path_ + "/" + name;
}

int PrivateFolder::CreateFile(const char* name) const {
  std::lock_guard<std::mutex> lock(gRegistry);
  if (slot_ >= 0 && gSlots[slot_].removed) return -1;
  return CreatePrivateFile(PathOf(name));
}

PrivateFolder::~PrivateFolder() {
  if (path_.empty()) return;
  // Emptied before the slot is given back, under the registry's lock: a host's signal
  // thread that ends the process as soon as RemoveAllPrivateFolders returns must never
  // find the slot free while this folder still holds files.
  std::lock_guard<std::mutex> lock(gRegistry);
  RemoveFolderAndFiles(path_);
  if (slot_ >= 0) {
    gSlots[slot_].ready.store(false);
    gSlots[slot_].used = false;
  }
}

void RemoveAllPrivateFolders() {
  std::lock_guard<std::mutex> lock(gRegistry);
  for (Slot& slot : gSlots) {
    if (!slot.ready.load()) continue;
    slot.removed = true;
    // SQLite may add a companion file (-shm, -journal) between our unlinks and the rmdir;
    // once the folder is gone, nothing more can be made in it.
    for (int pass = 0; pass < kRemovalPasses && access(slot.path, F_OK) == 0; ++pass)
      RemoveFolderAndFiles(slot.path);
  }
}

}  // namespace veldrake::backup
