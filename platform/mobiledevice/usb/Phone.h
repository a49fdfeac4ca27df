// Reaching a real phone through the usbmux daemon: which phones are attached, and one
// lockdown connection to one of them. Shared by the MobileDevice operations on "usb"
// devices and by the mdphone_* control functions.
#ifndef VELDRAKE_MOBILEDEVICE_USB_PHONE_H_
#define VELDRAKE_MOBILEDEVICE_USB_PHONE_H_

#include <libimobiledevice/libimobiledevice.h>
#include <libimobiledevice/lockdown.h>

#include <memory>
#include <string>
#include <vector>

namespace mdsim {
namespace usb {

// One idevice handle, shared by the lockdown connection and every service connection
// made through it, so that whichever is released last frees it.
using PhonePtr = std::shared_ptr<idevice_private>;

struct Attached {
  std::string udid;
  bool usb = false;
  bool network = false;
};

// Every attached phone, one entry per UDID (a phone seen both over USB and the network
// is one phone); false when no daemon answers.
bool ListAttached(std::vector<Attached>& out);

// The phone `udid` names, or with an empty `udid` the only attached one: 0 or one of
// MDPHONE_ERR_NO_DAEMON, _NO_DEVICE, _SEVERAL_DEVICES, _UDID_NOT_FOUND.
int PickAttached(const std::string& udid, Attached& out);

// True while the daemon still lists the phone.
bool StillAttached(const std::string& udid);

// Why a step on the phone failed when it looked like a failed TLS handshake or a broken
// connection: MDPHONE_ERR_NO_DAEMON when the daemon has gone, MDPHONE_ERR_CONNECTION_LOST
// when it no longer lists the phone, else `code` itself.
int Blame(const std::string& udid, int code);
// As Blame, but only for MDPHONE_ERR_TLS_FAILED and _CONNECTION_LOST; other codes stand.
int BlameBroken(const std::string& udid, int code);

// Marks every socket opened since `before` (the open descriptors then) close-on-exec:
// libimobiledevice opens its connections without the flag, and a host that forks would
// hand them to its child.
void MarkNewSocketsCloseOnExec(const std::vector<int>& before);

// The descriptors open in this process now, in ascending order.
std::vector<int> OpenDescriptors();

// The MDPHONE_ERR_* code for a lockdown failure; `otherwise` for one no person can fix
// in a more specific way.
int CodeOf(lockdownd_error_t error, int otherwise);

// A lockdown connection to one phone, with at most one session. Everything it opened is
// closed by its destructor.
class Lockdown {
 public:
  Lockdown() = default;
  Lockdown(const Lockdown&) = delete;
  Lockdown& operator=(const Lockdown&) = delete;
  ~Lockdown();

  // Finds the phone and connects to its lockdown service: 0 or an MDPHONE_ERR_* code.
  // With a pair record the phone's OS version is learnt first, as libimobiledevice's own
  // tools do, so that TLS is offered in the versions the phone speaks.
  int Open(const std::string& udid);
  // Reads this computer's pair record for the phone from the daemon; false when none.
  bool ReadHostId();
  // 0 or an MDPHONE_ERR_* code; needs ReadHostId first.
  int StartSession();
  // Whether the phone is locked with a passcode now: MDPHONE_YES, _NO or _UNKNOWN.
  int Locked();
  // 0 also when no session is open.
  int StopSession();
  // The value, owned by the caller (plist_free), or null.
  plist_t GetValue(const char* domain, const char* key);
  // A string value, empty when the phone has none or keeps it back.
  std::string StringValue(const char* domain, const char* key);
  // Takes `value` over whatever the result.
  lockdownd_error_t SetValue(const char* domain, const char* key, plist_t value);

  const PhonePtr& phone() const { return phone_; }
  lockdownd_client_t client() const { return client_; }
  const std::string& udid() const { return udid_; }
  bool network() const { return network_; }
  bool session_open() const { return !session_id_.empty(); }

 private:
  PhonePtr phone_;
  lockdownd_client_t client_ = nullptr;
  std::string udid_;
  std::string host_id_;
  std::string session_id_;
  bool network_ = false;
  int session_failure_ = 0;
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_PHONE_H_
