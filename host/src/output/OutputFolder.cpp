// An export's files in a folder: opened once, names made safe and unique, files written
// as private temporaries and renamed into place together.
#include "OutputFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <random>

#include "FileNames.h"
#include "OutputFile.h"
#include "Signals.h"

namespace host {
namespace {

const mode_t kFolderMode = 0755;  // less the umask: never writable by others
const mode_t kTemporaryMode = 0600;
const mode_t kWritableByOthers = 022;
const int kTemporaryTries = 100;
const char kFallbackName[] = "Untitled";
const size_t kNumberRoom = 12;  // " 4294967295" and a little more

std::string Reason(const std::string& what, int error) {
  return what + ": " + std::strerror(error);
}

// A folder we may write into: a real folder of ours that no one else can write to.
bool Usable(int fd, const std::string& shown, std::string* error) {
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    *error = Reason(shown, errno);
    return false;
  }
  if (!S_ISDIR(st.st_mode)) {
    *error = shown + ": not a folder";
  } else if (st.st_uid != ::geteuid()) {
    *error = shown + ": the folder belongs to another user";
  } else if ((st.st_mode & kWritableByOthers) != 0) {
    *error = shown + ": the folder is writable by others";
  } else {
    return true;
  }
  return false;
}

std::string StripTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string TemporaryName() {
  static std::mt19937_64 random{std::random_device{}()};
  static const char kDigits[] = "0123456789abcdef";
  std::string name = ".veldrake-";
  uint64_t bits = random();
  for (int i = 0; i < 16; ++i, bits >>= 4) name += kDigits[bits & 0xF];
  return name + ".part";
}

// The first of `base`, "base 2", "base 3"... (each with `extension`) not in `taken`.
std::string Unique(const std::string& base, const std::string& extension,
                   std::set<std::string>* taken) {
  for (unsigned number = 1;; ++number) {
    const std::string candidate =
        number == 1 ? base + extension : base + " " + std::to_string(number) + extension;
    if (taken->insert(FoldedKey(candidate)).second) return candidate;
  }
}

std::pair<std::string, std::string> SplitLast(const std::string& relative) {
  const size_t slash = relative.rfind('/');
  if (slash == std::string::npos) return {"", relative};
  return {relative.substr(0, slash), relative.substr(slash + 1)};
}

}  // namespace

OutputFolder::~OutputFolder() {
  Discard();
}

bool OutputFolder::Open(const std::string& path, std::string* error) {
  path_ = path;
  const std::string folder = StripTrailingSlashes(path);
  if (::mkdir(folder.c_str(), kFolderMode) == 0) {
    made_ = true;
    RegisterTemporary(folder);
  } else if (errno != EEXIST) {
    *error = Reason(path, errno);
    return false;
  }
  fd_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd_ < 0) {
    *error = errno == ELOOP || errno == ENOTDIR ? path + ": not a folder (a link or a file)"
                                                : Reason(path, errno);
    return false;
  }
  return Usable(fd_, path, error);
}

std::string OutputFolder::Reserve(const std::vector<std::string>& folders, const std::string& stem,
                                  const std::string& extension) {
  std::string relative;
  for (const std::string& folder : folders) {
    Names& names = names_[relative];
    const std::string safe = SafeFileName(folder, kMaxNameBytes, kFallbackName);
    const std::string key = FoldedKey(safe);
    auto found = names.folders.find(key);
    if (found == names.folders.end())
      found = names.folders.emplace(key, Unique(safe, "", &names.taken)).first;
    relative += (relative.empty() ? "" : "/") + found->second;
  }
  const std::string safeExtension = CutAtCharacter(extension, kNumberRoom);
  const size_t room = kMaxNameBytes - kNumberRoom - safeExtension.size();
  const std::string name =
      Unique(SafeFileName(stem, room, kFallbackName), safeExtension, &names_[relative].taken);
  const std::string path = relative.empty() ? name : relative + "/" + name;
  reserved_.insert(path);
  return path;
}

std::string OutputFolder::Full(const std::string& folder, const std::string& name) const {
  const std::string top = StripTrailingSlashes(path_);
  if (name.empty()) return folder.empty() ? top : top + "/" + folder;
  return folder.empty() ? top + "/" + name : top + "/" + folder + "/" + name;
}

