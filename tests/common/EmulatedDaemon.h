// An emulated usbmux daemon in a process of its own, for the tests of both phone folders:
// `veldrake-devicesim --usbmuxd unix:PATH` on a private temporary socket, waited for until
// it listens, and stopped again by the destructor.
//
//   testsupport::EmulatedDaemon daemon(VELDRAKE_DEVICESIM, {"--generate-contacts", "3"});
//   ASSERT_TRUE(daemon.started()) << daemon.error();  // "the daemon did not start: ..."
//   daemon.exportAddress();  // USBMUXD_SOCKET_ADDRESS now names it
#ifndef VELDRAKE_TESTS_COMMON_EMULATEDDAEMON_H_
#define VELDRAKE_TESTS_COMMON_EMULATEDDAEMON_H_

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace testsupport {

class EmulatedDaemon {
 public:
  // Generous for a starved machine: the daemon makes its credentials before it listens.
  static constexpr std::chrono::seconds kStartBound{60};

  // Starts `program --usbmuxd unix:PATH arguments...` and waits up to `bound` until the
  // socket accepts a connection.
  EmulatedDaemon(const std::string& program, const std::vector<std::string>& arguments,
                 std::chrono::milliseconds bound = kStartBound);
  ~EmulatedDaemon();
  EmulatedDaemon(const EmulatedDaemon&) = delete;
  EmulatedDaemon& operator=(const EmulatedDaemon&) = delete;

  bool started() const { return error_.empty(); }
  // Empty once started; otherwise "the daemon did not start: " and why.
  const std::string& error() const { return error_; }
  const std::string& socketPath() const { return path_; }
  std::string socketAddress() const { return "UNIX:" + path_; }  // USBMUXD_SOCKET_ADDRESS form
  // Makes libusbmuxd in this process talk to this daemon.
  void exportAddress() const;
  pid_t pid() const { return pid_; }
  // Ends the daemon (SIGTERM, then SIGKILL after a while) and reaps it; idempotent.
  void stop();

 private:
  bool Listening() const;
  std::string ExitedHow();

  std::string path_;
  std::string error_;
  pid_t pid_ = -1;
};

}  // namespace testsupport

#endif  // VELDRAKE_TESTS_COMMON_EMULATEDDAEMON_H_
