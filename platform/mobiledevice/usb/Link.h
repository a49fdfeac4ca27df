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
  explicit Link(const std::string& udid) : requested_(udid), outcome_(new Outcome) {}

  int Connect();
  int Disconnect();
  int StartSession();
  int StopSession();
  int StartService(const char* name, std::shared_ptr<Service>& out);
  int LastError() const { return outcome_->last_error; }

 private:
  int Fail(int code) {
    outcome_->last_error = code;
    return code;
  }

  std::mutex lock_;
  const std::string requested_;  // empty: the only attached phone
  std::shared_ptr<Outcome> outcome_;
  std::unique_ptr<Lockdown> lockdown_;
  int session_failure_ = 0;  // why the last session start failed, for the service start
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_LINK_H_