int OutputFolder::MakeFolder(int parent, const std::string& name, const std::string& relative,
                             std::string* error) {
  if (::mkdirat(parent, name.c_str(), kFolderMode) == 0) {
    madeFolders_.push_back(relative);
    RegisterTemporary(Full(relative, ""));
  } else if (errno != EEXIST) {
    *error = Reason(Full(relative, ""), errno);
    return -1;
  }
  const int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    *error = Reason(Full(relative, ""), errno);
    return -1;
  }
  if (!Usable(fd, Full(relative, ""), error)) {
    ::close(fd);
    return -1;
  }
  folderFds_[relative] = fd;
  return fd;
}

// The descriptor of a subfolder, each level made (or checked) on first use.
int OutputFolder::FolderFd(const std::string& relative, std::string* error) {
  if (relative.empty()) return fd_;
  const auto open = folderFds_.find(relative);
  if (open != folderFds_.end()) return open->second;
  const auto parts = SplitLast(relative);
  const int parent = FolderFd(parts.first, error);
  return parent < 0 ? -1 : MakeFolder(parent, parts.second, relative, error);
}

bool OutputFolder::Write(const std::string& relative, const std::string& content, int64_t mtime,
                         std::string* error) {
  return Write(
      relative,
      [&content](int fd, std::string* why) { return OutputFile::WriteAll(fd, content, why); },
      mtime, error);
}

bool OutputFolder::Write(const std::string& relative,
                         const std::function<bool(int fd, std::string*)>& fill, int64_t mtime,
                         std::string* error) {
  if (fd_ < 0 || done_ || reserved_.erase(relative) == 0) {
    *error = Full(relative, "") + ": not a name reserved in an open folder";
    return false;
  }
  const auto parts = SplitLast(relative);
  const int folder = FolderFd(parts.first, error);
  if (folder < 0) return false;
  Pending file{parts.first, parts.second, "", 0, 0};
  int fd = -1;
  for (int i = 0; i < kTemporaryTries && fd < 0; ++i) {
    file.temp = TemporaryName();
    fd = ::openat(folder, file.temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  kTemporaryMode);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) {
    *error = Reason(Full(relative, ""), errno);
    return false;
  }
  RegisterTemporary(Full(file.folder, file.temp));
  pending_.push_back(file);
  std::string why;
  bool written = fill(fd, &why);
  if (!written) *error = Full(relative, "") + ": " + why;
  struct stat st;
  if (written && mtime != INT64_MIN) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(mtime), 0}};
    written = ::futimens(fd, times) == 0;
    if (!written) *error = Reason(Full(relative, ""), errno);
  }
  if (written && ::fstat(fd, &st) != 0) {
    written = false;
    *error = Reason(Full(relative, ""), errno);
  }
  if (::close(fd) != 0 && written) {
    written = false;
    *error = Reason(Full(relative, ""), errno);
  }
  if (!written) {
    // A file that failed is dropped, so the export may go on without it.
    ::unlinkat(folder, file.temp.c_str(), 0);
    UnregisterTemporary(Full(file.folder, file.temp));
    pending_.pop_back();
    return false;
  }
  pending_.back().device = st.st_dev;
  pending_.back().inode = st.st_ino;
  return true;
}

