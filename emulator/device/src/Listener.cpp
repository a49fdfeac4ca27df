// A listening device that serves connections one after another on its own thread.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "Serve.h"
#include "devicesim/Device.h"

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

  bool listenOn(const std::string& where);
  void run();
};

namespace {

std::string Errno(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

}  // namespace

bool Listener::State::listenOn(const std::string& where) {
  if (where.rfind("unix:", 0) == 0) {
    unixPath = where.substr(5);
    sockaddr_un address{};
    if (unixPath.empty() || unixPath.size() >= sizeof address.sun_path) {
      error = "unix socket path empty or too long: " + unixPath;
      return false;
    }
    // A socket file left by an earlier run would make bind fail; anything else stays.
    struct stat st;
    if (::lstat(unixPath.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) ::unlink(unixPath.c_str());
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, unixPath.data(), unixPath.size());
    listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd < 0) return error = Errno("socket"), false;
    if (::bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      error = Errno("bind " + unixPath);
      unixPath.clear();
      return false;
    }
    endpoint = where;
  } else if (where.rfind("tcp:", 0) == 0) {
    const std::string rest = where.substr(4);
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos) return error = "expected tcp:HOST:PORT: " + where, false;
    const std::string host = rest.substr(0, colon), portText = rest.substr(colon + 1);
    char* end = nullptr;
    long port = std::strtol(portText.c_str(), &end, 10);
    if (portText.empty() || *end != '\0' || port < 0 || port > 65535)
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
    endpoint = "tcp:" + host + ":" + std::to_string(ntohs(address.sin_port));
  } else {
    error = "expected unix:PATH or tcp:127.0.0.1:PORT, got " + where;
    return false;
  }
  if (::listen(listenFd, 8) != 0) return error = Errno("listen"), false;
  return true;
}

void Listener::State::run() {
  while (!stopping) {
    int connection = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) {
      if (stopping) break;
      if (errno == EINTR || errno == ECONNABORTED || errno == EMFILE || errno == ENFILE) {
        if (errno == EMFILE || errno == ENFILE)
          std::this_thread::sleep_for(std::chrono::milliseconds(10));
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
  if (!state_->unixPath.empty()) ::unlink(state_->unixPath.c_str());
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
