// What a "usb" device does for each MobileDevice operation: AMDeviceConnect finds the
// phone and opens lockdown, the device session is the lockdown session, and a service
// start asks lockdown for the sync service and connects to its port. Blocking work on
// one phone is serialised by the link's own lock, never under the registry's.
#ifndef VELDRAKE_MOBILEDEVICE_USB_LINK_H_
#define VELDRAKE_MOBILEDEVICE_USB_LINK_H_

#include <memory>
#include <mutex>
#include <string>

#include "Phone.h"
#include "Service.h"

namespace mdsim {
namespace usb {

class Link {
 public:
  Link(const std::string& udid, const std::shared_ptr<Outcome>& outcome)
      : requested_(udid), outcome_(outcome) {}

  int Connect();
  int Disconnect();
  int StartSession();
  int StopSession();
  // Starts the service and connects to it: 0 with `out` set (and *tls, when given, telling
  // whether it speaks TLS), or an MDPHONE_ERR_* code.
  int StartService(const char* name, std::unique_ptr<DeviceStream>& out, bool* tls = nullptr);
  // Records `code` as what stopped the last operation and returns it.
  int Fail(int code) {
    outcome_->last_error = code;
    return code;
  }

 private:
  std::mutex lock_;
  const std::string requested_;  // empty: the only attached phone
  std::shared_ptr<Outcome> outcome_;
  std::unique_ptr<Lockdown> lockdown_;
  int session_failure_ = 0;  // why the last session start failed, for the service start
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_LINK_H_
