// An unnamed temporary file, and its content copied out at the end.
#include "StagingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "OutputFile.h"

namespace host {
namespace {

const size_t kCopyBytes = 64 * 1024;

std::string TemporaryFolder() {
  const char* variable = std::getenv("TMPDIR");
  return variable != nullptr && variable[0] != '\0' ? variable : "/tmp";
}

}  // namespace

StagingFile::~StagingFile() {
  if (fd_ >= 0) ::close(fd_);
}

bool StagingFile::Open(std::string* error) {
  const std::string folder = TemporaryFolder();
  fd_ = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd_ >= 0) return true;
  if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL) {
    std::string pattern = folder + "/.veldrake-XXXXXX";
    fd_ = ::mkostemp(&pattern[0], O_CLOEXEC);
    if (fd_ >= 0) {
      ::unlink(pattern.c_str());
      return true;
    }
  }
  *error = "the temporary folder " + folder + " (TMPDIR) cannot be used: " + std::strerror(errno);
  return false;
}

bool StagingFile::CopyTo(int to, std::string* error) {
  if (::lseek(fd_, 0, SEEK_SET) != 0) {
    *error = std::strerror(errno);
    return false;
  }
  std::vector<char> buffer(kCopyBytes);
  for (;;) {
    const ssize_t n = ::read(fd_, buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      *error = std::strerror(errno);
      return false;
    }
    if (n == 0) return true;
    if (!OutputFile::WriteBytes(to, buffer.data(), static_cast<size_t>(n), error)) return false;
  }
}

}  // namespace host
