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
// - Files: created as hidden temporaries with O_CREAT|O_EXCL|O_NOFOLLOW (mode 0600 until
//   committed, then 0666 less the umask) and registered with Signals, so a signal removes
//   them; Commit renames every one into place, refusing a name where a link or anything
//   not ours already stands. Until Commit nothing is visible; a folder never committed is
//   left as it was found (one it made is removed).
//
// Ownership: owns its descriptor and temporaries. Thread contract: one thread.
#ifndef VELDRAKE_HOST_OUTPUTFOLDER_H_
#define VELDRAKE_HOST_OUTPUTFOLDER_H_

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
  // A file written, waiting under its temporary name for Commit.
  struct Pending {
    std::string folder;  // relative, "" the top
    std::string name;    // final name in that folder
    std::string temp;    // temporary name in that folder
    uint64_t device = 0;
    uint64_t inode = 0;
  };

  int FolderFd(const std::string& relative, std::string* error);
  int MakeFolder(int parent, const std::string& name, const std::string& relative,
                 std::string* error);
  bool CheckTargets(std::string* error);
  bool RenameAll(std::string* error);
  void Discard();
  std::string Full(const std::string& folder, const std::string& name) const;

  std::string path_;
  int fd_ = -1;
  bool made_ = false;
  bool done_ = false;
  std::map<std::string, Names> names_;
  std::set<std::string> reserved_;        // relative paths Reserve gave, not yet written
  std::map<std::string, int> folderFds_;  // open subfolders by relative path
  std::vector<std::string> madeFolders_;  // relative, in the order made
  std::vector<Pending> pending_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTPUTFOLDER_H_
