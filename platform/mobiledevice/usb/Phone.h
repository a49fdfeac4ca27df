// Reaching a real phone through the usbmux daemon: which phones are attached, and one
// lockdown connection to one of them. Shared by the MobileDevice operations on "usb"
// devices and by the mdphone_* control functions.
#ifndef VELDRAKE_MOBILEDEVICE_USB_PHONE_H_
#define VELDRAKE_MOBILEDEVICE_USB_PHONE_H_

#include <libimobiledevice/libimobiledevice.h>
#include <libimobiledevice/lockdown.h>
#include <signal.h>

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
  int Open(const std::string& udid);
  // Reads this computer's pair record for the phone from the daemon; false when none.
  bool ReadHostId();
  // 0 or an MDPHONE_ERR_* code; needs ReadHostId first.
  int StartSession();
  // 0 also when no session is open.
  int StopSession();
  // The value, owned by the caller (plist_free), or null.
  plist_t GetValue(const char* domain, const char* key);
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
};

// While it lives, a write to a peer that went away fails with EPIPE in this thread
// instead of raising SIGPIPE, whose default action would end the host; a SIGPIPE
// raised meanwhile is taken off the pending set, one pending before is left alone.
class QuietPipe {
 public:
  QuietPipe();
  QuietPipe(const QuietPipe&) = delete;
  QuietPipe& operator=(const QuietPipe&) = delete;
  ~QuietPipe();

 private:
  sigset_t saved_;
  bool was_pending_;
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_PHONE_H_
