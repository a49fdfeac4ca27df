// The daemon's Unix socket file. Another daemon may serve the same path: the file is bound
// only when nothing answers there (a stale file left by a crash is replaced), and removed
// at the end only while it is still the one bound here, never a successor's.
#ifndef DEVICESIM_PHONE_SOCKETFILE_H_
#define DEVICESIM_PHONE_SOCKETFILE_H_

#include <sys/types.h>

#include <string>

namespace devicesim {
namespace phone {

class SocketFile {
 public:
  SocketFile() = default;
  ~SocketFile() { close(); }
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  // Binds and listens on `path`. False with a message when the path is too long, another
  // daemon answers on it, or the socket cannot be made.
  bool listen(const std::string& path, std::string* error);
  int fd() const { return fd_; }
  const std::string& path() const { return path_; }
  // Wakes a thread blocked in accept on fd() (it then fails).
  void interrupt();
  // Closes the socket and removes the file if it is still ours.
  void close();

 private:
  int fd_ = -1;
  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_SOCKETFILE_H_
