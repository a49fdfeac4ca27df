// Folders and file copies.
#include "Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <sys/stat.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace devicesim::backup {
namespace {

const size_t kChunk = 1 << 20;
const mode_t kPrivateFile = 0600;
const mode_t kFolder = 0755;

std::string Failure(const std::string& what, const std::string& path) {
  return what + " " + path + ": " + std::strerror(errno);
}

bool WriteAll(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  bool Close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

}  // namespace

TempDir::~TempDir() {
  if (!path_.empty()) RemoveTree(path_);
}

bool TempDir::Create(const std::string& pattern, std::string* error) {
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (::mkdtemp(name.data()) == nullptr) {
    *error = Failure("cannot create", pattern);
    return false;
  }
  path_ = name.data();
  return true;
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

bool MakeDir(const std::string& path, std::string* error) {
  if (::mkdir(path.c_str(), kFolder) == 0 || errno == EEXIST) return true;
  *error = Failure("cannot create", path);
  return false;
}

void RemoveTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string TempRoot() {
  const char* tmp = std::getenv("TMPDIR");
  return tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
}

bool WriteFile(const std::string& path, const std::string& bytes, std::string* error) {
  Fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateFile));
  if (fd.get() < 0 || !WriteAll(fd.get(), bytes) || !fd.Close()) {
    *error = Failure("cannot write", path);
    return false;
  }
  return true;
}

bool TransformFile(const std::string& from, const std::string& to, const ChunkFn& transform,
                   const std::function<bool(std::string* out)>& finish, uint64_t* inputSize,
                   std::string* error) {
  Fd in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) {
    *error = Failure("cannot read", from);
    return false;
  }
  Fd out(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateFile));
  if (out.get() < 0) {
    *error = Failure("cannot write", to);
    return false;
  }
  std::string chunk(kChunk, '\0'), result;
  *inputSize = 0;
  for (;;) {
    const ssize_t n = ::read(in.get(), chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      *error = Failure("cannot read", from);
      return false;
    }
    result.clear();
    const bool more = n > 0;
    *inputSize += static_cast<uint64_t>(n);
    const bool done =
        more ? transform(chunk.substr(0, static_cast<size_t>(n)), &result) : finish(&result);
    if (!done) {
      *error = "cannot encrypt " + from;
      return false;
    }
    if (!WriteAll(out.get(), result)) {
      *error = Failure("cannot write", to);
      return false;
    }
    if (!more) break;
  }
  if (!out.Close()) {
    *error = Failure("cannot write", to);
    return false;
  }
  return true;
}

}  // namespace devicesim::backup
