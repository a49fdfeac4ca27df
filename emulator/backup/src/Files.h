// Files: the folders and file copies the writer needs.
//
// Thread contract: touches only the paths it is given.
#ifndef DEVICESIM_BACKUP_FILES_H_
#define DEVICESIM_BACKUP_FILES_H_

#include <functional>
#include <string>

namespace devicesim::backup {

// A private folder (0700) made with mkdtemp from `pattern` (ending in "XXXXXX"), removed
// with everything in it when the object goes, unless Release() was called.
class TempDir {
 public:
  TempDir() = default;
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  bool Create(const std::string& pattern, std::string* error);
  const std::string& path() const { return path_; }
  void Release() { path_.clear(); }

 private:
  std::string path_;
};

bool Exists(const std::string& path);
bool MakeDir(const std::string& path, std::string* error);
// Removes a file or a whole folder; quiet when there is nothing.
void RemoveTree(const std::string& path);
std::string TempRoot();  // TMPDIR, or /tmp

// Reads `from` in chunks, hands each to `transform` (which appends to its output) and
// writes the result to `to` (0600), then appends `finish`'s output. Used for plain copies
// and encryption alike, so a large database is never held whole.
using ChunkFn = std::function<bool(const std::string& in, std::string* out)>;
bool TransformFile(const std::string& from, const std::string& to, const ChunkFn& transform,
                   const std::function<bool(std::string* out)>& finish, uint64_t* inputSize,
                   std::string* error);
bool WriteFile(const std::string& path, const std::string& bytes, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_FILES_H_
