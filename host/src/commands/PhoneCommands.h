// PhoneCommands: the subcommands that look after real phones rather than export them.
//   devices      lists the attached phones: UDID, name, model, OS version, USB or network,
//                whether it trusts this computer, whether contact sync with a computer is on
//   pair         asks a phone to trust this computer (says so when it already does)
//   enable-sync  turns contact sync with a computer on (a setting on the person's phone)
// Each prints one line on standard error saying what happened or what to do, and returns
// the exit status (Phones.h).
//
// Thread contract: one thread.
#ifndef VELDRAKE_HOST_PHONECOMMANDS_H_
#define VELDRAKE_HOST_PHONECOMMANDS_H_

#include <functional>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace host {

// The phone command a command line chose, if any.
struct PhoneRequest {
  enum Command { kNone, kDevices, kPair, kEnableSync } command = kNone;
  std::string device;  // "", "usb" or "usb:UDID"
};

// Adds the subcommands to `app`; parsing fills *request, which must outlive the parse.
// `checkDevice` validates --device ("" when it is fine, else the message).
void AddPhoneCommands(CLI::App& app, PhoneRequest* request,
                      const std::function<std::string(const std::string&)>& checkDevice);

// Runs a chosen command; the exit status.
int RunPhoneCommand(const PhoneRequest& request);

}  // namespace host

#endif  // VELDRAKE_HOST_PHONECOMMANDS_H_
