// StagingFile: an unnamed private file in $TMPDIR (else /tmp) that holds an export until
// it is complete, for targets that cannot be replaced whole: standard output, a device,
// a FIFO, or a document copied into an output folder. It has no name (O_TMPFILE, or
// unlinked at once where the file system lacks it), so nothing of it outlives the
// process, however that ends.
//
// Ownership: owns its descriptor. Thread contract: one thread.
#ifndef VELDRAKE_HOST_STAGINGFILE_H_
#define VELDRAKE_HOST_STAGINGFILE_H_

#include <string>

namespace host {

class StagingFile {
 public:
  StagingFile() = default;
  ~StagingFile();
  StagingFile(const StagingFile&) = delete;
  StagingFile& operator=(const StagingFile&) = delete;

  // False with *error naming the temporary folder and what is wrong with it.
  bool Open(std::string* error);
  int fd() const { return fd_; }
  // Copies everything written so far, from the start, to `to`; false with *error.
  bool CopyTo(int to, std::string* error);

 private:
  int fd_ = -1;
};

}  // namespace host

#endif  // VELDRAKE_HOST_STAGINGFILE_H_
