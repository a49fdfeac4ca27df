// ExitCodes: every exit status of veldrake in one table. The enum, the `--help` footer and
// the README's table all come from VELDRAKE_EXIT_CODES (a test holds the README to it).
#ifndef VELDRAKE_HOST_EXITCODES_H_
#define VELDRAKE_HOST_EXITCODES_H_

#include <string>

// X(code, name, help line): the help line is what `veldrake --help` prints for the code.
#define VELDRAKE_EXIT_CODES(X)                                                                 \
  X(0, Ok, "exported")                                                                         \
  X(1, Output, "the output could not be written (missing folder, disk full)")                  \
  X(2, Usage, "bad command line, e.g. an unknown option or a malformed UDID")                  \
  X(3, Setup, "libVeldrakeForMac or the built-in device's samples not found")                  \
  X(4, Conversation, "the sync conversation failed (GetData -1)")                              \
  X(5, NoDevice, "no device handle, e.g. a malformed --device (GetData -5)")                   \
  X(6, Service,                                                                                \
    "the device's sync service did not start, e.g. nothing listens there "                     \
    "(GetData -6)")                                                                            \
  X(7, Platform, "the device connection failed with a platform code (other GetData results)")  \
  X(8, NoDaemon, "no usbmux daemon is running: start usbmuxd")                                 \
  X(9, NoPhone, "no phone is attached: plug it in")                                            \
  X(10, SeveralPhones, "several phones are attached: choose one with --device usb:UDID")       \
  X(11, UnknownUdid, "no attached phone has that UDID")                                        \
  X(12, NotTrusted, "the phone does not trust this computer: veldrake pair")                   \
  X(13, Locked, "the phone is locked with a passcode: unlock it")                              \
  X(14, ServiceRefused, "the phone refused to start its sync service")                         \
  X(15, TlsFailed, "the secure (TLS) connection to the phone failed: veldrake pair renews it") \
  X(16, ConnectionLost, "the device went away during the export; nothing was written")         \
  X(17, PairingPending,                                                                        \
    "pair: the phone asks \"Trust This Computer?\": tap Trust, run "                           \
    "veldrake pair again")                                                                     \
  X(18, PairingDenied, "pair: Don't Trust was tapped on the phone")                            \
  X(19, ContactSyncOff,                                                                        \
    "contact sync with a computer is off on the phone: veldrake "                              \
    "enable-sync")                                                                             \
  X(20, NoNotesStore,                                                                          \
    "the phone keeps no notes for a computer (iOS 11 and later): export "                      \
    "from a backup")                                                                           \
  X(21, NotABackup, "--backup: the folder is not a complete backup")                           \
  X(22, BackupEncrypted, "--backup: the backup is encrypted and no password was given")        \
  X(23, WrongPassword, "--backup: the backup's password is wrong")                             \
  X(24, StoreMissing, "--backup: the backup holds no address book or notes store")             \
  X(25, StoreUnreadable, "--backup: the store in the backup cannot be read")                   \
  X(26, DeviceSilent, "the device stopped answering: no byte for --timeout seconds")           \
  X(27, SettingRefused, "enable-sync: the phone refused to change the setting")                \
  X(28, LimitReached,                                                                          \
    "an export-wide limit (--max-records, --max-rendered, --max-written) was reached; "        \
    "nothing was written")                                                                     \
  X(129, HungUp, "ended by SIGHUP; nothing was written")                                       \
  X(130, Interrupted, "interrupted (Ctrl-C); nothing was written")                             \
  X(131, Quit, "ended by SIGQUIT; nothing was written")                                        \
  X(141, BrokenPipe, "ended by SIGPIPE; nothing was written")                                  \
  X(143, Terminated, "ended by SIGTERM; nothing was written")

namespace host {

#define VELDRAKE_EXIT_ENUM(code, name, help) kExit##name = code,
enum ExitStatus : int { VELDRAKE_EXIT_CODES(VELDRAKE_EXIT_ENUM) };
#undef VELDRAKE_EXIT_ENUM

// "Exit status:\n  0    exported\n..." for the help footer.
std::string ExitStatusTable();

}  // namespace host

#endif  // VELDRAKE_HOST_EXITCODES_H_
