// A listening device that serves connections one after another on its own thread.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>

#include "Serve.h"
#include "devicesim/Listener.h"

namespace devicesim {

struct Listener::State {
  AddressBook book;
  NoteStore notes;
  DeviceOptions options;
  std::string endpoint;
  std::string error;
  std::string unixPath;
  int listenFd = -1;
  std::atomic<bool> stopping{false};
  mutable std::mutex mutex;
  int current = -1;  // the connection being served, under `mutex`
  std::vector<Transcript> transcripts;
  std::thread thread;

  struct FileId {
    dev_t device;
    ino_t inode;
  };
  std::optional<FileId> socketFile;  // the socket file bound at unixPath, while listening

  bool listenOn(const std::string& where);
  bool listenUnix(const std::string& path);
  bool listenTcp(const std::string& where);
  void removeSocketFile() const;
  void run();
};

namespace {

const char kUnixScheme[] = "unix:";
const char kTcpScheme[] = "tcp:";
const int kBacklog = 8;
const long kMaxPort = 65535;
const auto kDescriptorsFullPause = std::chrono::milliseconds(10);

std::string Errno(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

// Makes the path free for bind: a socket file nobody answers on is left from an earlier
// run and goes; one that accepts a connection belongs to a live server and is refused, so
// that two emulators never share (and then delete) one path. Anything else stays.
bool ClaimSocketPath(const sockaddr_un& address, std::string* error) {
  struct stat st;
  if (::lstat(address.sun_path, &st) != 0 || !S_ISSOCK(st.st_mode)) return true;
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return *error = Errno("socket"), false;
  const bool live =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(probe);
  if (live) {
    *error = std::string("another server is listening on ") + address.sun_path;
    return false;
  }
  ::unlink(address.sun_path);
  return true;
}

}  // namespace

bool Listener::State::listenOn(const std::string& where) {
  if (where.rfind(kUnixScheme, 0) == 0) {
    if (!listenUnix(where.substr(sizeof kUnixScheme - 1))) return false;
  } else if (where.rfind(kTcpScheme, 0) == 0) {
    if (!listenTcp(where)) return false;
  } else {
    error = "expected unix:PATH or tcp:127.0.0.1:PORT, got " + where;
    return false;
  }
  if (::listen(listenFd, kBacklog) != 0) return error = Errno("listen"), false;
  return true;
}

bool Listener::State::listenUnix(const std::string& path) {
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    error = "unix socket path empty or too long: " + path;
    return false;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  if (!ClaimSocketPath(address, &error)) return false;
  listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listenFd < 0) return error = Errno("socket"), false;
  if (::bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return error = Errno("bind " + path), false;
  unixPath = path;
  endpoint = kUnixScheme + path;
  // Remembered so that the exit removes the file only while it is still this socket.
  struct stat st;
  if (::lstat(path.c_str(), &st) == 0) socketFile = FileId{st.st_dev, st.st_ino};
  return true;
}

bool Listener::State::listenTcp(const std::string& where) {
  const std::string rest = where.substr(sizeof kTcpScheme - 1);
  const size_t colon = rest.rfind(':');
  if (colon == std::string::npos) return error = "expected tcp:HOST:PORT: " + where, false;
  const std::string host = rest.substr(0, colon), portText = rest.substr(colon + 1);
  char* end = nullptr;
  long port = std::strtol(portText.c_str(), &end, 10);
  if (portText.empty() || *end != '\0' || port < 0 || port > kMaxPort)
    return error = "bad port in " + where, false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1)
    return error = "expected a numeric IPv4 address in " + where, false;
  listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listenFd < 0) return error = Errno("socket"), false;
  int one = 1;
  ::setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  if (::bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return error = Errno("bind " + where), false;
  socklen_t size = sizeof address;
  ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&address), &size);
  endpoint = kTcpScheme + host + ":" + std::to_string(ntohs(address.sin_port));
  return true;
}

void Listener::State::run() {
  while (!stopping) {
    int connection = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
      if (stopping) break;
      if (errno == EINTR || errno == ECONNABORTED || errno == EMFILE || errno == ENFILE) {
        if (errno == EMFILE || errno == ENFILE) std::this_thread::sleep_for(kDescriptorsFullPause);
        continue;
      }
      break;
    }
    {
      std::lock_guard<std::mutex> lock(mutex);
      current = connection;
      if (stopping) ::shutdown(connection, SHUT_RDWR);
    }
    Transcript transcript = ServeLoop(connection, book, notes, options, false);
    std::lock_guard<std::mutex> lock(mutex);
    current = -1;
    ::close(connection);
    transcripts.push_back(std::move(transcript));
  }
}

Listener::Listener(const std::string& endpoint, AddressBook book, NoteStore notes,
                   DeviceOptions options)
    : state_(new State) {
  state_->book = std::move(book);
  state_->notes = std::move(notes);
  state_->options = std::move(options);
  if (!state_->listenOn(endpoint)) {
    if (state_->listenFd >= 0) ::close(state_->listenFd);
    state_->listenFd = -1;
    return;
  }
  State* s = state_.get();
  s->thread = std::thread([s] { s->run(); });
}

Listener::~Listener() {
  state_->stopping = true;
  if (state_->listenFd >= 0) ::shutdown(state_->listenFd, SHUT_RDWR);
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    if (state_->current >= 0) ::shutdown(state_->current, SHUT_RDWR);
  }
  if (state_->thread.joinable()) state_->thread.join();
  if (state_->listenFd >= 0) ::close(state_->listenFd);
  state_->removeSocketFile();
}

void Listener::State::removeSocketFile() const {
  if (!socketFile) return;
  struct stat st;
  if (::lstat(unixPath.c_str(), &st) == 0 && st.st_dev == socketFile->device &&
      st.st_ino == socketFile->inode)
    ::unlink(unixPath.c_str());
}

bool Listener::ok() const {
  return state_->listenFd >= 0;
}
std::string Listener::error() const {
  return state_->error;
}
std::string Listener::endpoint() const {
  return state_->endpoint;
}

std::vector<Transcript> Listener::transcripts() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->transcripts;
}

}  // namespace devicesim
