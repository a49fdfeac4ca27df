// Phones: real phones reached through the usbmux daemon, as the command-line host meets
// them. Picks the device when the person names none, checks a phone before an export, and
// turns every MDPHONE_ERR_* code (and what a real phone does in place of an export: contact
// sync switched off, contacts kept in iCloud, no notes store) into one line that says what
// to do, with an exit status of its own.
//
// Everything here asks the platform's control interface (MobileDevice/mdphone.h), never
// the library's exported surface. Thread contract: one thread; not while a GetData on the
// same phone runs.
#ifndef VELDRAKE_HOST_PHONES_H_
#define VELDRAKE_HOST_PHONES_H_

#include <string>
#include <vector>

#include "ExitCodes.h"
#include "MobileDevice/mdphone.h"

namespace host {

struct PhoneFailure {
  int status = 0;
  std::string message;  // one line, without the program's name
};

// "usb" (the one attached phone) or "usb:UDID" (well formed or not).
bool IsPhoneEndpoint(const std::string& endpoint);
// A phone's UDID as phones have them: 40 hex digits, or 8 and 16 joined by '-'.
bool IsWellFormedUdid(const std::string& udid);
// "" for an endpoint that is not "usb:UDID" with a malformed UDID, else the one message
// every command gives for it.
std::string MalformedUdidMessage(const std::string& endpoint);
// The UDID of "usb:UDID"; "" for "usb" or any other endpoint.
std::string PhoneUdid(const std::string& endpoint);

// The attached phones into *phones: 0, or MDPHONE_ERR_NO_DAEMON.
int ListPhones(std::vector<mdphone_info>* phones);

// The phone with `udid` ("" for the only attached one) into *phone: 0, or the
// MDPHONE_ERR_* code that says why there is none (no daemon, no phone, several, unknown).
int LocatePhone(const std::string& udid, mdphone_info* phone);
// The same, true when found.
bool FindPhone(const std::string& udid, mdphone_info* phone);

// "Ann's iPhone (UDID)", or the UDID alone when the phone keeps its name back.
std::string PhoneLabel(const mdphone_info& phone);

// The failure for an MDPHONE_ERR_* code; false for any other code.
bool DescribePhoneError(int code, PhoneFailure* failure);

// The device to export when the person names none, into *endpoint: "usb:UDID" for the
// one attached phone that trusts this computer, with *notice naming it. False with
// *failure when there is none to choose: no daemon runs or no phone is attached (the line
// names --device sample, the only way to the samples), none trusts this computer or
// several do.
bool ChooseDefaultDevice(std::string* endpoint, std::string* notice, PhoneFailure* failure);

// One export from a real phone: what to refuse before it, and how to explain its end.
class PhoneExport {
 public:
  PhoneExport(bool contacts, const std::string& endpoint);

  // False with *failure when the export cannot work: the phone is locked, or contact sync
  // with a computer is off.
  bool Check(PhoneFailure* failure);
  // After GetData, whatever its result: the failure the phone caused, read from `device`
  // (a phone unplugged during a contact export can end it with 0 and the records so far).
  // False when there is none (a failed result then keeps its generic message).
  bool Explain(int result, const void* device, PhoneFailure* failure) const;
  // A warning for a successful export that brought no records; "" when there is none.
  std::string Warning(size_t count) const;

 private:
  bool contacts_;
  std::string udid_;
  mdphone_info phone_{};
  bool known_ = false;  // phone_ describes the phone the export reaches
};

}  // namespace host

#endif  // VELDRAKE_HOST_PHONES_H_
