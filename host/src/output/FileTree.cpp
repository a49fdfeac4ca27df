// A tree of our own, listed and removed through descriptors.
#include "FileTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace host {
namespace {

// A tree deeper than this is not one we made; stop rather than run out of descriptors.
constexpr int kMaxDepth = 64;

bool IsFolder(int fd, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat st;
  return ::fstatat(fd, entry.d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

bool RemoveBelow(int parent, const std::string& name, int depth) {
  if (::unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT) return true;
  if ((errno != EISDIR && errno != EPERM) || depth > kMaxDepth) return false;
  const int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return false;
  std::vector<TreeEntry> entries;
  bool removed = ListFolder(fd, &entries);
  for (const TreeEntry& entry : entries)
    removed = RemoveBelow(fd, entry.name, depth + 1) && removed;
  ::close(fd);
  return ::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 && removed;
}

}  // namespace

bool ListFolder(int fd, std::vector<TreeEntry>* entries) {
  const int own = ::openat(fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = own < 0 ? nullptr : ::fdopendir(own);
  if (dir == nullptr) {
    if (own >= 0) ::close(own);
    return false;
  }
  errno = 0;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") entries->push_back({name, IsFolder(fd, *entry)});
  }
  const bool read = errno == 0;
  ::closedir(dir);
  return read;
}

bool RemoveTree(int parent, const std::string& name) {
  return RemoveBelow(parent, name, 0);
}

}  // namespace host