// Before anything is renamed: every name free or a plain file of ours (a file exported
// before), and every temporary still the file written, made readable as a new file is.
bool OutputFolder::CheckTargets(std::string* error) {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  for (const Pending& file : pending_) {
    const int folder = FolderFd(file.folder, error);
    if (folder < 0) return false;
    const std::string shown = Full(file.folder, file.name);
    struct stat st;
    if (::fstatat(folder, file.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
      if (S_ISLNK(st.st_mode)) {
        *error = shown + ": a symbolic link stands there; refused, nothing was written";
        return false;
      }
      if (!S_ISREG(st.st_mode) || st.st_uid != ::geteuid() || st.st_nlink != 1) {
        *error = shown +
                 ": something this program did not write stands there (a folder, a device, "
                 "another user's or a linked file); refused, nothing was written";
        return false;
      }
    } else if (errno != ENOENT) {
      *error = Reason(shown, errno);
      return false;
    }
    const int fd = ::openat(folder, file.temp.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    const bool same = fd >= 0 && ::fstat(fd, &st) == 0 && st.st_dev == file.device &&
                      st.st_ino == file.inode && ::fchmod(fd, 0666 & ~mask) == 0;
    if (fd >= 0) ::close(fd);
    if (!same) {
      *error = shown + ": the file written was changed before it could be put in place";
      return false;
    }
  }
  return true;
}

namespace {

// How a file went into place, so that it can be taken out again.
enum class Placed { kRenamed, kLinked, kExchanged, kReplaced };

// Puts `temp` at `name` in `folder`: a new name without ever replacing one that appeared
// meanwhile; an earlier export's file swapped with the new one, so it can be put back.
bool Place(int folder, const std::string& temp, const std::string& name, bool exists, Placed* how) {
  const unsigned flags = exists ? RENAME_EXCHANGE : RENAME_NOREPLACE;
  if (::renameat2(folder, temp.c_str(), folder, name.c_str(), flags) == 0) {
    *how = exists ? Placed::kExchanged : Placed::kRenamed;
    return true;
  }
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without these renames: a hard link cannot replace, a rename can.
  *how = exists ? Placed::kReplaced : Placed::kLinked;
  return exists ? ::renameat(folder, temp.c_str(), folder, name.c_str()) == 0
                : ::linkat(folder, temp.c_str(), folder, name.c_str(), 0) == 0;
}

void TakeBack(int folder, const std::string& temp, const std::string& name, Placed how) {
  if (how == Placed::kRenamed) ::renameat(folder, name.c_str(), folder, temp.c_str());
  if (how == Placed::kLinked) ::unlinkat(folder, name.c_str(), 0);
  if (how == Placed::kExchanged)
    ::renameat2(folder, temp.c_str(), folder, name.c_str(), RENAME_EXCHANGE);
}

}  // namespace

bool OutputFolder::RenameAll(std::string* error) {
  std::vector<Placed> placed;
  for (const Pending& file : pending_) {
    const int folder = FolderFd(file.folder, error);
    struct stat st;
    const bool exists = ::fstatat(folder, file.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
    Placed how = Placed::kRenamed;
    if (!Place(folder, file.temp, file.name, exists, &how)) {
      *error = Reason(Full(file.folder, file.name), errno);
      for (size_t i = placed.size(); i-- > 0;)
        TakeBack(FolderFd(pending_[i].folder, error), pending_[i].temp, pending_[i].name,
                 placed[i]);
      return false;
    }
    placed.push_back(how);
  }
  // What is left under the temporary names: an earlier export's files, or second links.
  for (size_t i = 0; i < pending_.size(); ++i) {
    if (placed[i] != Placed::kRenamed)
      ::unlinkat(FolderFd(pending_[i].folder, error), pending_[i].temp.c_str(), 0);
    UnregisterTemporary(Full(pending_[i].folder, pending_[i].temp));
  }
  pending_.clear();
  return true;
}

bool OutputFolder::Commit(std::string* error) {
  if (fd_ < 0 || done_) {
    *error = path_ + ": the folder is not open";
    return false;
  }
  // One sync of the file system for all the files, before any is renamed into place: no name
  // shows a half-written file after a crash, and the export does not stall on every file.
  if (::syncfs(fd_) != 0) {
    *error = Reason(path_, errno);
    Discard();
    return false;
  }
  if (!CheckTargets(error) || !RenameAll(error)) {
    Discard();
    return false;
  }
  for (const auto& folder : folderFds_) ::fsync(folder.second);
  ::fsync(fd_);
  for (const std::string& folder : madeFolders_) UnregisterTemporary(Full(folder, ""));
  if (made_) UnregisterTemporary(StripTrailingSlashes(path_));
  madeFolders_.clear();
  made_ = false;
  done_ = true;
  return true;
}

// Removes everything this export made that is not committed: the temporaries, then the
// folders it made (last made first), which are empty again.
void OutputFolder::Discard() {
  for (const Pending& file : pending_) {
    const auto open = folderFds_.find(file.folder);
    const int folder = file.folder.empty() ? fd_ : open == folderFds_.end() ? -1 : open->second;
    if (folder >= 0) ::unlinkat(folder, file.temp.c_str(), 0);
    UnregisterTemporary(Full(file.folder, file.temp));
  }
  pending_.clear();
  for (auto made = madeFolders_.rbegin(); made != madeFolders_.rend(); ++made) {
    const auto parts = SplitLast(*made);
    const auto parent = folderFds_.find(parts.first);
    const int parentFd = parts.first.empty() ? fd_ : parent->second;
    ::unlinkat(parentFd, parts.second.c_str(), AT_REMOVEDIR);
    UnregisterTemporary(Full(*made, ""));
  }
  madeFolders_.clear();
  for (const auto& folder : folderFds_) ::close(folder.second);
  folderFds_.clear();
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  if (made_) {
    ::rmdir(StripTrailingSlashes(path_).c_str());
    UnregisterTemporary(StripTrailingSlashes(path_));
  }
  made_ = false;
  done_ = true;
}

}  // namespace host
