// OutputFile: a file that appears whole or not at all.
//
// Open creates a temporary file beside the target (so the final rename stays on one file
// system), Commit writes the content, flushes it to disk and renames it over the target;
// a file never committed is removed by the destructor, and by a signal that ends the
// program (Signals.h). The temporary is private (0600) until then; a file replaced keeps
// its permissions, a new one gets the usual (0666 less the umask). A symbolic link is
// followed: its target is written, the link stays. Open is meant to run before any slow
// work, so a target that cannot be written fails at once. Only regular files are
// replaced: a device or a FIFO is refused here (Output writes those in place), and files
// in an output folder go through OutputFolder.
//
// Ownership: owns its temporary file. Thread contract: one thread per object.
#ifndef VELDRAKE_HOST_OUTPUTFILE_H_
#define VELDRAKE_HOST_OUTPUTFILE_H_

#include <string>

namespace host {

class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // False with *error set ("PATH: reason") when no file can be made beside `path`.
  bool Open(const std::string& path, std::string* error);
  bool Commit(const std::string& content, std::string* error);

  // Writes all of `content` to a descriptor (standard output); false with *error set.
  static bool WriteAll(int fd, const std::string& content, std::string* error);
  static bool WriteBytes(int fd, const char* data, size_t size, std::string* error);

  // For content streamed in: the temporary's descriptor after Open, and the commit of
  // what was written to it.
  int fd() const { return fd_; }
  bool Commit(std::string* error);

 private:
  std::string path_;
  std::string temp_;
  int fd_ = -1;
  unsigned mode_ = 0600;  // given when committed
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTPUTFILE_H_
