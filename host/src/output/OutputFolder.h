// OutputFolder: the files of one export written into a folder (`-o DIR/`) the way a
// careful tool writes them, so that nothing a backup or a device says can reach outside
// the folder or replace what is not ours.
//
// - The folder: made (0755 less the umask) when missing, its parent must exist; an existing one
// must be a real folder (not a link), owned by the
//   user and writable by no one else. It is opened once and everything below goes through
//   its descriptor (openat, mkdirat, renameat), never through a path built again.
// - Names: every path component is made safe as a file name (no "/", NUL, control
//   characters, leading dots or "..", at most 200 bytes cut at a character boundary) and
//   made unique within its folder, compared case-folded and NFC-normalised, so that no two
//   files replace each other on a case-insensitive file system; a clash is numbered
//   ("Title 2.md", "Title 3.md").
// - Files: written into one private folder of this export inside the folder (".veldrake-"
//   and random letters, mode 0700, registered with Signals so that a signal removes it
//   whole), under the tree and names they will have, with their final mode (0666 less the
//   umask), reached by their paths inside it (no one else can enter it). Commit moves them into
//   place: a folder or file that is not there yet is renamed in whole (a new export of many files
//   is a few renames), an earlier export's folder is merged into and its files swapped with the new
//   ones; a link, or anything not ours, standing where a name goes refuses the whole commit before
//   anything moves. Until Commit nothing is visible; a folder never committed is left as it was
//   found (one it made is removed).
//
// Ownership: owns its descriptor and temporaries. Thread contract: one thread.
#ifndef VELDRAKE_HOST_OUTPUTFOLDER_H_
#define VELDRAKE_HOST_OUTPUTFOLDER_H_

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace host {

class OutputFolder {
 public:
  OutputFolder() = default;
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  // Opens or makes the folder; false with *error set ("DIR: reason") when it cannot be
  // used under the rules above.
  bool Open(const std::string& path, std::string* error);

  // A relative path for a new file: `folders` (each made safe, the tree made on demand),
  // then `stem` made safe and unique among the names reserved in that folder, then
  // `extension` (with its dot, may be empty). The same folders give the same path parts.
  std::string Reserve(const std::vector<std::string>& folders, const std::string& stem,
                      const std::string& extension);

  // Writes a file at a path Reserve gave: `fill` writes its content to the descriptor
  // (so large files stream) and returns false with *error set on failure. `mtime`
  // (seconds since 1970 UTC; INT64_MIN for now) becomes its modification time. A file
  // that fails is removed and left out of Commit.
  bool Write(const std::string& relative, const std::function<bool(int fd, std::string*)>& fill,
             int64_t mtime, std::string* error);
  // The same with the whole content at hand.
  bool Write(const std::string& relative, const std::string& content, int64_t mtime,
             std::string* error);

  // Renames every written file into place; false with *error set, and nothing of this
  // export left visible, when one cannot be.
  bool Commit(std::string* error);

  // The folder's path as given to Open.
  const std::string& path() const { return path_; }

 private:
  // The names given out in one folder of the export ("" the top), by folded key.
  struct Names {
    std::map<std::string, std::string> folders;  // folded key -> name given
    std::set<std::string> taken;                 // folded keys of files and folders
  };

  // Write's work; `bytes` is the content's size when known, else negative.
  bool WriteFile(const std::string& relative, const std::function<bool(int fd, std::string*)>& fill,
                 int64_t mtime, off_t bytes, std::string* error);
  int StagingFd(std::string* error);
  bool MakeStagedFolder(const std::string& relative, std::string* error);
  bool Merge(int from, int to, const std::string& relative, bool apply, std::string* error);
  bool MergeEntry(int from, int to, const std::string& name, const std::string& relative,
                  bool folder, bool apply, std::string* error);
  bool Place(int from, int to, const std::string& name, const std::string& relative, bool folder,
             bool exists, std::string* error);
  void TakeBack();
  void Discard();
  std::string Full(const std::string& relative) const;

  // How a staged entry went into place, so that a failed commit can take it out again.
  enum class Placed { kRenamed, kLinked, kExchanged, kReplaced };
  struct Move {
    std::string relative;
    Placed how;
  };

  std::string path_;
  int fd_ = -1;
  bool made_ = false;
  bool done_ = false;
  std::string staging_;  // the private folder's name in the folder; "" until the first file
  int stagingFd_ = -1;
  std::map<std::string, Names> names_;
  std::set<std::string> reserved_;       // relative paths Reserve gave, not yet written
  std::set<std::string> stagedFolders_;  // relative folders made in the private folder
  std::set<std::string> absentTargets_;  // ...of which nothing stood in the folder
  std::vector<Move> moves_;              // what Commit has put in place so far
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTPUTFOLDER_H_
