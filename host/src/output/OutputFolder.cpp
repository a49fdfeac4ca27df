// An export's files in a folder: opened once, names made safe and unique, files written
// into a private folder of the export's own and moved into place together.
#include "OutputFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <random>

#include "FileNames.h"
#include "FileTree.h"
#include "OutputFile.h"
#include "Signals.h"

namespace host {
namespace {

const mode_t kFolderMode = 0755;   // less the umask: never writable by others
const mode_t kStagingMode = 0700;  // what is inside is no one else's business until Commit
const mode_t kFileMode = 0666;     // less the umask, as any new file
const mode_t kWritableByOthers = 022;
const int kTemporaryTries = 100;
const char kFallbackName[] = "Untitled";
const off_t kWriteBackBytes = off_t{1} << 16;
const size_t kNumberRoom = 12;  // " 4294967295" and a little more
const char kLinkRefused[] = ": a symbolic link stands there; refused, nothing was written";
const char kNotOurs[] =
    ": something this program did not write stands there (a folder, a device, another user's "
    "or a linked file); refused, nothing was written";

std::string Reason(const std::string& what, int error) {
  return what + ": " + std::strerror(error);
}

// A folder we may write into: a real folder of ours that no one else can write to.
bool UsableStat(const struct stat& st, const std::string& shown, std::string* error) {
  if (S_ISLNK(st.st_mode)) {
    *error = shown + kLinkRefused;
  } else if (!S_ISDIR(st.st_mode)) {
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

bool Usable(int fd, const std::string& shown, std::string* error) {
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    *error = Reason(shown, errno);
    return false;
  }
  return UsableStat(st, shown, error);
}

std::string StripTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string StagingName() {
  static std::mt19937_64 random{std::random_device{}()};
  static const char kDigits[] = "0123456789abcdef";
  std::string name = ".veldrake-";
  uint64_t bits = random();
  for (int i = 0; i < 16; ++i, bits >>= 4) name += kDigits[bits & 0xF];
  return name;
}

// Starts writing a large file to the disk now, without waiting for it, so that the disk
// works while the export goes on and the one sync before Commit finds little left to do.
// `bytes` is its size when known, else negative: then where the writes left the file.
void StartWriteBack(int fd, off_t bytes) {
  if (bytes < 0) bytes = ::lseek(fd, 0, SEEK_CUR);
  if (bytes >= kWriteBackBytes) ::sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
}

std::string Join(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : folder + "/" + name;
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

std::string OutputFolder::Full(const std::string& relative) const {
  const std::string top = StripTrailingSlashes(path_);
  return relative.empty() ? top : top + "/" + relative;
}

// The export's private folder, made with its first file.
int OutputFolder::StagingFd(std::string* error) {
  if (stagingFd_ >= 0) return stagingFd_;
  for (int i = 0; i < kTemporaryTries && staging_.empty(); ++i) {
    const std::string name = StagingName();
    RegisterTemporaryTree(Full(name));  // before it exists, so that no signal misses it
    if (::mkdirat(fd_, name.c_str(), kStagingMode) == 0) {
      staging_ = name;
    } else {
      UnregisterTemporary(Full(name));
      if (errno != EEXIST) break;
    }
  }
  if (!staging_.empty())
    stagingFd_ = ::openat(fd_, staging_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (stagingFd_ < 0) *error = Reason(path_, errno);
  return stagingFd_;
}

// A folder of the export made in the private folder, its parents first. What already
// stands at its place in the folder is checked now, so that an export that cannot be put
// in place fails before it writes, not after.
bool OutputFolder::MakeStagedFolder(const std::string& relative, std::string* error) {
  if (relative.empty() || stagedFolders_.count(relative) != 0) return true;
  const std::string parent = SplitLast(relative).first;
  if (!MakeStagedFolder(parent, error)) return false;
  // Below a folder that is not there yet nothing is: Commit checks again in any case.
  struct stat st;
  if (absentTargets_.count(parent) != 0) {
    absentTargets_.insert(relative);
  } else if (::fstatat(fd_, relative.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
    if (!UsableStat(st, Full(relative), error)) return false;
  } else if (errno == ENOENT) {
    absentTargets_.insert(relative);
  } else {
    *error = Reason(Full(relative), errno);
    return false;
  }
  if (::mkdirat(stagingFd_, relative.c_str(), kFolderMode) != 0 && errno != EEXIST) {
    *error = Reason(Full(relative), errno);
    return false;
  }
  stagedFolders_.insert(relative);
  return true;
}

bool OutputFolder::Write(const std::string& relative, const std::string& content, int64_t mtime,
                         std::string* error) {
  return WriteFile(
      relative,
      [&content](int fd, std::string* why) { return OutputFile::WriteAll(fd, content, why); },
      mtime, static_cast<off_t>(content.size()), error);
}

bool OutputFolder::Write(const std::string& relative,
                         const std::function<bool(int fd, std::string*)>& fill, int64_t mtime,
                         std::string* error) {
  return WriteFile(relative, fill, mtime, -1, error);
}

bool OutputFolder::WriteFile(const std::string& relative,
                             const std::function<bool(int fd, std::string*)>& fill, int64_t mtime,
                             off_t bytes, std::string* error) {
  if (fd_ < 0 || done_ || reserved_.erase(relative) == 0) {
    *error = Full(relative) + ": not a name reserved in an open folder";
    return false;
  }
  // Reached by its path inside the private folder, which no one else can enter: no
  // descriptor per folder to open and close as the export goes from one to the next.
  if (StagingFd(error) < 0 || !MakeStagedFolder(SplitLast(relative).first, error)) return false;
  const int fd = ::openat(stagingFd_, relative.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
  if (fd < 0) {
    *error = Reason(Full(relative), errno);
    return false;
  }
  std::string why;
  bool written = fill(fd, &why);
  if (!written) *error = Full(relative) + ": " + why;
  if (written) StartWriteBack(fd, bytes);
  if (written && mtime != INT64_MIN) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(mtime), 0}};
    written = ::futimens(fd, times) == 0;
    if (!written) *error = Reason(Full(relative), errno);
  }
  if (::close(fd) != 0 && written) {
    written = false;
    *error = Reason(Full(relative), errno);
  }
  // A file that failed is dropped, so the export may go on without it.
  if (!written) ::unlinkat(stagingFd_, relative.c_str(), 0);
  return written;
}

// Puts the staged `name` of `from` at `name` in `to`: a new name without ever replacing one
// that appeared meanwhile; an earlier export's file swapped with the new one, so it can be
// put back.
bool OutputFolder::Place(int from, int to, const std::string& name, const std::string& relative,
                         bool folder, bool exists, std::string* error) {
  const unsigned flags = exists ? RENAME_EXCHANGE : RENAME_NOREPLACE;
  Placed how = exists ? Placed::kExchanged : Placed::kRenamed;
  bool placed = ::renameat2(from, name.c_str(), to, name.c_str(), flags) == 0;
  if (!placed && (errno == EINVAL || errno == ENOSYS)) {
    // A file system without these renames: a hard link cannot replace, a rename can; a
    // folder cannot be linked, so its name is checked free just before.
    struct stat st;
    how = exists ? Placed::kReplaced : folder ? Placed::kRenamed : Placed::kLinked;
    if (exists || folder)
      placed = (exists || ::fstatat(to, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) &&
               ::renameat(from, name.c_str(), to, name.c_str()) == 0;
    else
      placed = ::linkat(from, name.c_str(), to, name.c_str(), 0) == 0;
  }
  if (!placed) {
    *error = Reason(Full(relative), errno);
    return false;
  }
  moves_.push_back({relative, how});
  return true;
}

// One staged entry against what stands at its place: refused, descended into (a folder
// of an earlier export) or, when `apply`, put in place.
bool OutputFolder::MergeEntry(int from, int to, const std::string& name,
                              const std::string& relative, bool folder, bool apply,
                              std::string* error) {
  const std::string shown = Full(relative);
  struct stat st;
  const bool exists = ::fstatat(to, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists && errno != ENOENT) {
    *error = Reason(shown, errno);
    return false;
  }
  if (exists && S_ISLNK(st.st_mode)) {
    *error = shown + kLinkRefused;
    return false;
  }
  if (exists && folder && S_ISDIR(st.st_mode)) {
    const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    const int subFrom = ::openat(from, name.c_str(), flags);
    const int subTo = ::openat(to, name.c_str(), flags);
    bool merged = subFrom >= 0 && subTo >= 0;
    if (!merged) *error = Reason(shown, errno);
    merged = merged && Usable(subTo, shown, error) &&
             Merge(subFrom, subTo, relative, apply, error) && (!apply || ::fsync(subTo) == 0);
    if (subFrom >= 0) ::close(subFrom);
    if (subTo >= 0) ::close(subTo);
    return merged;
  }
  if (exists && (folder || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid() || st.st_nlink != 1)) {
    *error = shown + kNotOurs;
    return false;
  }
  return !apply || Place(from, to, name, relative, folder, exists, error);
}

bool OutputFolder::Merge(int from, int to, const std::string& relative, bool apply,
                         std::string* error) {
  std::vector<TreeEntry> entries;
  if (!ListFolder(from, &entries)) {
    *error = Reason(Full(relative), errno);
    return false;
  }
  for (const TreeEntry& entry : entries)
    if (!MergeEntry(from, to, entry.name, Join(relative, entry.name), entry.folder, apply, error))
      return false;
  return true;
}

// Takes out, last first, what a commit that failed half-way had put in place.
void OutputFolder::TakeBack() {
  for (auto move = moves_.rbegin(); move != moves_.rend(); ++move) {
    const char* relative = move->relative.c_str();
    if (move->how == Placed::kRenamed) ::renameat(fd_, relative, stagingFd_, relative);
    if (move->how == Placed::kLinked) ::unlinkat(fd_, relative, 0);
    if (move->how == Placed::kExchanged)
      ::renameat2(stagingFd_, relative, fd_, relative, RENAME_EXCHANGE);
  }
  moves_.clear();
}

bool OutputFolder::Commit(std::string* error) {
  if (fd_ < 0 || done_) {
    *error = path_ + ": the folder is not open";
    return false;
  }
  // One sync of the file system for all the files, before any is moved into place: no name
  // shows a half-written file after a crash, and the export does not stall on every file.
  // Everything is checked before anything moves, so a refusal leaves the folder as it was.
  if (stagingFd_ >= 0 && (::syncfs(fd_) != 0 || ::fsync(stagingFd_) != 0)) {
    *error = Reason(path_, errno);
    Discard();
    return false;
  }
  if (stagingFd_ >= 0 && (!Merge(stagingFd_, fd_, "", false, error) ||
                          !Merge(stagingFd_, fd_, "", true, error) || ::fsync(fd_) != 0)) {
    if (error->empty()) *error = Reason(path_, errno);
    TakeBack();
    Discard();
    return false;
  }
  moves_.clear();
  if (made_) UnregisterTemporary(StripTrailingSlashes(path_));
  made_ = false;
  Discard();  // what stays in the private folder is an earlier export's files
  return true;
}

// Removes everything this export made that is not committed: the private folder and the
// folder itself when it made it.
void OutputFolder::Discard() {
  if (stagingFd_ >= 0) ::close(stagingFd_);
  stagingFd_ = -1;
  if (!staging_.empty()) {
    if (fd_ >= 0) RemoveTree(fd_, staging_);
    UnregisterTemporary(Full(staging_));
  }
  staging_.clear();
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
