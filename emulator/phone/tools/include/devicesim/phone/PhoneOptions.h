// The command-line options of veldrake-devicesim's daemon role (--usbmuxd and the phones'
// identities and scripted states), and the loop that runs it. Part of the program, not of
// the phone library; CLI11 stays in the .cpp.
#ifndef DEVICESIM_PHONE_PHONEOPTIONS_H_
#define DEVICESIM_PHONE_PHONEOPTIONS_H_

#include <string>

#include "devicesim/phone/Usbmuxd.h"

namespace CLI {
class App;
}  // namespace CLI

namespace devicesim {
namespace phone {

struct PhoneOptions {
  std::string usbmuxd;  // unix:PATH; empty: the role is off
  int phones = 1;
  int trustedPhones = -1;  // how many of the phones, first ones first, trust this computer; -1: all
  PhoneConfig phone;       // the first phone's identity; its states apply to every phone
  std::string trustDialog = "accept";
  std::string credentialsFile;  // fixed keys for tests; empty: fresh ones
};

void AddPhoneOptions(CLI::App& app, PhoneOptions& options);

// The daemon's configuration the options describe.
UsbmuxdConfig ConfigFrom(const PhoneOptions& options);

// Serves until SIGINT or SIGTERM. Exit status: 0, or 1 when the daemon cannot start.
int RunUsbmuxd(const PhoneOptions& options, AddressBook book, NoteStore notes,
               const DeviceOptions& deviceOptions);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_PHONEOPTIONS_H_
