// The signal path, in a child process per case: which signals end the program and with
// what status, when the loaded library's cancel and removal hooks run, that registered
// temporaries go, and that a terminal a prompt changed gets its settings back.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "Signals.h"
#include "TempFolder.h"

namespace host {
namespace {

struct SignalCase {
  const char* what;
  int signal;
  bool inExport;   // inside a Cancellable span
  int second;      // sent once the first was seen; 0 none
  int status;      // the child's exit status
  bool cancelled;  // the cancel hook ran
  bool removed;    // the removal hook ran, the temporary is gone, the terminal restored
};

const int kStayed = 99;  // the child outlived its signals

const SignalCase kCases[] = {
    {"Ctrl-C outside an export", SIGINT, false, 0, 130, false, true},
    {"SIGTERM", SIGTERM, false, 0, 143, false, true},
    {"SIGHUP", SIGHUP, false, 0, 129, false, true},
    {"SIGQUIT like SIGTERM", SIGQUIT, false, 0, 131, false, true},
    {"SIGPIPE sent by another process", SIGPIPE, false, 0, 141, false, true},
    {"first Ctrl-C of an export cancels it", SIGINT, true, 0, 0, true, false},
    {"second Ctrl-C ends at once", SIGINT, true, SIGINT, 130, true, true},
    {"SIGTERM during an export", SIGTERM, true, 0, 143, false, true},
    {"SIGQUIT after a cancel", SIGINT, true, SIGQUIT, 131, true, true},
};

std::string g_folder;  // the case's folder, for the hooks (plain functions)

void Mark(const char* name) {
  const int fd = ::open((g_folder + "/" + name).c_str(), O_WRONLY | O_CREAT, 0600);
  if (fd >= 0) ::close(fd);
}
void MarkCancelled() {
  Mark("cancelled");
}
void MarkRemoved() {
  Mark("removed");
}

bool Exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

bool WaitFor(const std::string& path) {
  for (int i = 0; i < 1000 && !Exists(path); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return Exists(path);
}

// The child: hooks set, a temporary registered, the terminal's echo off as a prompt
// leaves it, then the signals; it ends by itself only when they do not end it.
[[noreturn]] void Child(const SignalCase& test, int terminal, const termios& saved) {
  WatchSignals();
  SetSignalHooks(MarkCancelled, MarkRemoved);
  const std::string temporary = g_folder + "/.part";
  std::ofstream(temporary) << "decrypted";
  RegisterTemporary(temporary);
  termios quiet = saved;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  RestoreTerminalOnSignal(terminal, saved);
  ::tcsetattr(terminal, TCSANOW, &quiet);
  std::unique_ptr<Cancellable> span(test.inExport ? new Cancellable : nullptr);
  ::kill(::getpid(), test.signal);
  if (test.inExport && test.signal == SIGINT && WaitFor(g_folder + "/cancelled") &&
      test.second == 0)
    ::_exit(CancelRequested() ? 0 : kStayed);
  if (test.second != 0) ::kill(::getpid(), test.second);
  std::this_thread::sleep_for(std::chrono::seconds(10));
  ::_exit(kStayed);
}

TEST(Signals, EachSignalEndsOrCancelsAndLeavesNothing) {
  ::testing::FLAGS_gtest_death_test_style = "fast";
  for (const SignalCase& test : kCases) {
    SCOPED_TRACE(test.what);
    TempFolder temp;
    g_folder = temp.path();
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    const int terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    termios saved{};
    ASSERT_EQ(::tcgetattr(terminal, &saved), 0);
    saved.c_lflag |= ECHO;
    ASSERT_EQ(::tcsetattr(terminal, TCSANOW, &saved), 0);
    EXPECT_EXIT(Child(test, terminal, saved), ::testing::ExitedWithCode(test.status), "");
    termios after{};
    ASSERT_EQ(::tcgetattr(terminal, &after), 0);
    EXPECT_EQ((after.c_lflag & ECHO) != 0, test.removed) << "the terminal's echo";
    EXPECT_EQ(Exists(g_folder + "/cancelled"), test.cancelled);
    EXPECT_EQ(Exists(g_folder + "/removed"), test.removed);
    EXPECT_EQ(Exists(g_folder + "/.part"), !test.removed);
    ::close(terminal);
    ::close(master);
  }
}

}  // namespace
}  // namespace host
