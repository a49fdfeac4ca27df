#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace host {
namespace {

std::string Reason(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

mode_t FileMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!temp_.empty()) ::unlink(temp_.c_str());
}

bool OutputFile::Open(const std::string& path, std::string* error) {
  struct stat st;
  if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
    *error = path + ": is a directory";
    return false;
  }
  path_ = path;
  std::string pattern = DirectoryOf(path) + "/." + BaseOf(path) + ".XXXXXX";
  std::unique_ptr<char[]> name(new char[pattern.size() + 1]);
  std::memcpy(name.get(), pattern.c_str(), pattern.size() + 1);
  fd_ = ::mkostemp(name.get(), O_CLOEXEC);
  if (fd_ < 0) {
    *error = Reason(path);
    return false;
  }
  temp_ = name.get();
  ::fchmod(fd_, FileMode());
  return true;
}

bool OutputFile::Commit(const std::string& content, std::string* error) {
  if (fd_ < 0) {
    *error = path_ + ": not open";
    return false;
  }
  std::string reason;
  if (!WriteAll(fd_, content, &reason)) {
    *error = path_ + ": " + reason;
    return false;
  }
  if (::fsync(fd_) != 0) {
    *error = Reason(path_);
    return false;
  }
  const int closed = ::close(fd_);
  fd_ = -1;
  if (closed != 0 || ::rename(temp_.c_str(), path_.c_str()) != 0) {
    *error = Reason(path_);
    return false;
  }
  temp_.clear();
  return true;
}

bool OutputFile::CommitAll(const std::string& directory,
                           const std::vector<std::pair<std::string, std::string>>& files,
                           std::string* error) {
  struct stat st;
  if (::stat(directory.c_str(), &st) != 0) {
    *error = Reason(directory);
    return false;
  }
  if (!S_ISDIR(st.st_mode)) {
    *error = directory + ": not a directory";
    return false;
  }
  std::vector<std::unique_ptr<OutputFile>> pending;
  for (const auto& file : files) {
    pending.emplace_back(new OutputFile);
    OutputFile& out = *pending.back();
    if (!out.Open(directory + "/" + file.first, error)) return false;
    std::string reason;
    if (!WriteAll(out.fd_, file.second, &reason)) {
      *error = out.path_ + ": " + reason;
      return false;
    }
    ::close(out.fd_);
    out.fd_ = -1;
  }
  for (auto& out : pending) {
    if (::rename(out->temp_.c_str(), out->path_.c_str()) != 0) {
      *error = Reason(out->path_);
      return false;
    }
    out->temp_.clear();
  }
  return true;
}

bool OutputFile::WriteAll(int fd, const std::string& content, std::string* error) {
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      *error = std::strerror(n < 0 ? errno : EIO);
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace host
