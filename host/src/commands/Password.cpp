// Reads a backup's password from a file, the environment or the terminal without echo.
#include "Password.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "Signals.h"

namespace host {

const char kPasswordVariable[] = "VELDRAKE_BACKUP_PASSWORD";

namespace {

const char kPrompt[] = "Backup password: ";
// Room for any password typed, so that the answer is never moved (leaving a copy behind).
const size_t kAnswerRoom = 1024;

void StripLineEnd(std::string* line) {
  while (!line->empty() && (line->back() == '\n' || line->back() == '\r')) line->pop_back();
}

// The terminal's echo off for the life of the object; put back on every way out: the
// destructor, and the signal path if a signal ends the program meanwhile.
class EchoOff {
 public:
  explicit EchoOff(int fd) : fd_(fd) {
    if (::tcgetattr(fd_, &saved_) != 0) return;
    termios quiet = saved_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    RestoreTerminalOnSignal(fd_, saved_);
    active_ = ::tcsetattr(fd_, TCSAFLUSH, &quiet) == 0;
  }
  ~EchoOff() {
    if (active_) ::tcsetattr(fd_, TCSAFLUSH, &saved_);
    ForgetTerminal();
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  int fd_;
  termios saved_{};
  bool active_ = false;
};

// The prompt on standard error, the answer from standard input with echo off.
std::string Prompt() {
  if (::isatty(STDIN_FILENO) != 1) return "";
  std::string answer;
  answer.reserve(kAnswerRoom);
  {
    const EchoOff echoOff(STDIN_FILENO);
    ssize_t ignored = ::write(STDERR_FILENO, kPrompt, sizeof kPrompt - 1);
    char c;
    while (::read(STDIN_FILENO, &c, 1) == 1 && c != '\n') answer += c;
    ignored = ::write(STDERR_FILENO, "\n", 1);
    (void)ignored;
  }
  StripLineEnd(&answer);
  return answer;
}

}  // namespace

bool ReadPassword(const std::string& passwordFile, std::string* password, std::string* error) {
  if (!passwordFile.empty()) {
    std::ifstream in(passwordFile);
    if (!in) {
      *error = passwordFile + ": " + std::strerror(errno);
      return false;
    }
    std::getline(in, *password);
    StripLineEnd(password);
    return true;
  }
  const char* variable = std::getenv(kPasswordVariable);
  *password = variable != nullptr ? variable : Prompt();
  return true;
}

void Forget(std::string* secret) {
  volatile char* bytes = &(*secret)[0];
  for (size_t i = 0; i < secret->size(); ++i) bytes[i] = '\0';
  secret->clear();
}

}  // namespace host
