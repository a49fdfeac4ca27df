// Finding and removing private folders whose process is gone.
#include "StaleFolders.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "FileIo.h"
#include "PrivateFolder.h"

namespace veldrake::backup {
namespace {

constexpr size_t kMkdtempChars = 6;
constexpr size_t kMaxPidDigits = 10;
constexpr mode_t kPrivateMode = 0700;

bool ProcessIsGone(pid_t pid) {
  return kill(pid, 0) != 0 && errno == ESRCH;
}

// The names inside the folder open at `dirFd` (which this call takes over).
std::vector<std::string> NamesIn(int dirFd) {
  std::vector<std::string> names;
  DIR* dir = fdopendir(dirFd);
  if (dir == nullptr) {
    close(dirFd);
    return names;
  }
  while (const dirent* entry = readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
      names.emplace_back(entry->d_name);
  }
  closedir(dir);
  return names;
}

// Removes the regular files inside the folder `name` of `baseFd`, then the folder.
void RemoveAt(int baseFd, const std::string& name) {
  const int dirFd = openat(baseFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (dirFd < 0) return;
  Fd folder(dup(dirFd));
  for (const std::string& file : NamesIn(dirFd)) {
    struct stat st;
    if (folder.get() >= 0 && fstatat(folder.get(), file.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISREG(st.st_mode))
      unlinkat(folder.get(), file.c_str(), 0);
  }
  unlinkat(baseFd, name.c_str(), AT_REMOVEDIR);
}

bool IsStale(int baseFd, const std::string& name) {
  const pid_t pid = OwnerOfPrivateName(name);
  struct stat st;
  return pid > 0 && fstatat(baseFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(st.st_mode) && (st.st_mode & 07777) == kPrivateMode && st.st_uid == getuid() &&
         ProcessIsGone(pid);
}

}  // namespace

pid_t OwnerOfPrivateName(const std::string& name) {
  const size_t prefix = std::strlen(kPrivatePrefix);
  if (name.compare(0, prefix, kPrivatePrefix) != 0) return -1;
  const size_t dash = name.find('-', prefix);
  const size_t digits = dash == std::string::npos ? 0 : dash - prefix;
  if (digits == 0 || digits > kMaxPidDigits || name.size() - dash - 1 != kMkdtempChars) return -1;
  long long pid = 0;
  for (size_t i = prefix; i < dash; ++i) {
    if (name[i] < '0' || name[i] > '9') return -1;
    pid = pid * 10 + (name[i] - '0');
  }
  return pid > 0 && pid <= INT32_MAX ? static_cast<pid_t>(pid) : -1;
}

int SweepStaleFolders(const std::string& base) {
  Fd baseFd(open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (baseFd.get() < 0) return 0;
  int removed = 0;
  for (const std::string& name : NamesIn(dup(baseFd.get()))) {
    if (!IsStale(baseFd.get(), name)) continue;
    RemoveAt(baseFd.get(), name);
    ++removed;
  }
  return removed;
}

void RemoveFolderAndFiles(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return;
  Fd baseFd(
      open(slash == 0 ? "/" : path.substr(0, slash).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (baseFd.get() >= 0) RemoveAt(baseFd.get(), path.substr(slash + 1));
}

}  // namespace veldrake::backup
