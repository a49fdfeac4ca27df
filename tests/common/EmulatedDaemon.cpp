#include "EmulatedDaemon.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>

namespace testsupport {

namespace {

constexpr std::chrono::milliseconds kPoll{20};
constexpr std::chrono::seconds kStopBound{10};

std::string TempSocketPath() {
  static int counter = 0;
  return "/tmp/veldrake-daemon-" + std::to_string(getpid()) + "-" + std::to_string(++counter) +
         ".sock";
}

}  // namespace

EmulatedDaemon::EmulatedDaemon(const std::string& program,
                               const std::vector<std::string>& arguments,
                               std::chrono::milliseconds bound)
    : path_(TempSocketPath()) {
  // Fixed keys for the phones: no test run pays for RSA key generation.
  std::vector<std::string> words = {
      program, "--usbmuxd", "unix:" + path_, "--phone-credentials",
      std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/tests/common/data/phone-credentials.pem"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(&word[0]);
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ < 0) {
    error_ = "the daemon did not start: fork failed";
    return;
  }
  if (pid_ == 0) {
    execv(argv[0], argv.data());
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + bound;
  while (!Listening()) {
    const std::string exited = ExitedHow();
    if (!exited.empty()) {
      error_ = "the daemon did not start: " + exited;
      return;
    }
    if (std::chrono::steady_clock::now() > deadline) {
      error_ = "the daemon did not start: " + path_ + " not listening after " +
               std::to_string(bound.count()) + " ms";
      stop();
      return;
    }
    std::this_thread::sleep_for(kPoll);
  }
}

EmulatedDaemon::~EmulatedDaemon() {
  stop();
}

void EmulatedDaemon::exportAddress() const {
  setenv("USBMUXD_SOCKET_ADDRESS", socketAddress().c_str(), 1);
}

bool EmulatedDaemon::Listening() const {
  struct sockaddr_un address;
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  const bool ok = connect(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return ok;
}

std::string EmulatedDaemon::ExitedHow() {
  int status = 0;
  if (pid_ <= 0 || waitpid(pid_, &status, WNOHANG) != pid_) return "";
  pid_ = -1;
  if (WIFEXITED(status)) return "it exited with status " + std::to_string(WEXITSTATUS(status));
  return "it was ended by signal " + std::to_string(WTERMSIG(status));
}

void EmulatedDaemon::stop() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + kStopBound;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        break;
      }
      std::this_thread::sleep_for(kPoll);
    }
    pid_ = -1;
  }
  unlink(path_.c_str());
}

}  // namespace testsupport
